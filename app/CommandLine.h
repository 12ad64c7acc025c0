#pragma once

/// The program: reads the action and carries it out. Returns the exit status, where the action doesn't end
/// the process itself: `host`, `info`, `info-file` and an unknown action do. What `host` and the self-test
/// throw leaves it, and ends the process.
int runCommandLine(int argumentCount, const char* const arguments[]);
