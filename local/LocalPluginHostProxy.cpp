#include "local/LocalPluginHostProxy.h"

#include "client/CallReceiver.h"
#include "client/ReplyWaiter.h"
#include "core/Log.h"
#include "host/PluginHost.h"
#include "plugin/PluginHostAsyncReplyHandler.h"
#include "plugin/PluginHostReplies.h"
#include "plugin/PluginHostRequests.h"

#include <algorithm>

namespace {

/// Runs the request that is the oldest by then.
class NextRequestAction : public PluginHostAction {
public:
    explicit NextRequestAction(const Ref<LocalPluginHostProxyHandler>& handler) : handler(handler) {}
    void run() override { handler->runNextRequest(); }

private:
    Ref<LocalPluginHostProxyHandler> handler;
};

} // namespace

LocalPluginHostProxy::LocalPluginHostProxy(const Ref<PluginHost>& host)
    : host(host), handler(new LocalPluginHostProxyHandler(host, this)),
      runThread(new LocalPluginHostRunThread(host.get(), this)) {
    host->handler = handler;
}

LocalPluginHostProxy::~LocalPluginHostProxy() = default;

void LocalPluginHostProxy::start() {
    runThread->start();
}

void LocalPluginHostProxy::removePluginInstance(int32_t instanceId) {
    // Released without the lock, as that may destroy a receiver.
    Requests requests;
    Ref<LocalPluginInstance> instance;
    const auto current = state.lock();
    std::erase_if(current->unanswered, [&](const auto& request) {
        if (!request->isForInstance(instanceId))
            return false;
        requests.push_back(request);
        return true;
    });
    Instances& instances = current->instances;
    if (const auto entry = instances.find(instanceId); entry != instances.end()) {
        instance = entry->second;
        instances.erase(entry);
    }
}

Ref<PluginHostReply> LocalPluginHostProxy::sendRequest(const Ref<PluginHostRequest>& request,
                                                       const Ref<PluginHostAsyncReplyHandler>& replyHandler) {
    if (isClosed())
        throw IOException(lostMessage);
    request->requireSendableTexts();
    if (!request->needsReply() || request->isAsync()) {
        request->replyHandler = replyHandler;
        enqueue(request);
        return nullptr;
    }
    const Ref<ReplyWaiter> waiter(new ReplyWaiter(*this));
    request->replyHandler = waiter;
    enqueue(request);
    return waiter->wait();
}

Ref<PluginAudioContext> LocalPluginHostProxy::createAudioContext(const CreatePluginInstanceReply& reply) {
    const Ref<LocalPluginInstance> instance = findInstance(reply.instanceId);
    if (!instance || !instance->context)
        throw IOException(concat("No audio block for plugin instance ", reply.instanceId));
    return instance->context;
}

bool LocalPluginHostProxy::abandon() {
    return false;
}

void LocalPluginHostProxy::shutdown() {
    if (makingProcess.isCopied())
        return;
    // A receiver may release the last other reference meanwhile. None is needed on the host's thread:
    // destruction waits for that thread.
    const Ref<LocalPluginHostProxy> self = runThread->isCurrentThread() ? nullptr : this;
    {
        // Released without the lock, as that may destroy a receiver.
        Requests droppedRequests;
        Instances droppedInstances;
        // Closed under the same lock, so that the host's end isn't reported as a death.
        const auto current = state.lock();
        if (!closed) {
            enqueueIn(*current, new ShutdownRequest);
            closed = true;
            droppedRequests.swap(current->unanswered);
            droppedInstances.swap(current->instances);
        }
    }
    ReplyWaiter::hostLost(*this);
    joinRunThread();
}

bool LocalPluginHostProxy::prepareForDeletion() {
    if (makingProcess.isCopied()) {
        MakingProcess::leave(this);
        return false;
    }
    // Held, as receivers may make and drop references meanwhile.
    retain(this);
    if (runThread->isCurrentThread()) {
        // A thread can't join itself.
        base::core::releaseOnNewThread(this);
        return false;
    }
    shutdown();
    // If a receiver kept a reference, its release calls this again.
    return undoRetain(this) == 0;
}

Ref<LocalPluginInstance> LocalPluginHostProxy::findInstance(int32_t instanceId) {
    const auto current = state.lock();
    const auto entry = current->instances.find(instanceId);
    return entry != current->instances.end() ? entry->second : nullptr;
}

void LocalPluginHostProxy::addPluginInstance(int32_t instanceId,
                                             const Ref<PluginHostNotificationListener>& listener) {
    const auto current = state.lock();
    current->instances.emplace(instanceId, new LocalPluginInstance(instanceId, listener));
}

void LocalPluginHostProxy::enqueue(const Ref<PluginHostRequest>& request) {
    const auto current = state.lock();
    // Tested under the lock: a host that ends by itself fails the unanswered requests once, and would never
    // answer a later one.
    if (closed)
        throw IOException(lostMessage);
    enqueueIn(*current, request);
}

void LocalPluginHostProxy::enqueueIn(State& current, const Ref<PluginHostRequest>& request) {
    current.queue.push_back(request);
    if (request->needsReply())
        current.unanswered.push_back(request);
    host->post(new NextRequestAction(handler));
}

Ref<PluginHostRequest> LocalPluginHostProxy::takeQueuedRequest() {
    const auto current = state.lock();
    Ref<PluginHostRequest> request = current->queue.front();
    current->queue.pop_front();
    return request;
}

Ref<PluginHostAsyncReplyHandler> LocalPluginHostProxy::takeReceiver(PluginHostRequest& request) {
    const auto current = state.lock();
    Requests& unanswered = current->unanswered;
    const auto entry = std::find(unanswered.begin(), unanswered.end(), &request);
    if (entry == unanswered.end() || closed)
        return nullptr;
    unanswered.erase(entry);
    return request.replyHandler;
}

void LocalPluginHostProxy::hostEnded(const String& message) {
    Requests failed;
    {
        const auto current = state.lock();
        if (closed)
            return;
        closed = true;
        failed.swap(current->unanswered);
        current->queue.clear();
    }
    base::core::logError("Plugin host died: ", message);
    ReplyWaiter::hostLost(*this);
    for (const Ref<PluginHostRequest>& request : failed) {
        if (request->replyHandler)
            callReceiver(replyHandlerName, [&] { request->replyHandler->onError(lostMessage); });
    }
}

void LocalPluginHostProxy::joinRunThread() {
    // The main loop that runs this ends after the request; a later `shutdown` on another thread joins it.
    if (runThread->isCurrentThread())
        return;
    runThread->join();
    // Host and handler reference each other.
    if (host)
        host->handler = nullptr;
    handler->host = nullptr;
    host = nullptr;
}
