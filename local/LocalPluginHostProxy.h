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

/// A proxy whose host lives in this process: what a plug-in does wrong here is the plug-in's own, since no
/// protocol stands between, and a debugger sees both sides. Requests skip the pipes; replies and
/// notifications come on the host's thread, where no receiver may wait for that host. A plug-in that crashes
/// takes the client with it.
///
/// Dropping the last reference, on any thread, shuts the host down. Where the host's own thread drops it, in
/// a receiver, that happens on another thread, a moment later.
class LocalPluginHostProxy : public PluginHostProxy {
public:
    /// For a host that nobody runs yet; becomes its handler.
    explicit LocalPluginHostProxy(const Ref<PluginHost>& host);
    ~LocalPluginHostProxy() override;

    /// Starts the thread that runs the host. Once, before anything is sent.
    void start();

    /// What the host answers to a dropped request is dropped.
    void removePluginInstance(int32_t instanceId) override;
    Ref<PluginHostReply> sendRequest(const Ref<PluginHostRequest>& request,
                                     const Ref<PluginHostAsyncReplyHandler>& replyHandler) override;
    /// The block that the instance itself holds.
    Ref<PluginAudioContext> createAudioContext(const CreatePluginInstanceReply& reply) override;
    bool abandon() override;
    /// Lets the host work off its queue, joins its thread and lets go of it. Plug-ins aren't terminated.
    /// Harmless when the host has ended. On the host's own thread, in a receiver, it doesn't wait: the host
    /// ends when it has worked off its queue, and the next `shutdown`, or the end of the proxy, joins it.
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
        /// Those that are to be answered and aren't yet, queued or not.
        Requests unanswered;
        Instances instances;
    };

    /// Puts a request behind the others, and has the host's main loop take the oldest.
    void enqueue(const Ref<PluginHostRequest>& request);
    /// The same with the host at work.
    void enqueueIn(State& current, const Ref<PluginHostRequest>& request);
    Ref<PluginHostRequest> takeQueuedRequest();
    /// Whom the outcome of a request goes to; null if nobody is waiting, or waits any more. Once for each.
    Ref<PluginHostAsyncReplyHandler> takeReceiver(PluginHostRequest& request);
    /// The main loop is over. Where nobody has asked for that, fails all who wait.
    void hostEnded(const String& message);
    void joinRunThread();

    const MakingProcess makingProcess;
    Ref<PluginHost> host;
    Ref<LocalPluginHostProxyHandler> handler;
    Ref<LocalPluginHostRunThread> runThread;
    /// Set while the state is locked.
    std::atomic<bool> closed = false;
    /// Where the calling thread and the host's meet, and nowhere else.
    base::core::Guarded<State> state;
};
