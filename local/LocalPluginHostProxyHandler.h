#pragma once

#include "plugin/PluginHostProxyHandler.h"

class LocalPluginHostProxy;

/// The host's end of a local proxy: takes requests from the proxy's queue, and passes replies and
/// notifications to the proxy's receivers, on the thread that sends them.
class LocalPluginHostProxyHandler : public PluginHostProxyHandler {
public:
    /// `proxy` is borrowed, and outlives the host's main loop.
    LocalPluginHostProxyHandler(const Ref<PluginHostContext>& host, LocalPluginHostProxy* proxy);
    ~LocalPluginHostProxyHandler() override;

    /// Runs the oldest request of the queue. Main loop.
    void runNextRequest();

    void sendReply(PluginHostRequest& request, PluginHostReply& reply) override;
    void sendEmptyReply(PluginHostRequest& request) override;
    void sendError(PluginHostRequest& request, const String& message) override;
    void sendNotification(PluginHostNotification& notification) override;
    /// Ends the main loop. The proxy, which requested it, joins the thread.
    void shutdown() override;
    void setUpAudio(PluginInstance& instance) override;

private:
    LocalPluginHostProxy* proxy;
};
