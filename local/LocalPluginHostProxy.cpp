#include "local/LocalPluginHostProxy.h"

#include "client/CallReceiver.h"
#include "core/Log.h"
#include "host/PluginHost.h"
#include "plugin/PluginException.h"
#include "plugin/PluginHostAsyncReplyHandler.h"
#include "plugin/PluginHostReplies.h"
#include "plugin/PluginHostRequests.h"

#include <algorithm>

using base::core::ScopedLock;

namespace {

/// What runs the oldest request, whichever that is by then.
class NextRequestAction : public PluginHostAction {
public:
    explicit NextRequestAction(const Ref<LocalPluginHostProxyHandler>& handler) : handler(handler) {}
    void run() override { handler->runNextRequest(); }

private:
    Ref<LocalPluginHostProxyHandler> handler;
};

/// Hands the outcome of a synchronous request to the thread that has sent it.
class ReplyLatch : public PluginHostAsyncReplyHandler {
public:
    void onReply(PluginHostReply* newReply) override { open(newReply, false, {}); }
    void onError(const String& newMessage) override { open(nullptr, true, newMessage); }

    void wait() {
        const ScopedLock scope(lock);
        while (!isOpen)
            opened.wait(lock);
    }

    /// Once `wait` has returned.
    Ref<PluginHostReply> takeReply() const {
        if (failed)
            throw PluginException(message);
        return reply;
    }

private:
    void open(const Ref<PluginHostReply>& newReply, bool newFailed, const String& newMessage) {
        const ScopedLock scope(lock);
        reply = newReply;
        failed = newFailed;
        message = newMessage;
        isOpen = true;
        opened.broadcast();
    }

    base::core::Mutex lock;
    base::core::Condition opened;
    bool isOpen = false;
    bool failed = false;
    String message;
    Ref<PluginHostReply> reply;
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
    std::vector<Ref<PluginHostRequest>> requests;
    Ref<RemotePluginInstance> instance;
    const ScopedLock scope(lock);
    std::erase_if(unanswered, [&](const auto& request) {
        if (!request->isForInstance(instanceId))
            return false;
        requests.push_back(request);
        return true;
    });
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
    const Ref<ReplyLatch> latch(new ReplyLatch);
    request->replyHandler = latch;
    enqueue(request);
    latch->wait();
    if (isClosed())
        throw IOException(lostMessage);
    return latch->takeReply();
}

Ref<PluginAudioContext> LocalPluginHostProxy::createAudioContext(const CreatePluginInstanceReply& reply) {
    const Ref<RemotePluginInstance> instance = findInstance(reply.instanceId);
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
        decltype(unanswered) droppedRequests;
        decltype(instances) droppedInstances;
        // Closed with the same lock, so that the end of the host is nobody's death.
        const ScopedLock scope(lock);
        if (!closed) {
            enqueueLocked(new ShutdownRequest);
            closed = true;
            droppedRequests.swap(unanswered);
            droppedInstances.swap(instances);
        }
    }
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

Ref<RemotePluginInstance> LocalPluginHostProxy::findInstance(int32_t instanceId) {
    const ScopedLock scope(lock);
    const auto entry = instances.find(instanceId);
    return entry != instances.end() ? entry->second : nullptr;
}

void LocalPluginHostProxy::addPluginInstance(int32_t instanceId,
                                             const Ref<PluginHostNotificationListener>& listener) {
    const ScopedLock scope(lock);
    instances.emplace(instanceId, new RemotePluginInstance(instanceId, listener));
}

void LocalPluginHostProxy::enqueue(const Ref<PluginHostRequest>& request) {
    const ScopedLock scope(lock);
    // Under the lock: a host that ends by itself fails all that is unanswered, and nothing comes after that.
    if (closed)
        throw IOException(lostMessage);
    enqueueLocked(request);
}

void LocalPluginHostProxy::enqueueLocked(const Ref<PluginHostRequest>& request) {
    queue.push_back(request);
    if (request->needsReply())
        unanswered.push_back(request);
    host->post(new NextRequestAction(handler));
}

Ref<PluginHostRequest> LocalPluginHostProxy::takeQueuedRequest() {
    const ScopedLock scope(lock);
    Ref<PluginHostRequest> request = queue.front();
    queue.pop_front();
    return request;
}

Ref<PluginHostAsyncReplyHandler> LocalPluginHostProxy::takeReceiver(PluginHostRequest& request) {
    const ScopedLock scope(lock);
    const auto entry = std::find(unanswered.begin(), unanswered.end(), &request);
    if (entry == unanswered.end() || closed)
        return nullptr;
    unanswered.erase(entry);
    return request.replyHandler;
}

void LocalPluginHostProxy::hostEnded(const String& message) {
    std::vector<Ref<PluginHostRequest>> failed;
    {
        const ScopedLock scope(lock);
        if (closed)
            return;
        closed = true;
        failed.swap(unanswered);
        queue.clear();
    }
    base::core::logError("Plugin host died: ", message);
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
