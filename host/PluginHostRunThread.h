#pragma once

#include "core/Thread.h"

class PluginHost;

/// Runs the main loop of a host that lives in the process of its client. The host owns and joins it.
class PluginHostRunThread : public base::core::Thread {
public:
    explicit PluginHostRunThread(PluginHost* host);
    ~PluginHostRunThread() override;

protected:
    void run() override;

private:
    PluginHost* host;
};
