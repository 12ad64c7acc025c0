#pragma once

#include "client/MakingProcess.h"
#include "core/TrustedDirectory.h"
#include "plugin/CoreNames.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace base::core {
class LockFile;
}

namespace client_library {

/// Where a session keeps states that are to take no memory: files in a folder that this user alone may enter.
/// Several sessions and processes may share the folder; a session's files are those that begin with the name
/// of its lock. Any thread.
class StateFolder : public Object {
public:
    /// Makes the folder at the absolute `path` if it isn't there, with mode 0700; its parent has to be.
    /// Removes what killed processes have left in it. Never blocks. Throws `IOException`, also for a folder
    /// of another user or one that others may enter.
    explicit StateFolder(const std::string& path);
    ~StateFolder() override;

    using Bytes = std::vector<uint8_t>;
    /// The name of a further state, which has no file yet.
    std::string makeName();
    /// Replaces a state; after a failure it is the former one. Throw `IOException`.
    void write(const std::string& name, const Bytes& bytes) const;
    Bytes read(const std::string& name) const;
    /// A failure is ignored, as is the call in a fork of the process.
    void remove(const std::string& name) const noexcept;

private:
    void removeLeftovers() const;
    void removeFilesOf(const std::string& owner) const;
    [[noreturn]] void fail(const char* operation, const std::string& name) const;

    const MakingProcess makingProcess;
    const std::string path;
    const base::core::TrustedDirectory directory;
    /// Without its suffix.
    std::string lockName;
    std::unique_ptr<base::core::LockFile> lock;
    std::atomic<uint32_t> lastState{0};
};

} // namespace client_library
