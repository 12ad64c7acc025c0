#include "library/ClientScan.h"

#include "library/Failure.h"
#include "library/Texts.h"
#include "plugin/PluginFile.h"

namespace client_library {
namespace {

constexpr int32_t mostProcesses = 64;

ScanOptions readOptions(const plugin_host_scan_options& options, const Ref<PluginReports>& reports) {
    ScanOptions scan;
    if (options.path_count > 0 && options.paths == nullptr)
        throw Failure(PLUGIN_HOST_INVALID_ARGUMENT, "paths is null");
    for (size_t index = 0; index < options.path_count; ++index)
        scan.roots.push_back(readPath(options.paths[index], "a path to scan").toStdString());
    scan.chooseProgram = [reports](const std::string& path) { return reports->chooseProgram(path); };
    scan.timeLimit = readTime(options.timeout, reports->timeLimit, "timeout");
    scan.variables = reports->variables;
    scan.processCount = static_cast<size_t>(readNumber(options.parallel, 0, mostProcesses, "parallel"));
    scan.cache = &reports->getCache();
    scan.reportsAnew = (options.flags & PLUGIN_HOST_SCAN_ANEW) != 0;
    return scan;
}

/// One entry for a callback.
struct Found {
    std::string path;
    uint32_t width = 0;
    std::string error;
    PluginDescription plugin;

    void report(const plugin_host_scan_options& options, plugin_host_scan* scan) const {
        plugin_host_found found{};
        found.size = sizeof found;
        found.path = path.c_str();
        found.format = isVst3Path(String(path.c_str())) ? PLUGIN_HOST_VST3 : PLUGIN_HOST_VST2;
        found.width = width;
        found.error = error.empty() ? nullptr : error.c_str();
        found.name = plugin.name.c_str();
        found.vendor = plugin.vendor.c_str();
        found.version = plugin.version.c_str();
        found.category = plugin.category.c_str();
        found.identifier = plugin.identifier.c_str();
        found.flags = (plugin.hasNoteInput ? PLUGIN_HOST_NOTE_INPUT : 0) |
                      (plugin.hasNoteOutput ? PLUGIN_HOST_NOTE_OUTPUT : 0);
        found.input_bus_count = static_cast<size_t>(plugin.audioInBusCount);
        found.output_bus_count = static_cast<size_t>(plugin.audioOutBusCount);
        found.input_channel_count = static_cast<size_t>(plugin.audioInChannelCount);
        found.output_channel_count = static_cast<size_t>(plugin.audioOutChannelCount);
        options.found(options.user_data, scan, &found);
    }
};

} // namespace

ClientScan::ClientScan(const Ref<SessionContext>& context, const Ref<PluginReports>& reports,
                       const plugin_host_scan_options& options)
    : context(context), reports(reports), options(options), scan(readOptions(options, reports), *this) {}

ClientScan::~ClientScan() = default;

void ClientScan::cancel() {
    scan.cancel();
}

bool ClientScan::wait(double seconds) {
    if (seconds >= 0)
        return scan.wait(seconds);
    scan.wait();
    return true;
}

void ClientScan::end() {
    hasEnded = true;
    scan.cancel();
    scan.wait();
}

void ClientScan::onFileStarted(const std::string& path, ScanProgress progress) {
    postProgress(path, progress);
}

void ClientScan::onFileScanned(const ScannedFile& file, ScanProgress progress) {
    const ReportOutcome& outcome = file.outcome;
    const uint32_t width = reports->chooseWidth(file.path);
    const auto report = [&](const Found& found) {
        post([this, found](const plugin_host_scan_options& callbacks) {
            if (callbacks.found != nullptr)
                found.report(callbacks, handle);
        });
    };
    for (const PluginDescription& plugin : outcome.plugins) {
        if (plugin.isComplete)
            report({file.path, width, {}, plugin});
    }
    if (!outcome.reason.empty())
        report({file.path, width, outcome.reason, {}});
    postProgress(file.path, progress);
}

void ClientScan::onScanEnded(bool isComplete) {
    post([this, isComplete](const plugin_host_scan_options& callbacks) {
        if (callbacks.finished != nullptr)
            callbacks.finished(callbacks.user_data, handle,
                               isComplete ? PLUGIN_HOST_OK : PLUGIN_HOST_CANCELLED);
    });
}

void ClientScan::post(const Callback& call) {
    const Ref<ClientScan> self(this);
    context->post([self, call](const plugin_host_callbacks&) {
        if (!self->hasEnded)
            call(self->options);
    });
}

void ClientScan::postProgress(const std::string& path, ScanProgress progress) {
    post([this, path, progress](const plugin_host_scan_options& callbacks) {
        if (callbacks.progress != nullptr)
            callbacks.progress(callbacks.user_data, handle, progress.done, progress.total, path.c_str());
    });
}

} // namespace client_library
