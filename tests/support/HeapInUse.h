#pragma once

#include <cstddef>
#include <malloc.h>

namespace test_support {

/// Bytes that the program holds from the allocator, without those of threads that have an arena of their own.
/// Sanitizers bring their own allocator: 0 there, and their own search for leaks.
inline size_t heapInUse() {
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

} // namespace test_support
