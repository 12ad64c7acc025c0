#pragma once

#if defined(__SANITIZE_ADDRESS__)
#define BASE_CORE_FINDS_LEAKS
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define BASE_CORE_FINDS_LEAKS
#endif
#endif

#ifdef BASE_CORE_FINDS_LEAKS
#include <sanitizer/lsan_interface.h>
#endif

namespace base::core {

/// Marks an allocation that is left to the process for good, on purpose, so that a leak checker is silent
/// about this one, and what only it refers to, and about no other. `memory` may point anywhere into it.
/// Nothing in builds without a leak checker. Any thread.
inline void leaveAllocated([[maybe_unused]] const void* memory) {
#ifdef BASE_CORE_FINDS_LEAKS
    __lsan_ignore_object(memory);
#endif
}

} // namespace base::core

#undef BASE_CORE_FINDS_LEAKS
