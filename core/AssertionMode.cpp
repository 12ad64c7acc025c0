#include "core/AssertionMode.h"

#include <mutex>

namespace base::core {
namespace {

// Not a `Mutex`: failing to make one is a failed assertion, which asks for the mode. Constant-initialised and
// never destroyed, as assertions may fail before and after the life of static objects.
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
