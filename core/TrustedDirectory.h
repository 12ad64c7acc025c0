#pragma once

#include "core/FileDescriptor.h"
#include "core/Object.h"

#include <cstdint>
#include <memory>
#include <string>

namespace base::core {

/// A directory on whose way each directory and each link, it itself included, belongs to this process's
/// effective user or to root: anybody can be the first to make a name in `/tmp`. Held open, so that what was
/// looked at is what is used.
class TrustedDirectory : public NonCopyable, public NonMovable {
public:
    /// Opens an absolute path. What can't be opened leaves `errno`, and -1 as the descriptor. A directory
    /// that group or others may write to, without the sticky bit, is logged, once in a process. Throws
    /// `IOException` for what belongs to another user.
    explicit TrustedDirectory(const std::string& path);

    /// For the system's calls that take a directory.
    int32_t get() const { return descriptor != nullptr ? descriptor->get() : -1; }

private:
    std::unique_ptr<FileDescriptor> descriptor;
};

} // namespace base::core
