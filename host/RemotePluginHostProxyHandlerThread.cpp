#include "host/RemotePluginHostProxyHandlerThread.h"

#include "host/RemotePluginHostProxyHandler.h"
#include "plugin/Frames.h"
#include "plugin/PluginHostAsyncReplyHandler.h"
#include "plugin/PluginHostContext.h"
#include "plugin/PluginHostRequests.h"

RemotePluginHostProxyHandlerThread::RemotePluginHostProxyHandlerThread(RemotePluginHostProxyHandler* handler,
                                                                       PluginHostContext* host,
                                                                       const Ref<InputStream>& input)
    : Thread("RemotePluginHostProxyHandler"), handler(handler), host(host), input(input) {}

RemotePluginHostProxyHandlerThread::~RemotePluginHostProxyHandlerThread() {
    join();
}

void RemotePluginHostProxyHandlerThread::shutDown() {
    stopRequested = true;
    try {
        input->close();
    } catch (const IOException&) {
        // Closed already.
    }
    join();
}

void RemotePluginHostProxyHandlerThread::run() {
    while (!stopRequested) {
        try {
            host->post(readRequest(handler, *input));
        } catch (const IOException&) {
            stopRequested = true;
            const Ref<PluginHostRequest> shutdown(new ShutdownRequest);
            shutdown->handler = handler;
            host->post(shutdown);
        }
    }
}
