#pragma once

#include "plugin/CoreNames.h"

#include <sys/types.h>
#include <unistd.h>

/// Remembers the process that made its owner. A process that is forked from it, and executes no other
/// program, has a copy of the owner, but none of its threads; the host, the pipes and the blocks stay those
/// of the process that made them, so the copy must not end anything.
class MakingProcess {
public:
    /// Whether this is a copy in a forked process.
    bool isCopied() const { return getpid() != process; }

    /// Leaves a copy as it is until its process ends. It stays reachable, and so is no leak.
    static void leave(const Object* copy);

private:
    pid_t process = getpid();
};
