#pragma once

#include "core/Thread.h"

class LocalPluginHostProxy;
class PluginHost;

/// Runs the main loop of a host that lives in its client's process. The proxy owns and joins it.
///
/// Oddity local-main-thread-not-main: `PluginHost::isMainThread` is false on it, since another thread
/// constructed the host. What a plug-in reports goes through the host's queue, as from any thread.
class LocalPluginHostRunThread : public base::core::Thread {
public:
    /// Both are borrowed.
    LocalPluginHostRunThread(PluginHost* host, LocalPluginHostProxy* proxy);
    ~LocalPluginHostRunThread() override;

protected:
    /// An exception of a plug-in ends the loop, as in a child process, and its message is passed to the
    /// proxy.
    void run() override;

private:
    PluginHost* host;
    LocalPluginHostProxy* proxy;
};
