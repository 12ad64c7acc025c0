#include "client/ReplyWaiter.h"

#include "client/PluginHostProxy.h"
#include "plugin/PluginException.h"

#include <set>

using base::core::Guarded;

namespace {

// Never destroyed: a host may die during `exit`.
Guarded<std::set<ReplyWaiter*>>& registry() {
    static auto& waiters = *new Guarded<std::set<ReplyWaiter*>>;
    return waiters;
}

} // namespace

ReplyTimeout::~ReplyTimeout() = default;

Exception* ReplyTimeout::clone() const {
    return new ReplyTimeout(*this);
}

ReplyWaiter::ReplyWaiter(const PluginHostProxy& proxy) : proxy(&proxy) {
    const auto waiters = registry().lock();
    waiters->insert(this);
}

ReplyWaiter::ReplyWaiter() : proxy(nullptr) {
    const auto waiters = registry().lock();
    waiters->insert(this);
}

ReplyWaiter::~ReplyWaiter() {
    const auto waiters = registry().lock();
    waiters->erase(this);
}

void ReplyWaiter::onReply(PluginHostReply* newReply) {
    finish(Outcome::reply, newReply, {});
}

void ReplyWaiter::onError(const String& newMessage) {
    finish(Outcome::error, nullptr, newMessage);
}

Ref<PluginHostReply> ReplyWaiter::wait() {
    const auto current = state.lock();
    while (hasToWait(*current))
        current.wait(finished);
    return resultOf(*current);
}

Ref<PluginHostReply> ReplyWaiter::wait(double seconds) {
    const timespec deadline = base::core::monotonicDeadline(seconds);
    const auto current = state.lock();
    while (hasToWait(*current)) {
        if (!current.waitUntil(finished, deadline) && current->outcome == Outcome::none)
            throw ReplyTimeout("Plug-in host process gave no answer in time");
    }
    return resultOf(*current);
}

void ReplyWaiter::hostLost(const PluginHostProxy& proxy) {
    failAll(&proxy, Outcome::lost, {});
}

void ReplyWaiter::failAll(const PluginHostProxy* proxy, Outcome outcome, const String& message) {
    const auto waiters = registry().lock();
    for (ReplyWaiter* waiter : *waiters) {
        if (waiter->proxy == proxy)
            waiter->finish(outcome, nullptr, message);
    }
}

bool ReplyWaiter::hasToWait(const State& current) const {
    // `hostLost` doesn't reach a waiter that registered after it.
    return current.outcome == Outcome::none && (proxy == nullptr || !proxy->isClosed());
}

Ref<PluginHostReply> ReplyWaiter::resultOf(const State& current) {
    switch (current.outcome) {
    case Outcome::reply:
        return current.reply;
    case Outcome::error:
        throw PluginException(current.message);
    default:
        throw IOException(PluginHostProxy::lostMessage);
    }
}

void ReplyWaiter::finish(Outcome newOutcome, const Ref<PluginHostReply>& newReply, const String& newMessage) {
    const auto current = state.lock();
    if (current->outcome != Outcome::none)
        return;
    current->outcome = newOutcome;
    current->reply = newReply;
    current->message = newMessage;
    finished.broadcast();
}
