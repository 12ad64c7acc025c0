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

/// Marks an allocation that is never freed, so that a leak checker ignores it and what only it refers to.
/// `memory` may point anywhere into it. No effect in builds without a leak checker. Any thread.
inline void leaveAllocated([[maybe_unused]] const void* memory) {
#ifdef BASE_CORE_FINDS_LEAKS
    __lsan_ignore_object(memory);
#endif
}

} // namespace base::core

#undef BASE_CORE_FINDS_LEAKS
