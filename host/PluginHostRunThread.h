#pragma once

#include "core/Thread.h"

class PluginHost;

/// Runs a host's main loop on a thread of its own: see `PluginHost::startRunThread`. The host owns and joins
/// it. The local proxy has a thread of its own kind, `LocalPluginHostRunThread`.
class PluginHostRunThread : public base::core::Thread {
public:
    explicit PluginHostRunThread(PluginHost* host);
    ~PluginHostRunThread() override;

protected:
    void run() override;

private:
    PluginHost* host;
};
