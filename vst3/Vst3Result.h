#pragma once

#include "plugin/CoreNames.h"
#include "vst3/Vst3Names.h"

#include <cstdint>

/// The published name of a result code, or null for a code that has none.
const char* resultCodeName(tresult code);

/// The message for a failure at the location that `location` names, empty for `kResultOk`. The literals for
/// locations have double quotes of their own, which are part of the message.
String resultCodeMessage(tresult code, const char* location, const char* file, int32_t line);

/// Throws `PluginException` with the `resultCodeMessage` for anything but `kResultOk`. `file` and `line` are
/// the caller's.
void throwUnlessOk(tresult code, const char* location, const char* file = __builtin_FILE(),
                   int32_t line = __builtin_LINE());

/// For a failure that doesn't stop the operation: logs anything but `kResultOk` to stderr. Returns the code.
tresult checkResult(tresult code, const char* location);
