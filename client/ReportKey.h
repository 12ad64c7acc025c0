#pragma once

#include "client/ReportProcess.h"

#include <cstdint>
#include <optional>
#include <string>

/// What tells one state of a file from another.
struct FileStamp {
    bool operator==(const FileStamp&) const = default;

    /// Of a file as it is now; follows links. No value if it isn't there.
    static std::optional<FileStamp> of(const std::string& path);

    std::string path;
    int64_t size = 0;
    int64_t seconds = 0;
    int64_t nanoseconds = 0;
};

/// By what an outcome is kept: it holds as long as the plug-in's library and the program are the same.
struct ReportKey {
    bool operator==(const ReportKey&) const = default;

    /// `library` is the file that the program loads, which lies inside of a bundle. No value if it or the
    /// program isn't there: take the key before the report, so that a file that changes meanwhile is reported
    /// anew.
    static std::optional<ReportKey> of(const ReportRequest& request, const std::string& library);

    /// What stays when files change: the paths and the variables, as bytes that no other key has.
    std::string identity() const;

    std::string plugin;
    FileStamp library;
    FileStamp program;
    /// Those of the request, as bytes.
    std::string variables;
};
