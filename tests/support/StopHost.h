#pragma once

#include "host/PluginHost.h"

/// Ends the loop of a host that a test runs.
class StopHost : public PluginHostAction {
public:
    explicit StopHost(PluginHost& host) : host(host) {}
    void run() override { host.stopRequested = true; }

private:
    PluginHost& host;
};
