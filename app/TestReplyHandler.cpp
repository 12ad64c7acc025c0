#include "app/TestReplyHandler.h"

TestReplyHandler::~TestReplyHandler() = default;

void TestReplyHandler::failAll(const String& message) {
    ReplyWaiter::failAll(nullptr, Outcome::error, message);
}
