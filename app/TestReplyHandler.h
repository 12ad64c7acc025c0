#pragma once

#include "client/ReplyWaiter.h"

/// Lets the script of a self-test wait for one reply, of either kind of host. Made before the request is
/// sent, so that no death of the host is missed: one fails the request with the words of the death.
class TestReplyHandler : public ReplyWaiter {
public:
    TestReplyHandler() = default;
    ~TestReplyHandler() override;

    /// Fails all handlers without an outcome. Any thread.
    static void failAll(const String& message);
};
