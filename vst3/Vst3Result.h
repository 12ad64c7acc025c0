#pragma once

#include "plugin/CoreNames.h"
#include "vst3/Vst3Names.h"

#include <cstdint>

/// The published name of a result code, or null for a code that has none.
const char* resultCodeName(tresult code);

/// What went wrong at a place that `location` names, empty for `kResultOk`. The literals that name places
/// carry double quotes of their own, which stand in the message.
String resultCodeMessage(tresult code, const char* location, const char* file, int32_t line);

/// Throws `PluginException` with the `resultCodeMessage` for anything but `kResultOk`. `file` and `line` are
/// the caller's.
void throwUnlessOk(tresult code, const char* location, const char* file = __builtin_FILE(),
                   int32_t line = __builtin_LINE());

/// For a failure that is no reason to stop: writes a line to the standard error stream for anything but
/// `kResultOk`. Gives the code back.
tresult checkResult(tresult code, const char* location);
