#pragma once

#include "core/String.h"

#include <cstdint>
#include <sys/types.h>
#include <vector>

namespace base::core {

/// The two descriptors of a pipe, close-on-exec.
struct PipeEnds {
    int32_t reader;
    int32_t writer;
};

/// Throws `ProcessException`.
PipeEnds openPipe();

/// The outcome of `startProgram`.
struct StartedProgram {
    /// -1 if the fork failed.
    pid_t pid;
    /// The `errno` of a failed `exec`, whose process has ended already; 0 if the program runs.
    int32_t failure;
};

/// Starts `arguments[0]`, looked up on the `PATH`, with the inherited environment and with `output` as its
/// standard output. Returns once it runs or has failed to. Any thread. Throws `ProcessException` without a
/// pipe, `IOException` without memory.
StartedProgram startProgram(const std::vector<String>& arguments, int32_t output);

/// Blocks until a child has ended and returns the raw status of `waitpid`.
int waitForProgram(pid_t pid);

} // namespace base::core
