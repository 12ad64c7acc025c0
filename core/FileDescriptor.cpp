#include "core/FileDescriptor.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace base::core {
namespace {

// A FIFO's reader sleeps on after its descriptor is closed; a byte wakes it. The reader sees that the stream
// is closing and drops the byte. A full FIFO refuses it, but then no reader sleeps.
void wakeReaders(int32_t descriptor, uint32_t readers) {
    char path[40];
    std::snprintf(path, sizeof path, "/proc/self/fd/%d", descriptor);
    const int writer = open(path, O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    if (writer < 0)
        return;
    const char wakeByte = 0;
    for (; readers > 0; --readers) {
        if (write(writer, &wakeByte, 1) < 0)
            break;
    }
    ::close(writer);
}

} // namespace

FileDescriptor::FileDescriptor(int32_t descriptor) : descriptor(descriptor) {}

FileDescriptor::~FileDescriptor() {
    if (const int32_t open = descriptor.exchange(-1); open >= 0)
        ::close(open);
}

bool FileDescriptor::close() {
    enter();
    const bool first = (state.fetch_or(closingFlag) & closingFlag) == 0;
    const bool closed = leave();
    if (!first)
        errno = EBADF;
    return first && closed;
}

bool FileDescriptor::closeAndWakeReader() {
    const int32_t open = enter();
    const uint32_t before = state.fetch_or(closingFlag);
    const bool first = (before & closingFlag) == 0;
    const uint32_t readers = (before & ~closingFlag) - 1;
    if (first && readers > 0)
        wakeReaders(open, readers);
    const bool closed = leave();
    if (!first)
        errno = EBADF;
    return first && closed;
}

int32_t FileDescriptor::enter() {
    return (state.fetch_add(1) & closingFlag) != 0 ? -1 : descriptor.load();
}

bool FileDescriptor::leave() {
    if (state.fetch_sub(1) != (closingFlag | 1))
        return true;
    // The last one out of a closing descriptor; those who only looked in may get here as well.
    const int32_t open = descriptor.exchange(-1);
    return open < 0 || ::close(open) == 0;
}

} // namespace base::core
