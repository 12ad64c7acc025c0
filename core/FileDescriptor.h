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

    /// `close` for the reading end of a FIFO, which also wakes a thread that is blocked in `read` on it.
    bool closeAndWakeReader();

    /// -1 once it is closed.
    int32_t get() const { return descriptor.load(); }

private:
    static constexpr uint32_t closingFlag = 0x80000000u;

    int32_t enter();
    bool leave();

    std::atomic<int32_t> descriptor;
    /// The number of users, and `closingFlag`.
    std::atomic<uint32_t> state{0};
};

} // namespace base::core
