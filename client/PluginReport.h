#pragma once

#include "client/PluginDescription.h"

#include <string>
#include <string_view>
#include <vector>

/// The text of `plugin-host info-file`, read.
struct PluginReport {
    /// The records that are read; later ones are ignored.
    static constexpr size_t mostPlugins = 16384;

    /// False if the text isn't a report.
    bool hasHeader = false;
    /// One for each record, also for one that was cut.
    std::vector<PluginDescription> plugins;
    /// What ended the report before its end; empty if nothing did.
    std::string failure;
};

/// Reads a report. Takes any bytes: lines that it doesn't recognise are skipped, numbers saturate at 0 and at
/// the largest of 32 bits, and values that aren't UTF-8 get U+FFFD. A report's lines aren't escaped, so a
/// plug-in whose texts have line ends can forge lines of its own record, and records. Any thread.
PluginReport parsePluginReport(std::string_view text);

/// `bytes` as one line of UTF-8: a tab becomes a blank, other control characters and bytes that are no text
/// U+FFFD.
std::string readableLine(std::string_view bytes);
