#pragma once

#include "client/MakingProcess.h"
#include "plugin/CoreNames.h"

#include <cstdint>

/// Ends waits of any number of threads, at once and for good. Any thread.
class Cancellation : public NonCopyable, public NonMovable {
public:
    /// Throws `IOException` if the system has no descriptor.
    Cancellation();
    ~Cancellation();

    /// No effect in a fork of the process, whose copy shares the descriptor.
    void cancel() const;
    bool isCancelled() const;

    /// Is readable from `cancel` on, for `poll`. Nothing reads it.
    int32_t getDescriptor() const { return descriptor; }

private:
    const MakingProcess makingProcess;
    int32_t descriptor;
};
