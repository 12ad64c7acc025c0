#include "library/PluginReports.h"

#include "client/ReportProcess.h"
#include "core/Exception.h"
#include "core/Log.h"
#include "library/Failure.h"
#include "plugin/PluginFile.h"

#include <algorithm>
#include <charconv>
#include <exception>
#include <strings.h>
#include <system_error>

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

bool isSameIdentifier(const std::string& one, const std::string& other) {
    return one.size() == other.size() && strcasecmp(one.c_str(), other.c_str()) == 0;
}

/// The plug-in of a report that an identifier stands for, or null.
const PluginDescription* select(const ReportOutcome& outcome, const String& identifier) {
    const std::string text = identifier.toStdString();
    const auto plugin =
        std::find_if(outcome.plugins.begin(), outcome.plugins.end(), [&](const PluginDescription& entry) {
            return entry.isComplete && (text.empty() || isSameIdentifier(entry.identifier, text));
        });
    return plugin != outcome.plugins.end() ? &*plugin : nullptr;
}

PluginChoice choiceOf(const ReportOutcome& outcome, const String& identifier) {
    const PluginDescription* plugin = select(outcome, identifier);
    if (plugin == nullptr)
        return {.isMissing = outcome.reason.empty() && !identifier.isEmpty(), .identifier = {}};
    return {.isKnown = true,
            .identifier = String(plugin->identifier.c_str()),
            .isOneOfSeveral = outcome.plugins.size() > 1};
}

} // namespace

String wireIdentifier(const String& path, const String& identifier) {
    if (identifier.isEmpty() || isVst3Path(path))
        return identifier;
    const std::string text = identifier.toStdString();
    uint32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, 16);
    if (error != std::errc() || end != text.data() + text.size())
        throw Failure(PLUGIN_HOST_NOT_FOUND,
                      concat("The identifier \"", identifier, "\" is no hexadecimal number of 32 bits"));
    return String::fromInteger(static_cast<int32_t>(number));
}

PluginReports::PluginReports(const HostPrograms& programs, const std::string& cacheDirectory,
                             double timeLimit, const std::map<std::string, std::string>& variables)
    : programs(programs), timeLimit(timeLimit), variables(variables), cache(makeCache(cacheDirectory)) {}

PluginReports::~PluginReports() = default;

Identity PluginReports::find(const String& path, const String& identifier) {
    const ReportOutcome outcome = report(path, timeLimit);
    const PluginDescription* plugin = select(outcome, identifier);
    return plugin != nullptr ? identityOf(*plugin) : Identity();
}

PluginChoice PluginReports::choose(const String& path, const String& identifier, const timespec& deadline) {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const double left = static_cast<double>(deadline.tv_sec - now.tv_sec) +
                        static_cast<double>(deadline.tv_nsec - now.tv_nsec) / 1e9;
    return left > 0 ? choiceOf(report(path, std::min(left, timeLimit)), identifier) : PluginChoice();
}

PluginChoice PluginReports::chooseKept(const String& path, const String& identifier) {
    const std::optional<ReportOutcome> kept = findKept(path);
    return kept ? choiceOf(*kept, identifier) : PluginChoice();
}

std::optional<ReportOutcome> PluginReports::findKept(const String& path) {
    const ReportProgram choice = chooseProgram(path.toStdString());
    const ReportRequest request{choice.program, path.toStdString(), timeLimit, variables};
    const std::optional<ReportKey> key = ReportKey::of(request, choice.library);
    return key ? cache->find(*key, 0) : std::nullopt;
}

/// Without plug-ins if there is no report.
ReportOutcome PluginReports::report(const String& path, double seconds) {
    const ReportProgram choice = chooseProgram(path.toStdString());
    if (choice.program.empty() || cancellation.isCancelled())
        return outcomeOf(ReportResult::failed, choice.reason.empty() ? "There is no report" : choice.reason);
    const ReportRequest request{choice.program, path.toStdString(), seconds, variables};
    const std::optional<ReportKey> key = ReportKey::of(request, choice.library);
    if (key) {
        if (std::optional<ReportOutcome> kept = cache->find(*key, seconds))
            return *kept;
    }
    ReportOutcome outcome = reportPlugins(request, cancellation);
    if (key)
        cache->store(*key, seconds, outcome);
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
