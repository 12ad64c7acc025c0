#pragma once

#include "host/PluginHost.h"
#include "plugin/PluginHostAction.h"

/// Ends the host's main loop, after all that was posted before.
class StopHost : public PluginHostAction {
public:
    explicit StopHost(PluginHost& host) : host(host) {}
    void run() override { host.stopRequested = true; }

private:
    PluginHost& host;
};
