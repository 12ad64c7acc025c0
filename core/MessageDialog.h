#pragma once

#include "core/String.h"

#include <cstdint>
#include <vector>

namespace base::core {

/// Shows a text with buttons, waits for the user, and returns the index of the chosen button. Blocks the
/// calling thread alone; any thread.
///
/// An external program shows it and prints the label of the chosen button: MESSAGE_DIALOG_COMMAND of the
/// environment, or else "qmessage". Without a `DISPLAY`, if stdin is a terminal, the user is asked there, by
/// one thread at a time.
///
/// An empty title gives "Debug Message Dialog". `defaultButton` is an index; there is one button at least.
/// `width` and `height` are pixels. Throws `ProcessException` if the program fails or chooses nothing,
/// `IOException` at the end of the terminal's input.
int32_t showMessageDialog(const String& title, const String& text, const std::vector<String>& buttons,
                          int32_t defaultButton, int32_t width, int32_t height);

} // namespace base::core
