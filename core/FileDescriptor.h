#pragma once

#include "core/Object.h"

#include <atomic>
#include <cstdint>

namespace base::core {

/// An open descriptor that one thread may close during another thread's call on it. The number is closed
/// after its last user has left, so it can't be reused under a call. Entering and leaving cost an atomic add
/// each and never block.
class FileDescriptor : public NonCopyable, public NonMovable {
public:
    /// Takes over `descriptor`.
    explicit FileDescriptor(int32_t descriptor);
    /// Closes the descriptor if it is open. A failure is ignored.
    ~FileDescriptor();

    /// The use of the descriptor for a scope.
    class Use : public NonCopyable, public NonMovable {
    public:
        explicit Use(FileDescriptor& owner) : owner(owner), descriptor(owner.enter()) {}
        ~Use() { owner.leave(); }

        /// -1 if it had been closed when this use began.
        int32_t get() const { return descriptor; }
        /// Whether `close` has been called, perhaps during this use.
        bool isClosed() const { return (owner.state.load() & closingFlag) != 0; }

    private:
        FileDescriptor& owner;
        int32_t descriptor;
    };

    /// Refuses further users. False, with `errno` set, if it was closed before or `close` fails.
    bool close();

    /// `close` for the reading end of a FIFO, which also wakes every thread that is blocked in `read` on it,
    /// even if the process is out of descriptors. If the system is out of files and processes, it retries
    /// until it has some, or until the readers have returned by themselves. Needs /proc: without it, a reader
    /// stays blocked until its peer writes or closes.
    bool closeAndWakeReader();

    /// -1 once it is closed.
    int32_t get() const { return descriptor.load(); }

private:
    static constexpr uint32_t closingFlag = 0x80000000u;

    int32_t enter();
    bool leave();
    void wakeReaders(int32_t open);

    std::atomic<int32_t> descriptor;
    /// The number of users, and `closingFlag`.
    std::atomic<uint32_t> state{0};
};

/// Moves a descriptor with a number of the console, 0 to 2, above them: if an application runs with stderr
/// closed, its log would go into the next file that is opened. -1, with `errno`, if there is no other number;
/// the descriptor is closed then. -1 gives -1, and keeps `errno`.
int32_t aboveConsole(int32_t descriptor);

} // namespace base::core
