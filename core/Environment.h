#pragma once

#include "core/String.h"

namespace base::core {

/// The value of an environment variable, decoded as UTF-8; the empty text if it is unset. Sets `found`, if
/// given, to whether it is set. Throws `IOException` if the value isn't UTF-8.
String getEnvironmentVariable(const char* name, bool* found = nullptr);

} // namespace base::core
