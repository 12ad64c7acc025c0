#pragma once

#include "client/PluginDescription.h"

#include <string>
#include <utility>
#include <vector>

/// How the report of a plug-in file ended.
enum class ReportResult {
    /// Every record is complete, or the file names no plug-in.
    complete,
    /// An exception cut a record short; the later ones followed.
    recordCutShort,
    /// The program gave no report, or not all of it: the file is no plug-in, or one that fails.
    failed,
    /// A signal ended the program.
    crashed,
    /// The program was killed at its time limit.
    timedOut,
    /// The program could not be started.
    notStarted,
    /// The program found no X server.
    noDisplay,
    /// No program reports such a file.
    noProgram,
    /// The file or folder can't be read.
    unreadable,
    /// The caller cancelled it.
    cancelled,
};

/// What is known of a plug-in file once its report has ended.
struct ReportOutcome {
    bool operator==(const ReportOutcome&) const = default;

    ReportResult result = ReportResult::failed;
    /// Why the report isn't complete, in one line; empty if it is.
    std::string reason;
    /// Records that the report has, also where it failed later.
    std::vector<PluginDescription> plugins;
    /// The last lines that the program and the plug-in wrote to the console, of which there may be none.
    std::string output;
};

/// Whether another report of the same file and program would end likewise.
constexpr bool isLasting(ReportResult result) {
    return result <= ReportResult::timedOut;
}

/// An outcome without records.
inline ReportOutcome outcomeOf(ReportResult result, const std::string& reason = {}) {
    ReportOutcome outcome;
    outcome.result = result;
    outcome.reason = reason;
    return outcome;
}
