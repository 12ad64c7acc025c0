#include "app/TestReplyHandler.h"

#include "plugin/PluginException.h"

#include <set>

using base::core::Mutex;
using base::core::ScopedLock;

namespace {

struct Waiting {
    Mutex lock;
    std::set<TestReplyHandler*> handlers;
};

// Never destroyed: a host may die during `exit`.
Waiting& waiting() {
    static auto& all = *new Waiting;
    return all;
}

} // namespace

TestReplyHandler::TestReplyHandler() {
    const ScopedLock scope(waiting().lock);
    waiting().handlers.insert(this);
}

TestReplyHandler::~TestReplyHandler() {
    const ScopedLock scope(waiting().lock);
    waiting().handlers.erase(this);
}

void TestReplyHandler::onReply(PluginHostReply* newReply) {
    finish(false, {}, newReply);
}

void TestReplyHandler::onError(const String& newMessage) {
    finish(true, newMessage, nullptr);
}

Ref<PluginHostReply> TestReplyHandler::wait() {
    const ScopedLock scope(lock);
    while (!done)
        finished.wait(lock);
    if (failed)
        throw PluginException(message);
    return reply;
}

void TestReplyHandler::failAll(const String& message) {
    const ScopedLock scope(waiting().lock);
    for (TestReplyHandler* handler : waiting().handlers)
        handler->onError(message);
}

void TestReplyHandler::finish(bool hasFailed, const String& newMessage,
                              const Ref<PluginHostReply>& newReply) {
    const ScopedLock scope(lock);
    if (done)
        return;
    done = true;
    failed = hasFailed;
    message = newMessage;
    reply = newReply;
    finished.broadcast();
}
