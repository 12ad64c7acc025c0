#include "library/PluginReports.h"

#include "client/ReportProcess.h"
#include "core/Exception.h"
#include "core/Log.h"
#include "plugin/PluginFile.h"

#include <algorithm>
#include <exception>

namespace client_library {
namespace {

std::unique_ptr<ReportCache> makeCache(const std::string& directory) {
    try {
        if (!directory.empty())
            return std::make_unique<ReportCache>(directory);
    } catch (const IOException& exception) {
        base::core::logError("Reports are kept in memory alone: ", exception.getMessage());
    }
    return std::make_unique<ReportCache>();
}

Identity identityOf(const PluginDescription& plugin) {
    return {.isKnown = true,
            .name = String(plugin.name.c_str()),
            .vendor = String(plugin.vendor.c_str()),
            .version = String(plugin.version.c_str()),
            .category = String(plugin.category.c_str()),
            .identifier = String(plugin.identifier.c_str()),
            .hasNoteInput = plugin.hasNoteInput};
}

} // namespace

PluginReports::PluginReports(const HostPrograms& programs, const std::string& cacheDirectory,
                             double timeLimit, const std::map<std::string, std::string>& variables)
    : programs(programs), timeLimit(timeLimit), variables(variables), cache(makeCache(cacheDirectory)) {}

PluginReports::~PluginReports() = default;

Identity PluginReports::find(const String& path, const String& identifier) {
    const ReportProgram choice = chooseProgram(path.toStdString());
    if (choice.program.empty() || cancellation.isCancelled())
        return {};
    const ReportRequest request{choice.program, path.toStdString(), timeLimit, variables};
    const ReportOutcome outcome = report(request, choice.library);
    const std::string wanted = identifier.toStdString();
    const auto plugin =
        std::find_if(outcome.plugins.begin(), outcome.plugins.end(), [&](const PluginDescription& entry) {
            return wanted.empty() || entry.identifier == wanted;
        });
    return plugin != outcome.plugins.end() ? identityOf(*plugin) : Identity();
}

ReportOutcome PluginReports::report(const ReportRequest& request, const std::string& library) {
    const std::optional<ReportKey> key = ReportKey::of(request, library);
    if (key) {
        if (std::optional<ReportOutcome> kept = cache->find(*key, timeLimit))
            return *kept;
    }
    const ReportOutcome outcome = reportPlugins(request, cancellation);
    if (key)
        cache->store(*key, timeLimit, outcome);
    return outcome;
}

ReportProgram PluginReports::chooseProgram(const std::string& path) const {
    return chooseReportProgram(programs, path);
}

uint32_t PluginReports::chooseWidth(const std::string& path) const {
    try {
        if (const std::optional<HostWidth> width = inspectPluginFile(String(path.c_str())).chooseWidth())
            return *width == HostWidth::bits32 ? PLUGIN_HOST_WIDTH_32 : PLUGIN_HOST_WIDTH_64;
    } catch (const IOException&) {
        // No longer there.
    }
    return 0;
}

} // namespace client_library
