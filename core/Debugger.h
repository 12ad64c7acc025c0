#pragma once

namespace base::core {

/// Whether the kernel knows of a debugger that is attached to this process right now. Any thread.
bool isDebuggerAttached();

/// Whether a debugger was attached when the program started, or has been in `showDebuggerDialog`. Any thread.
bool isDebuggerKnown();

/// Lets the user attach a debugger, by hand or by the script "launch-debugger", and believes what the user
/// says about it. Returns when there is one; aborts the process if the user would rather. Blocks the calling
/// thread alone; any thread. Throws `ProcessException`.
void showDebuggerDialog();

} // namespace base::core
