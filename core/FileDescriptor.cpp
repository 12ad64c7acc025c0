#include "core/FileDescriptor.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace base::core {
namespace {

bool isShortage(int failure) {
    return failure == EMFILE || failure == ENFILE || failure == ENOMEM;
}

/// A FIFO by its reading end, and how many readers to wake.
struct Wake {
    char path[40];
    /// Another descriptor than the FIFO's.
    int spare;
    uint32_t readers;
    /// An `errno`; 0 if the readers are awake.
    int failure;
};

// An `errno`, or 0. Async-signal-safe, since the child of a process with threads runs it. A full FIFO refuses
// the byte, but has no sleeping reader.
int writeBytes(const Wake& wake) {
    const auto writer =
        static_cast<int>(syscall(SYS_openat, AT_FDCWD, wake.path, O_WRONLY | O_NONBLOCK | O_CLOEXEC));
    if (writer < 0)
        return errno;
    const char wakeByte = 0;
    for (uint32_t i = 0; i < wake.readers; ++i) {
        if (syscall(SYS_write, writer, &wakeByte, 1) < 0)
            break;
    }
    syscall(SYS_close, writer);
    return 0;
}

/// What the child runs; its status is an `errno` too.
int makeRoomAndWriteBytes(void* argument) {
    const Wake& wake = *static_cast<const Wake*>(argument);
    syscall(SYS_close, wake.spare);
    return writeBytes(wake);
}

// A child has its own table of descriptors: it can close one to make room without a race against other
// threads. It is a clone that sends no signal at its end, so `wait` loops of the application don't reap it,
// and it runs no handler of the application.
void wakeByChild(Wake& wake) {
    constexpr size_t stackSize = 16384;
    alignas(16) char stack[stackSize];
    sigset_t all;
    sigset_t former;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &former);
    const pid_t child = clone(makeRoomAndWriteBytes, stack + stackSize, 0, &wake);
    pthread_sigmask(SIG_SETMASK, &former, nullptr);
    if (child < 0)
        return;
    int status = 0;
    pid_t ended;
    do {
        ended = waitpid(child, &status, __WALL);
    } while (ended < 0 && errno == EINTR);
    if (ended == child && WIFEXITED(status))
        wake.failure = WEXITSTATUS(status);
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
    if (first)
        wakeReaders(open);
    const bool closed = leave();
    if (!first)
        errno = EBADF;
    return first && closed;
}

// Closing the descriptor doesn't wake a FIFO's reader; a byte does. The reader sees that the stream is
// closing and drops the byte.
void FileDescriptor::wakeReaders(int32_t open) {
    constexpr timespec pause{0, 10'000'000};
    Wake wake{};
    std::snprintf(wake.path, sizeof wake.path, "/proc/self/fd/%d", open);
    wake.spare = open == STDIN_FILENO ? STDOUT_FILENO : STDIN_FILENO;
    while ((wake.readers = (state.load() & ~closingFlag) - 1) > 0) {
        wake.failure = writeBytes(wake);
        if (isShortage(wake.failure))
            wakeByChild(wake);
        // Out of descriptors and processes: retry. Without /proc readers can't be woken.
        if (!isShortage(wake.failure))
            break;
        nanosleep(&pause, nullptr);
    }
}

int32_t FileDescriptor::enter() {
    return (state.fetch_add(1) & closingFlag) != 0 ? -1 : descriptor.load();
}

bool FileDescriptor::leave() {
    if (state.fetch_sub(1) != (closingFlag | 1))
        return true;
    // The last user of a closing descriptor; a use that found it closed may get here as well.
    const int32_t open = descriptor.exchange(-1);
    return open < 0 || ::close(open) == 0;
}

int32_t aboveConsole(int32_t descriptor) {
    if (descriptor < 0 || descriptor > STDERR_FILENO)
        return descriptor;
    const int32_t moved = fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const int32_t failure = errno;
    close(descriptor);
    errno = failure;
    return moved;
}

} // namespace base::core
