#pragma once

#include "plugin/PluginHostProxyHandler.h"

class LocalPluginHostProxy;

/// The host's end of a local proxy: takes requests from the proxy's queue, and hands replies and
/// notifications to the proxy's receivers, on the thread that they arise on.
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
    /// Lets the main loop end. The proxy, which has asked for it, joins the thread.
    void shutdown() override;
    void setUpAudio(PluginInstance& instance) override;

private:
    LocalPluginHostProxy* proxy;
};
