#pragma once

#include "core/String.h"

#include <cstdint>

namespace base::core {

/// The one text-to-integer parser. Blanks, tabs and line ends around the number are allowed and may be mixed
/// with any number of "-" before it, each of which flips the sign. Over-long numbers wrap around in 32 bits.
/// Oddity lenient-numbers: the code points 0 to 9 pass as digits, and characters up to "@" may follow. Throws
/// `NumberFormatException` with the whole text.
int32_t parseInt(const String& text);

} // namespace base::core
