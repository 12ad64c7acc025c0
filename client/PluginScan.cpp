#include "client/PluginScan.h"

#include "client/CallReceiver.h"
#include "client/ReportCache.h"

#include <algorithm>
#include <thread>
#include <utility>

using base::core::ScopedLock;
using base::core::Thread;

namespace {

constexpr const char* receiverName = "Plug-in scan receiver";
constexpr unsigned mostProcesses = 8;

size_t defaultProcessCount() {
    return std::clamp(std::thread::hardware_concurrency(), 1u, mostProcesses);
}

/// Runs one operation of a scan, which joins it.
class ScanThread : public Thread {
public:
    ScanThread(const char* name, std::function<void()> body) : Thread(name), body(std::move(body)) {}

    bool prepareForDeletion() override {
        join();
        return true;
    }

protected:
    void run() override { body(); }

private:
    const std::function<void()> body;
};

ScannedFile withoutReport(const std::string& path, ReportResult result, const std::string& reason) {
    return {.path = path, .outcome = outcomeOf(result, reason)};
}

} // namespace

PluginScan::PluginScan(ScanOptions options, PluginScanReceiver& receiver)
    : options(std::move(options)), receiver(receiver) {}

PluginScan::~PluginScan() {
    cancel();
    // Joins the thread.
    coordinator = nullptr;
}

void PluginScan::start() {
    coordinator = new ScanThread("plugin-scan", [this] { run(); });
    coordinator->start();
}

void PluginScan::wait() {
    const auto access = state.lock();
    while (!access->hasEnded)
        access.wait(ended);
}

bool PluginScan::wait(double seconds) {
    const timespec deadline = base::core::monotonicDeadline(seconds);
    const auto access = state.lock();
    while (!access->hasEnded) {
        if (!access.waitUntil(ended, deadline))
            return access->hasEnded;
    }
    return true;
}

void PluginScan::run() {
    bool hasAllFiles = false;
    try {
        std::vector<FoundPluginFile> files = findPluginFiles(options.roots, cancellation);
        hasAllFiles = !cancellation.isCancelled();
        const size_t most = options.processCount > 0 ? options.processCount : defaultProcessCount();
        const size_t count = std::min(most, files.size());
        state.lock()->files = std::move(files);
        std::vector<Ref<Thread>> workers;
        for (size_t worker = 0; worker < count; ++worker) {
            workers.emplace_back(new ScanThread("plugin-report", [this] { work(); }));
            workers.back()->start();
        }
    } catch (const std::exception& exception) {
        base::core::logError("Could not scan for plug-ins: ", exception.what());
    }
    const ScanProgress progress = countProgress(0);
    const bool isComplete = hasAllFiles && progress.done == progress.total;
    callReceiver(receiverName, [&] { receiver.onScanEnded(isComplete); });
    state.lock()->hasEnded = true;
    ended.broadcast();
}

void PluginScan::work() {
    FoundPluginFile file;
    while (!cancellation.isCancelled() && takeFile(file))
        scan(file);
}

bool PluginScan::takeFile(FoundPluginFile& file) {
    const auto access = state.lock();
    if (access->next == access->files.size())
        return false;
    file = access->files[access->next++];
    return true;
}

void PluginScan::scan(const FoundPluginFile& file) {
    ScannedFile scanned;
    try {
        scanned = scanFile(file);
    } catch (const Exception& exception) {
        scanned = withoutReport(file.path, ReportResult::failed, exception.getMessage().toStdString());
    } catch (const std::exception& exception) {
        scanned = withoutReport(file.path, ReportResult::failed, exception.what());
    } catch (...) {
        scanned = withoutReport(file.path, ReportResult::failed, "unknown exception");
    }
    if (scanned.outcome.result != ReportResult::cancelled)
        call([&] { receiver.onFileScanned(scanned, countProgress(1)); });
}

ScannedFile PluginScan::scanFile(const FoundPluginFile& file) {
    if (!file.failure.empty())
        return withoutReport(file.path, ReportResult::unreadable, "can't be read: " + file.failure);
    const ReportProgram choice = options.chooseProgram(file.path);
    if (choice.program.empty())
        return withoutReport(file.path, ReportResult::noProgram, choice.reason);
    const ReportRequest request{.program = choice.program,
                                .plugin = file.path,
                                .timeLimit = options.timeLimit,
                                .variables = options.variables};
    if (options.cache == nullptr)
        return {.path = file.path, .outcome = report(request)};
    const std::optional<ReportKey> key = ReportKey::of(request, choice.library);
    if (key && !options.reportsAnew) {
        if (std::optional<ReportOutcome> kept = options.cache->find(*key, request.timeLimit))
            return {.path = file.path, .outcome = std::move(*kept), .isCached = true};
    }
    ScannedFile scanned{.path = file.path, .outcome = report(request)};
    if (key)
        options.cache->store(*key, request.timeLimit, scanned.outcome);
    return scanned;
}

ReportOutcome PluginScan::report(const ReportRequest& request) {
    call([&] { receiver.onFileStarted(request.plugin, countProgress(0)); });
    return reportPlugins(request, cancellation);
}

ScanProgress PluginScan::countProgress(size_t newlyDone) {
    const auto access = state.lock();
    access->done += newlyDone;
    return {access->done, access->files.size()};
}

template <class Call>
void PluginScan::call(const Call& call) {
    const ScopedLock lock(receiverLock);
    if (!cancellation.isCancelled())
        callReceiver(receiverName, call);
}
