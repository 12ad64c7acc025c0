#pragma once

#include "core/String.h"

namespace base::core {

/// The value of an environment variable, decoded as UTF-8; the empty text if it is unset. `found`, where
/// given, tells which it was. Throws `IOException` if the value is no UTF-8.
String getEnvironmentVariable(const char* name, bool* found = nullptr);

} // namespace base::core
