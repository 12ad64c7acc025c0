#pragma once

#include "plugin/CoreNames.h"

#include <sys/types.h>
#include <unistd.h>

/// The process that made the owner. A fork of it that calls no `exec` has a copy of the owner without its
/// threads; host, pipes and audio blocks belong to the original process, so the copy must not end or remove
/// them.
class MakingProcess {
public:
    /// Whether this is a copy in a forked process.
    bool isCopied() const { return getpid() != process; }

    /// Never destroys a copy, but keeps it reachable, so that it doesn't count as a leak.
    static void leave(const Object* copy);

private:
    pid_t process = getpid();
};
