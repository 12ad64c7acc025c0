#pragma once

#include <sys/types.h>

/// A process that answers blocks.
class BlockPartner {
public:
    virtual ~BlockPartner() = default;

    /// Sends one block and waits for the answer.
    virtual void exchange() = 0;
    virtual pid_t getPid() const = 0;
};
