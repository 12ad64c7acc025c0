// A descriptor that one thread sets and another polls: if these fail, a thread that watches hosts sleeps
// through what it was woken for, or never sleeps again.

#include "core/EventDescriptor.h"

#include <gtest/gtest.h>

#include <poll.h>

using base::core::EventDescriptor;

namespace {

bool isReadable(const EventDescriptor& event) {
    pollfd entry{event.get(), POLLIN, 0};
    return poll(&entry, 1, 0) == 1;
}

} // namespace

TEST(EventDescriptor, PollsAsReadableFromASignalUntilItIsCleared) {
    EventDescriptor event;
    EXPECT_FALSE(isReadable(event));
    event.signal();
    EXPECT_TRUE(isReadable(event));
    EXPECT_TRUE(isReadable(event)) << "polling clears nothing";
    event.clear();
    EXPECT_FALSE(isReadable(event));
}

TEST(EventDescriptor, HasNoCountOfItsSignals) {
    EventDescriptor event;
    event.signal();
    event.signal();
    event.clear();
    EXPECT_FALSE(isReadable(event));
}

TEST(EventDescriptor, MayBeClearedWithoutASignal) {
    EventDescriptor event;
    event.clear(); // doesn't block
    EXPECT_FALSE(isReadable(event));
}
