#pragma once

#include <cstddef>
#include <cstdint>

namespace core_tests {

/// Calls of the library that this program can make fail for the thread that asks for it. The linker leads the
/// calls of the code under test here (`--wrap`).
enum class LibraryCall : uint32_t {
    strdup = 1,
    threadAttributesInit = 2,
    threadCreate = 4,
    mutexInit = 8,
    mutexAttributesInit = 16,
    conditionInit = 32,
    conditionAttributesInit = 64,
    fork = 128,
    pipe2 = 256,
    /// Says that there is no space left.
    fallocate = 512,
    /// Is interrupted by a signal once, and works after that.
    fallocateOnce = 1024,
};

/// Makes one call fail on this thread for a scope.
class FailingCall {
public:
    explicit FailingCall(LibraryCall call);
    ~FailingCall();
    FailingCall(const FailingCall&) = delete;
    FailingCall& operator=(const FailingCall&) = delete;
};

/// Makes `shm_open` on this thread open what `descriptor` is open on, for a scope.
class ReplacedSharedMemory {
public:
    explicit ReplacedSharedMemory(int descriptor);
    ~ReplacedSharedMemory();
    ReplacedSharedMemory(const ReplacedSharedMemory&) = delete;
    ReplacedSharedMemory& operator=(const ReplacedSharedMemory&) = delete;
};

/// Sends a signal to each child that the code under test makes on this thread, before it becomes a program or
/// does what it was cloned for, for a scope.
class SignalledChildren {
public:
    explicit SignalledChildren(int signal);
    ~SignalledChildren();
    SignalledChildren(const SignalledChildren&) = delete;
    SignalledChildren& operator=(const SignalledChildren&) = delete;
};

/// Answers every message dialog of this thread for a scope; none is shown.
class AnsweredDialog {
public:
    explicit AnsweredDialog(int32_t choice);
    ~AnsweredDialog();
    AnsweredDialog(const AnsweredDialog&) = delete;
    AnsweredDialog& operator=(const AnsweredDialog&) = delete;
};

/// Makes each `malloc` and each `new[]` of exactly `size` bytes fail on this thread for a scope.
class FailingAllocation {
public:
    explicit FailingAllocation(size_t size);
    ~FailingAllocation();
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;
};

} // namespace core_tests
