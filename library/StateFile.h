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

/// Throws `Failure` for what is no preset of VST 3, or none of the plug-in's, which hosts ignore without a
/// word. An empty identifier fits each.
void requireVst3Preset(const String& path, const String& identifier);
/// Throws `IOException` if there can be no file, of which hosts say nothing.
void requireWritable(const String& path);
/// Hosts save a plug-in of VST 2 with neither programs nor a chunk as a bank without programs: gives such a
/// file the values of the parameters, as one program.
bool isBankWithoutPrograms(const String& path);
void writeProgram(const String& path, const std::vector<float>& values);

} // namespace client_library
