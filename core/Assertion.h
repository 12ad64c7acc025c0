#pragma once

#include "core/ReadableText.h"
#include "core/String.h"

#include <atomic>
#include <cstdint>

namespace base::core {

/// What the user throws from the dialog of a failed assertion. Without a base on purpose: nobody who answers
/// failures of the program answers this one.
class AssertionFailedException {};

/// Reports a failed assertion of a site in the log, or lets the user of an interactive
/// session decide in a dialog, which blocks the calling thread alone. `ScopedAssertionMode` overrides what
/// else tells such a session: a debugger that is known to be attached, or INTERACTIVE_ASSERTS set to "true".
///
/// True if the caller has to break into the debugger. Any thread; allocates. `condition` is "false" for an
/// unconditional one. Sets `ignored` if the user wants the site to be skipped always. Throws
/// `AssertionFailedException` where the user says so, and what `showMessageDialog` and `showDebuggerDialog`
/// throw; the report is logged then. Bytes of `file` and of the stack that are no UTF-8 are reported as
/// U+FFFD.
bool assertionFailed(const String& message, const String& condition, const char* file, int32_t line,
                     bool* ignored);

/// Reports a failed assertion of a site that is to be skipped always.
void reportIgnoredAssertion(const String& message, const String& condition, const char* file, int32_t line);

/// A site's `ignored`, which any thread may set meanwhile.
inline bool isAssertionIgnored(bool& ignored) {
    return std::atomic_ref(ignored).load(std::memory_order_relaxed);
}

} // namespace base::core

/// An assertion that has failed when it is reached. The program goes on behind it.
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
