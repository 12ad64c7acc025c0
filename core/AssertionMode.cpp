#include "core/AssertionMode.h"

#include <mutex>

namespace base::core {
namespace {

// Not a `Mutex`: to fail at making one is a failed assertion, which asks for the mode. Assertions may fail
// before and after the life of static objects, so both are there without being made.
constinit std::mutex modesLock;
constinit ScopedAssertionMode* topmost = nullptr;

} // namespace

ScopedAssertionMode::ScopedAssertionMode(AssertionMode mode) : mode(mode) {
    const std::scoped_lock lock(modesLock);
    below = topmost;
    topmost = this;
}

ScopedAssertionMode::~ScopedAssertionMode() {
    const std::scoped_lock lock(modesLock);
    ScopedAssertionMode** place = &topmost;
    while (*place != this)
        place = &(*place)->below;
    *place = below;
}

AssertionMode ScopedAssertionMode::current() {
    const std::scoped_lock lock(modesLock);
    return topmost != nullptr ? topmost->mode : AssertionMode::dialogIfInteractive;
}

} // namespace base::core
