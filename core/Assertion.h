#pragma once

#include "core/ReadableText.h"
#include "core/String.h"

#include <atomic>
#include <cstdint>

namespace base::core {

/// What the user throws from the dialog of a failed assertion. Without a base, so that no handler of
/// `Exception` or `std::exception` catches it.
class AssertionFailedException {};

/// Logs a failed assertion of a site, or asks the user of an interactive session in a dialog, which blocks
/// the calling thread alone. A session is interactive if a debugger is attached or INTERACTIVE_ASSERTS is
/// "true", unless a `ScopedAssertionMode` overrides that.
///
/// True if the caller has to break into the debugger. Any thread; allocates. `condition` is "false" for an
/// unconditional one. Sets `ignored` if the user chooses to skip the site always. Throws
/// `AssertionFailedException` if the user chooses that, and what `showMessageDialog` and `showDebuggerDialog`
/// throw, with the report logged. Bytes of `file` and of the stack that aren't UTF-8 become U+FFFD.
bool assertionFailed(const String& message, const String& condition, const char* file, int32_t line,
                     bool* ignored);

/// Logs a failed assertion of a site that is always skipped.
void reportIgnoredAssertion(const String& message, const String& condition, const char* file, int32_t line);

/// A site's `ignored`, which any thread may set concurrently.
inline bool isAssertionIgnored(bool& ignored) {
    return std::atomic_ref(ignored).load(std::memory_order_relaxed);
}

} // namespace base::core

/// An assertion that fails when it is reached. The program continues after it.
#define BASE_FAIL(message)                                                                                   \
    do {                                                                                                     \
        static bool assertionIgnored = false;                                                                \
        if (::base::core::isAssertionIgnored(assertionIgnored))                                              \
            ::base::core::reportIgnoredAssertion(::base::core::concatReadable(message), "false", __FILE__,   \
                                                 __LINE__);                                                  \
        else if (::base::core::assertionFailed(::base::core::concatReadable(message), "false", __FILE__,     \
                                               __LINE__, &assertionIgnored))                                 \
            asm volatile("int3");                                                                            \
    } while (false)
