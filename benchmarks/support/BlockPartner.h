#pragma once

#include <sys/types.h>

/// A process that a block can be sent to and that answers it.
class BlockPartner {
public:
    virtual ~BlockPartner() = default;

    /// Sends one block and waits for the answer.
    virtual void exchange() = 0;
    virtual pid_t getPid() const = 0;
};
