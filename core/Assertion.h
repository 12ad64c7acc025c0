#pragma once

#include "core/String.h"

#include <cstdint>

namespace base::core {

/// Reports a failed assertion of a site on the standard error stream. True if the caller has to break into
/// the debugger. Any thread; allocates. `condition` is "false" for an unconditional one.
bool assertionFailed(const String& message, const String& condition, const char* file, int32_t line,
                     bool* ignored);

/// Reports a failed assertion of a site that is to be skipped always.
void reportIgnoredAssertion(const String& message, const String& condition, const char* file, int32_t line);

} // namespace base::core

/// An assertion that has failed when it is reached. The program goes on behind it.
#define BASE_FAIL(message)                                                                                   \
    do {                                                                                                     \
        static bool assertionIgnored = false;                                                                \
        if (assertionIgnored)                                                                                \
            ::base::core::reportIgnoredAssertion(message, "false", __FILE__, __LINE__);                      \
        else if (::base::core::assertionFailed(message, "false", __FILE__, __LINE__, &assertionIgnored))     \
            __builtin_trap();                                                                                \
    } while (false)
