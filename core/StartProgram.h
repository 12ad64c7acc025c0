#pragma once

#include "core/String.h"

#include <cstdint>
#include <sys/types.h>
#include <vector>

namespace base::core {

/// The two descriptors of a pipe, which programs that are executed don't inherit.
struct PipeEnds {
    int32_t reader;
    int32_t writer;
};

/// Throws `ProcessException`.
PipeEnds openPipe();

/// What became of a program that was to be started.
struct StartedProgram {
    /// -1 if no process could be forked for it.
    pid_t pid;
    /// The `errno` of a program that can't be executed, whose process is gone already; 0 if it runs.
    int32_t failure;
};

/// Starts `arguments[0]`, looked up on the `PATH`, with the inherited environment and with `output` as its
/// standard output. Returns when the program runs, or can't. Any thread. Throws `ProcessException` without a
/// pipe, `IOException` without memory.
StartedProgram startProgram(const std::vector<String>& arguments, int32_t output);

/// Blocks until a child has ended and returns the raw status of `waitpid`.
int waitForProgram(pid_t pid);

} // namespace base::core
