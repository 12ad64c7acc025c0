#pragma once

#include "plugin/CoreNames.h"

#include <cstdint>
#include <vector>

/// How a report ended; the exit status of the action.
enum class ReportStatus : int {
    /// Every record was written in full, or the file names no plug-in.
    complete = 0,
    /// A record was cut short by an exception, and the walk went on.
    recordCutShort = 1,
    /// An `Exception` ended the report.
    failed = -1,
    /// Something that is no exception of a known kind ended it.
    failedUnknown = -2,
    /// An exception of the standard library ended it.
    failedStandard = -3,
};

/// Writes what a plug-in file offers: a header, then a record of "Label:value" lines for each plug-in, closed
/// by an empty line. Creates, questions and destroys one instance of each, so it needs an X server: see
/// `PluginHost`. Nothing limits the time that a plug-in takes. Main thread.
ReportStatus printPluginMetaData(const String& path, OutputStream& stream);

/// The texts of device types, joined by commas; values without a text are left out, and an empty list is a
/// plain effect.
String deviceTypesText(const std::vector<int32_t>& types);
