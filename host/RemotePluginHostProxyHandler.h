#pragma once

#include "core/NamedPipe.h"
#include "host/RemoteAudioThread.h"
#include "host/RemotePluginHostProxyHandlerThread.h"
#include "plugin/PluginHostProxyHandler.h"

#include <cstdint>
#include <memory>
#include <vector>

/// The host's end of the pipes: writes replies and notifications, owns the workers and the request thread,
/// and ends the process. Lives as long as the process. Sends on the main thread and without a lock; a window
/// report may be sent on the plug-in's thread.
class RemotePluginHostProxyHandler : public PluginHostProxyHandler {
public:
    RemotePluginHostProxyHandler(const Ref<PluginHostContext>& host, int32_t hostId);
    ~RemotePluginHostProxyHandler() override;

    /// Opens the main and the asynchronous pipe, which waits for the client. Throws `IOException`.
    void openPipes();
    /// Starts workers 0 to `count - 1`, none for a count below 1. Each opens its own pipe.
    void startAudioThreads(int32_t count);
    /// Only after `openPipes`, since replies need its streams.
    void startRequestThread();

    void sendReply(PluginHostRequest& request, PluginHostReply& reply) override;
    void sendEmptyReply(PluginHostRequest& request) override;
    void sendError(PluginHostRequest& request, const String& message) override;
    void sendNotification(PluginHostNotification& notification) override;
    /// Joins the threads and exits with 0. Plug-ins aren't terminated. Doesn't return.
    void shutdown() override;
    /// Also names the calling thread, which is the main thread, after the plug-in.
    void setUpAudio(PluginInstance& instance) override;

private:
    /// The stream that takes the reply.
    OutputStream& channelOf(const PluginHostRequest& request) const;

    int32_t hostId;
    Ref<base::core::NamedPipe> mainPipe;
    Ref<base::core::NamedPipe> asyncPipe;
    /// Borrowed from the pipes.
    OutputStream* replyStream = nullptr;
    OutputStream* asyncStream = nullptr;
    std::vector<Ref<RemoteAudioThread>> audioThreads;
    std::unique_ptr<RemotePluginHostProxyHandlerThread> thread;
};
