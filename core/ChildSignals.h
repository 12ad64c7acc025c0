#pragma once

#include "core/Object.h"

#include <csignal>

namespace base::core {

/// Blocks every signal of this thread for a scope, within which it forks: a handler of the application would
/// otherwise run in the child as well, before that becomes another program.
class BlockedSignals : public NonCopyable, public NonMovable {
public:
    BlockedSignals();
    ~BlockedSignals();

private:
    sigset_t former;
};

/// In a child before `exec`, with all signals blocked: gives each signal that has a handler, and `SIGHUP`,
/// its default action and then unblocks all. A signal that is ignored stays so for the program, as usual, but
/// for `SIGHUP`, which ends a child whose parent is gone. Allocates nothing.
void resetSignals();

} // namespace base::core
