#pragma once

namespace base::core {

/// Whether a debugger is attached to this process now, by the kernel. Any thread.
bool isDebuggerAttached();

/// Whether a debugger was attached at the program's start, or by `showDebuggerDialog`. Any thread.
bool isDebuggerKnown();

/// Lets the user attach a debugger, by hand or by the script "launch-debugger". Returns when the user says
/// that it is attached, without a check; aborts the process if the user chooses that. Blocks the calling
/// thread alone; any thread. Throws `ProcessException`.
void showDebuggerDialog();

} // namespace base::core
