#pragma once

#include "plugin/CoreNames.h"

class PluginHostContext;
class PluginHostNotification;
class PluginHostReply;
class PluginHostRequest;
class PluginInstance;

/// The host's end of the protocol: sends replies and notifications to the client. Main thread.
class PluginHostProxyHandler : public Object {
public:
    explicit PluginHostProxyHandler(const Ref<PluginHostContext>& host);
    ~PluginHostProxyHandler() override;

    /// These four throw `IOException` if the client is gone.
    virtual void sendReply(PluginHostRequest& request, PluginHostReply& reply) = 0;
    virtual void sendEmptyReply(PluginHostRequest& request) = 0;
    virtual void sendError(PluginHostRequest& request, const String& message) = 0;
    virtual void sendNotification(PluginHostNotification& notification) = 0;
    /// Ends the host.
    virtual void shutdown() = 0;
    /// Makes the audio block of an instance and passes it on. Throws `IOException`.
    virtual void setUpAudio(PluginInstance& instance) = 0;

    Ref<PluginHostContext> host;
};
