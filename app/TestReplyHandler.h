#pragma once

#include "core/Mutex.h"
#include "plugin/PluginHostAsyncReplyHandler.h"
#include "plugin/PluginHostReply.h"

/// Lets the script of a self-test wait for one reply. Made before the request is sent, so that no death of
/// the host is missed.
class TestReplyHandler : public PluginHostAsyncReplyHandler {
public:
    TestReplyHandler();
    ~TestReplyHandler() override;

    void onReply(PluginHostReply* reply) override;
    void onError(const String& message) override;

    /// Blocks until there is an outcome. Throws `PluginException` with the message of a failure.
    Ref<PluginHostReply> wait();

    /// Fails all handlers without an outcome. Any thread.
    static void failAll(const String& message);

private:
    /// Ignored after the first outcome.
    void finish(bool hasFailed, const String& newMessage, const Ref<PluginHostReply>& newReply);

    bool done = false;
    bool failed = false;
    String message;
    Ref<PluginHostReply> reply;
    base::core::Mutex lock;
    base::core::Condition finished;
};
