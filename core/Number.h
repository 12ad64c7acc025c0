#pragma once

#include "core/String.h"

#include <cstdint>

namespace base::core {

/// Parses a decimal integer. Blanks, tabs and line ends may surround it, with any number of "-" among those
/// before it, each of which flips the sign. Numbers beyond 32 bits wrap around. Oddity lenient-numbers: the
/// code points 0 to 9 pass as digits, and characters up to "@" may follow. Throws `NumberFormatException`
/// with the whole text.
int32_t parseInt(const String& text);

} // namespace base::core
