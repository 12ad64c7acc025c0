#pragma once

#include "client/ReportOutcome.h"

#include <map>
#include <string>

class Cancellation;

/// Which file is reported, and by what.
struct ReportRequest {
    /// The path of the `plugin-host` program.
    std::string program;
    /// The plug-in's path: a file or a bundle.
    std::string plugin;
    /// In seconds, above 0. A program that takes longer is killed.
    double timeLimit = 10;
    /// Variables that the program gets besides those of `hostEnvironment`; they take precedence.
    std::map<std::string, std::string> variables;
};

/// Runs `plugin-host info-file` on a file, in a child with a session of its own, and waits for its report,
/// for its end, for the time limit or for `cancellation`. A plug-in can't reach the caller's terminal, nor
/// its console: what it writes there is kept in the outcome, up to a bound. The child and its process group
/// are gone when this returns, also after a complete report.
///
/// If the application reaps children that aren't its own, the child's status may be lost: then a report with
/// records and without a failure counts as complete.
///
/// Blocks; any thread but a real-time one. Several may do so at once. The kernel ends the child with the
/// thread. Throws nothing but `std::bad_alloc`.
ReportOutcome reportPlugins(const ReportRequest& request, const Cancellation& cancellation);
