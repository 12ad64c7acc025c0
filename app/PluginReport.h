#pragma once

#include "plugin/CoreNames.h"

#include <cstdint>
#include <vector>

/// How a report ended; the exit status of the action.
enum class ReportStatus : int {
    /// Every record is complete, or the file has no plug-in.
    complete = 0,
    /// An exception cut a record short; the later ones followed.
    recordCutShort = 1,
    /// An `Exception` ended the report.
    failed = -1,
    /// An exception of an unknown kind ended it.
    failedUnknown = -2,
    /// An exception of the standard library ended it.
    failedStandard = -3,
};

/// Writes what a plug-in file offers: a header, then for each plug-in a record of "Label:value" lines, ended
/// by an empty line. Creates, queries and destroys one instance of each, so it needs an X server: see
/// `PluginHost`. No time limit. Main thread.
ReportStatus printPluginMetaData(const String& path, OutputStream& stream);

/// The texts of device types, joined by commas; values without a text are left out, and an empty list is a
/// plain effect.
String deviceTypesText(const std::vector<int32_t>& types);
