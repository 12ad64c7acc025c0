#pragma once

#include "core/FileDescriptor.h"

#include <cstdint>

namespace base::core {

/// A descriptor that polls as readable from `signal` to `clear`. Any thread.
class EventDescriptor : public NonCopyable, public NonMovable {
public:
    /// Throws `IOException` if the process is out of descriptors.
    EventDescriptor();
    ~EventDescriptor();

    /// Never blocks; a second one has no effect. Real-time safe.
    void signal();
    void clear();
    int32_t get() const { return descriptor.get(); }

private:
    FileDescriptor descriptor;
};

} // namespace base::core
