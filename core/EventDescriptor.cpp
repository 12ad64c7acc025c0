#include "core/EventDescriptor.h"

#include "core/Exception.h"

#include <sys/eventfd.h>
#include <unistd.h>

namespace base::core {
namespace {

int32_t openEvent() {
    const int32_t descriptor = aboveConsole(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (descriptor < 0)
        throw IOException(concat("Could not make an event descriptor: ", lastErrorMessage()));
    return descriptor;
}

} // namespace

EventDescriptor::EventDescriptor() : descriptor(openEvent()) {}

EventDescriptor::~EventDescriptor() = default;

// A failure means that the counter is full: it polls as readable anyway.
void EventDescriptor::signal() {
    const uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(descriptor.get(), &one, sizeof one);
}

void EventDescriptor::clear() {
    uint64_t count = 0;
    [[maybe_unused]] const ssize_t read = ::read(descriptor.get(), &count, sizeof count);
}

} // namespace base::core
