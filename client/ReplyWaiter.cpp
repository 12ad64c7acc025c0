#include "client/ReplyWaiter.h"

#include "plugin/PluginException.h"

#include <set>

using base::core::Mutex;
using base::core::ScopedLock;

namespace {

struct WaiterRegistry {
    Mutex lock;
    std::set<ReplyWaiter*> waiters;
};

// Never destroyed: a host may die while the process exits.
WaiterRegistry& registry() {
    static auto& waiters = *new WaiterRegistry;
    return waiters;
}

} // namespace

ReplyWaiter::ReplyWaiter(RemotePluginHostProxy& proxy) : proxy(&proxy) {
    WaiterRegistry& all = registry();
    const ScopedLock registryLock(all.lock);
    all.waiters.insert(this);
}

ReplyWaiter::~ReplyWaiter() {
    WaiterRegistry& all = registry();
    const ScopedLock registryLock(all.lock);
    all.waiters.erase(this);
}

void ReplyWaiter::onReply(PluginHostReply* newReply) {
    finish(Outcome::reply, newReply, {});
}

void ReplyWaiter::onError(const String& newMessage) {
    finish(Outcome::error, nullptr, newMessage);
}

Ref<PluginHostReply> ReplyWaiter::wait(double seconds) {
    const timespec deadline = base::core::monotonicDeadline(seconds);
    const ScopedLock waitLock(lock);
    // A host that was lost before this waiter was registered tells nobody any more.
    while (outcome == Outcome::none && !proxy->isClosed()) {
        if (!finished.waitUntil(lock, deadline) && outcome == Outcome::none)
            throw IOException("Plug-in host process gave no answer in time");
    }
    switch (outcome) {
    case Outcome::reply:
        return reply;
    case Outcome::error:
        throw PluginException(message);
    default:
        throw IOException(PluginHostProxy::lostMessage);
    }
}

void ReplyWaiter::finish(Outcome newOutcome, const Ref<PluginHostReply>& newReply, const String& newMessage) {
    const ScopedLock finishLock(lock);
    if (outcome != Outcome::none)
        return;
    outcome = newOutcome;
    reply = newReply;
    message = newMessage;
    finished.broadcast();
}

WaitingProxyManager::~WaitingProxyManager() = default;

void WaitingProxyManager::hostDied(RemotePluginHostProxy& proxy, const String& message, bool) {
    WaiterRegistry& all = registry();
    const ScopedLock registryLock(all.lock);
    for (ReplyWaiter* waiter : all.waiters) {
        if (waiter->proxy == &proxy)
            waiter->finish(ReplyWaiter::Outcome::lost, nullptr, message);
    }
}

void WaitingProxyManager::hostShutDown(RemotePluginHostProxy& proxy) {
    WaitingProxyManager::hostDied(proxy, {}, false);
}
