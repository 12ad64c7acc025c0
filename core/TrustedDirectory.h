#pragma once

#include "core/FileDescriptor.h"
#include "core/Object.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace base::core {

/// A directory that, with each directory and link on its path, belongs to this process's effective user or to
/// root: any user may be the first to make a name in `/tmp`. Held open, so that what was checked is what is
/// used.
class TrustedDirectory : public NonCopyable, public NonMovable {
public:
    /// Opens an absolute path. On failure `get` is -1 and `errno` is set. A directory that group or others
    /// may write to, without the sticky bit, is logged, once in a process. Throws `IOException` if a part
    /// belongs to another user.
    explicit TrustedDirectory(const std::string& path);
    /// The same for the last part of a path whose parent is open.
    TrustedDirectory(const TrustedDirectory& parent, const std::string& path);

    /// For system calls with a directory; -1 if it couldn't be opened.
    int32_t get() const { return descriptor != nullptr ? descriptor->get() : -1; }

    /// The names in it, "." and ".." among them, in the system's order; none if it can't be read.
    std::vector<std::string> listNames() const;

private:
    std::unique_ptr<FileDescriptor> descriptor;
};

} // namespace base::core
