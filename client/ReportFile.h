#pragma once

#include "plugin/CoreNames.h"

#include <cstdint>
#include <string>

/// The file that a program writes its report to: readable for this user alone, and removed with this object.
/// One thread at a time.
class ReportFile : public NonCopyable, public NonMovable {
public:
    /// A report is read up to here.
    static constexpr size_t mostBytes = size_t(4) << 20;

    /// In `XDG_RUNTIME_DIR`, if no other user may enter that, or else in `TMPDIR` or /tmp. Throws
    /// `IOException` with the system's own words.
    ReportFile();
    ~ReportFile();

    const std::string& getPath() const { return path; }

    /// What the file has now. A failure reads as its end.
    std::string read() const;

private:
    std::string path;
    int32_t descriptor;
};
