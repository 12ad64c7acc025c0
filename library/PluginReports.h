#pragma once

#include "client/PluginScan.h"
#include "client/ReportCache.h"
#include "client/ReportProgram.h"
#include "plugin/CoreNames.h"
#include <plugin-host/client.h>

#include <ctime>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace client_library {

/// What the report of a file says of one plug-in of it.
struct Identity {
    /// Whether there is a report; all else is empty otherwise.
    bool isKnown = false;
    String name;
    String vendor;
    String version;
    String category;
    String identifier;
    bool hasNoteInput = false;
};

/// Which plug-in of a file an identifier stands for.
struct PluginChoice {
    /// Whether there is a report.
    bool isKnown = false;
    /// The file has others, and all are in the report.
    bool isMissing = false;
    /// Its own, as in the report.
    String identifier;
    bool isOneOfSeveral = false;
};

/// An identifier of a report as hosts take it. Throws `Failure`.
String wireIdentifier(const String& path, const String& identifier);

/// The programs of a session, and what they report of plug-in files. Any thread.
class PluginReports : public Object {
public:
    /// `cacheDirectory` may be empty: in memory alone, as with one that can't be made.
    PluginReports(const HostPrograms& programs, const std::string& cacheDirectory, double timeLimit,
                  const std::map<std::string, std::string>& variables);
    ~PluginReports() override;

    /// From the cache, or from a child, for which it blocks.
    Identity find(const String& path, const String& identifier);
    /// The plug-in that an identifier stands for, by the report from the cache or from a child, for which it
    /// blocks until `deadline` at most. Empty: the first.
    PluginChoice choose(const String& path, const String& identifier, const timespec& deadline);
    /// The same by the cache alone.
    PluginChoice chooseKept(const String& path, const String& identifier);
    /// Ends the children; `find` answers without one from then on.
    void cancel() { cancellation.cancel(); }

    /// See `chooseReportProgram`.
    ReportProgram chooseProgram(const std::string& path) const;
    /// Of that program: PLUGIN_HOST_WIDTH_32, PLUGIN_HOST_WIDTH_64 or 0.
    uint32_t chooseWidth(const std::string& path) const;

    const HostPrograms programs;
    const double timeLimit;
    const std::map<std::string, std::string> variables;
    ReportCache& getCache() { return *cache; }

private:
    ReportOutcome report(const String& path, double seconds);
    std::optional<ReportOutcome> findKept(const String& path);

    const Cancellation cancellation;
    std::unique_ptr<ReportCache> cache;
};

} // namespace client_library
