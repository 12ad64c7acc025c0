#pragma once

/// The program: reads the action and carries it out. Returns the exit status, where the action doesn't end
/// the process itself: `host`, `info`, `info-file` and an unknown action do. Throws what nobody is there to
/// answer.
int runCommandLine(int argumentCount, const char* const arguments[]);
