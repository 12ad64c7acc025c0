#pragma once

#include "core/Object.h"

#include <csignal>

namespace base::core {

/// Blocks every signal of this thread for a scope that forks: otherwise a handler of the application could
/// run in the child before its `exec`.
class BlockedSignals : public NonCopyable, public NonMovable {
public:
    BlockedSignals();
    ~BlockedSignals();

private:
    sigset_t former;
};

/// In a child before `exec`, with all signals blocked: gives each signal that has a handler, and `SIGHUP`,
/// its default action and then unblocks all. An ignored signal stays ignored for the program, except
/// `SIGHUP`, which ends a child whose parent is gone. Allocates nothing.
void resetSignals();

} // namespace base::core
