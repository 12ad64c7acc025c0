#pragma once

#include "plugin/CoreNames.h"

#include <cstdint>
#include <string>
#include <vector>

namespace client_library {

/// A file through which a host takes or gives a plug-in's state, in a folder that only this user may enter,
/// in `XDG_RUNTIME_DIR`, `TMPDIR` or /tmp. Removed with this object. One thread at a time.
class StateFile : public NonCopyable, public NonMovable {
public:
    /// What the states of a plug-in at `path` end in.
    static const char* suffixFor(const String& path);
    /// Throws `IOException`.
    explicit StateFile(const char* suffix);
    ~StateFile();

    String getPath() const { return String(path.c_str()); }
    /// Throw `IOException`.
    void write(const void* bytes, size_t size) const;
    std::vector<uint8_t> read() const;

private:
    std::string directory;
    std::string path;
};

} // namespace client_library
