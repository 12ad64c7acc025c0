#pragma once

#include "core/Thread.h"
#include "plugin/CoreNames.h"

class PluginHostContext;
class RemotePluginHostProxyHandler;

/// Reads the requests of the main pipe and posts them to the host; nothing else. A lost pipe, or a request
/// that can't be read, is posted as a `ShutdownRequest`. Owned by the handler, which ends it by `shutDown`.
class RemotePluginHostProxyHandlerThread : public base::core::Thread {
public:
    RemotePluginHostProxyHandlerThread(RemotePluginHostProxyHandler* handler, PluginHostContext* host,
                                       const Ref<InputStream>& input);
    ~RemotePluginHostProxyHandlerThread() override;

    /// Ends the thread, also out of a blocked read, and joins it. Main thread.
    void shutDown();

protected:
    void run() override;

private:
    RemotePluginHostProxyHandler* handler;
    PluginHostContext* host;
    Ref<InputStream> input;
    Relaxed<bool> stopRequested = false;
};
