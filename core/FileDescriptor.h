#pragma once

#include "core/Object.h"

#include <atomic>
#include <cstdint>

namespace base::core {

/// An open descriptor that one thread may close while another is inside a call on it. The number is given
/// back to the system only when nobody uses it any more, so it can't be reused under a call. Entering and
/// leaving cost an atomic add each and never block.
class FileDescriptor : public NonCopyable, public NonMovable {
public:
    /// Takes over `descriptor`.
    explicit FileDescriptor(int32_t descriptor);
    /// Closes what is still open, and says nothing about a failure.
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

    /// Ends the use of the descriptor: nobody enters it after this. False, with `errno` set, if it was closed
    /// before or the system refuses.
    bool close();

    /// `close` for the reading end of a FIFO, which also wakes every thread that is blocked in `read` on it,
    /// even if the process has no descriptor left. Where the machine has neither a file nor a process left,
    /// it tries again until it has, or until the readers have come back by themselves. It needs /proc:
    /// without that, a reader sleeps on until its peer writes or closes.
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

/// A descriptor under a number above those of the console, to which the caller's is moved if it has one of
/// them: where an application runs with its standard error stream closed, its log would be written into the
/// next file that is opened. -1, with `errno`, if there is no other number; the caller's is closed then. -1
/// stays -1, and keeps `errno`.
int32_t aboveConsole(int32_t descriptor);

} // namespace base::core
