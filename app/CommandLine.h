#pragma once

/// The program: runs the action and returns the exit status. `host`, `info`, `info-file` and unknown actions
/// exit the process themselves. Throws what `host` and the self-test throw, which ends the process.
int runCommandLine(int argumentCount, const char* const arguments[]);
