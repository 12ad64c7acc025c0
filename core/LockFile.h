#pragma once

#include "core/FileDescriptor.h"

#include <cstddef>
#include <memory>
#include <string>

namespace base::core {

class TrustedDirectory;

/// A small file whose holder has it locked by `flock`, for as long as this lives and at most as long as the
/// process: one that is there and not locked is a dead holder's. Only the holder removes it, so that a name
/// has one holder at most. Never blocks. A fork of this process that calls no `exec` holds the lock, too,
/// until it ends or the original removes the file.
class LockFile : public NonCopyable, public NonMovable {
public:
    /// Opens the file at `path`, in its directory, and locks it. Null if it is locked already, or if there is
    /// another thing in its place: a link, a directory, a file of another user or one with a second name.
    /// Throws `IOException` for what isn't due to the file that is there.
    static std::unique_ptr<LockFile> tryLock(const TrustedDirectory& directory, const std::string& path);
    /// The same, but makes a file that is missing, with mode 0600, instead of returning null.
    static std::unique_ptr<LockFile> tryCreate(const TrustedDirectory& directory, const std::string& path);

    /// Whether this made the file.
    bool isNew() const { return created; }
    /// Up to `size` bytes from the start.
    std::string read(size_t size) const;
    /// Replaces as many bytes from the start. A failure is ignored.
    void write(const std::string& text) const;
    void clear() const;
    /// Removes the name, if it is still this file's. The lock stays.
    void remove() const;

private:
    LockFile(const std::string& path, int32_t descriptor, bool created);
    static std::unique_ptr<LockFile> lock(const TrustedDirectory& directory, const std::string& path,
                                          bool create);

    const std::string path;
    const FileDescriptor file;
    const bool created;
};

} // namespace base::core
