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

/// What runs the oldest request, whichever that is by then.
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
    // Let go of without the lock, since it may be the end of a receiver.
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
    // A receiver may drop the last reference meanwhile. The end of this waits for the host's thread, where a
    // reference would only put it off.
    const Ref<LocalPluginHostProxy> self = runThread->isCurrentThread() ? nullptr : this;
    {
        // Let go of without the lock, since it may be the end of a receiver.
        Requests droppedRequests;
        Instances droppedInstances;
        // Closed with the same lock, so that the end of the host is nobody's death.
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
    // Held while receivers may make references and drop them.
    retain(this);
    if (runThread->isCurrentThread()) {
        // The thread can't wait for its own end.
        base::core::releaseOnNewThread(this);
        return false;
    }
    shutdown();
    // A receiver may have kept a reference, whose release comes here again.
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
    // Under the lock: a host that ends by itself fails all that is unanswered, and nothing comes after that.
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
    // Its main loop still runs this: it ends behind the request, and whoever comes from elsewhere joins it.
    if (runThread->isCurrentThread())
        return;
    runThread->join();
    // Host and handler hold each other.
    if (host)
        host->handler = nullptr;
    handler->host = nullptr;
    host = nullptr;
}
