#pragma once

#include "client/MakingProcess.h"
#include "client/PluginHostProxy.h"
#include "core/Guarded.h"
#include "local/LocalPluginHostProxyHandler.h"
#include "local/LocalPluginHostRunThread.h"
#include "local/LocalPluginInstance.h"
#include "plugin/PluginHostRequest.h"

#include <atomic>
#include <cstdint>
#include <list>
#include <unordered_map>
#include <vector>

class PluginHost;

/// A proxy whose host lives in this process: with no protocol involved, a fault here is the plug-in's own,
/// and a debugger sees both sides. Requests bypass the pipes; replies and notifications arrive on the host's
/// thread, where no receiver may wait for that host. A plug-in that crashes takes the client with it.
///
/// Releasing the last reference, on any thread, shuts the host down. If a receiver on the host's thread
/// releases it, that happens asynchronously on another thread.
class LocalPluginHostProxy : public PluginHostProxy {
public:
    /// For a host that doesn't run yet; sets its handler.
    explicit LocalPluginHostProxy(const Ref<PluginHost>& host);
    ~LocalPluginHostProxy() override;

    /// Starts the thread that runs the host. Once, before anything is sent.
    void start();

    /// A reply to a dropped request is dropped, too.
    void removePluginInstance(int32_t instanceId) override;
    Ref<PluginHostReply> sendRequest(const Ref<PluginHostRequest>& request,
                                     const Ref<PluginHostAsyncReplyHandler>& replyHandler) override;
    /// The block that the instance itself holds.
    Ref<PluginAudioContext> createAudioContext(const CreatePluginInstanceReply& reply) override;
    bool abandon() override;
    /// Lets the host finish its queue, joins its thread and releases it. Plug-ins aren't terminated. May be
    /// called after the host has ended. On the host's own thread, in a receiver, it doesn't wait: the host
    /// ends after its queue, and the next `shutdown`, or the release of the proxy, joins the thread.
    void shutdown() override;
    bool prepareForDeletion() override;

    /// The client's side of an instance, or null. Any thread.
    Ref<LocalPluginInstance> findInstance(int32_t instanceId);
    bool isClosed() const override { return closed.load() || makingProcess.isCopied(); }

protected:
    void addPluginInstance(int32_t instanceId, const Ref<PluginHostNotificationListener>& listener) override;

private:
    friend class LocalPluginHostProxyHandler;
    friend class LocalPluginHostRunThread;

    using Requests = std::vector<Ref<PluginHostRequest>>;
    using Instances = std::unordered_map<int32_t, Ref<LocalPluginInstance>>;

    struct State {
        std::list<Ref<PluginHostRequest>> queue;
        /// Requests whose reply is outstanding, queued or not.
        Requests unanswered;
        Instances instances;
    };

    /// Appends a request to the queue, and posts an action to the host that runs the oldest.
    void enqueue(const Ref<PluginHostRequest>& request);
    /// The same under the lock, for a host that isn't closed.
    void enqueueIn(State& current, const Ref<PluginHostRequest>& request);
    Ref<PluginHostRequest> takeQueuedRequest();
    /// The receiver of a request's outcome, once for each request; null if there is none, or none any more.
    Ref<PluginHostAsyncReplyHandler> takeReceiver(PluginHostRequest& request);
    /// Called after the main loop has ended. Fails all unanswered requests, unless `shutdown` asked for the
    /// end.
    void hostEnded(const String& message);
    void joinRunThread();

    const MakingProcess makingProcess;
    Ref<PluginHost> host;
    Ref<LocalPluginHostProxyHandler> handler;
    Ref<LocalPluginHostRunThread> runThread;
    /// Set under the lock of `state`.
    std::atomic<bool> closed = false;
    /// Shared by the calling thread and the host's.
    base::core::Guarded<State> state;
};
