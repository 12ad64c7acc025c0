#pragma once

namespace test_support {

/// What a thread has asked of the allocator and of locks since it last set its counts to 0. A program with
/// this in it is its own allocator, one that counts and passes on: not beside a sanitizer, which is one too.
struct CountedCalls {
    /// Calls that take memory or give it back.
    int allocations = 0;
    int locks = 0;
};

extern constinit thread_local CountedCalls countedCalls;

} // namespace test_support
