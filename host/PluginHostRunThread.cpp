#include "host/PluginHostRunThread.h"

#include "host/PluginHost.h"

PluginHostRunThread::PluginHostRunThread(PluginHost* host) : Thread("PluginHost Main Thread"), host(host) {}

PluginHostRunThread::~PluginHostRunThread() {
    join();
}

void PluginHostRunThread::run() {
    host->run();
}
