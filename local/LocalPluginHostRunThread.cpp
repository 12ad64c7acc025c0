#include "local/LocalPluginHostRunThread.h"

#include "host/PluginHost.h"
#include "local/LocalPluginHostProxy.h"
#include "plugin/PluginText.h"

#include <exception>

LocalPluginHostRunThread::LocalPluginHostRunThread(PluginHost* host, LocalPluginHostProxy* proxy)
    : Thread("Test host main run thread"), host(host), proxy(proxy) {}

LocalPluginHostRunThread::~LocalPluginHostRunThread() {
    join();
}

void LocalPluginHostRunThread::run() {
    String message("The main loop has ended");
    try {
        host->run();
    } catch (const Exception& exception) {
        message = exception.getMessage();
    } catch (const std::exception& exception) {
        message = pluginText(exception.what());
    } catch (...) {
        message = "Unknown exception";
    }
    proxy->hostEnded(message);
}
