#pragma once

#include "client/Cancellation.h"
#include "client/PluginFiles.h"
#include "client/ReportProcess.h"
#include "client/ReportProgram.h"
#include "core/Guarded.h"
#include "core/Thread.h"
#include "plugin/CoreNames.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

class ReportCache;

/// Where a scan has arrived.
struct ScanProgress {
    size_t done;
    /// All files of the scan.
    size_t total;
};

/// What a scan has learnt of one file.
struct ScannedFile {
    std::string path;
    ReportOutcome outcome;
    /// Whether it came from the cache, without a child.
    bool isCached = false;
};

/// Gets the results of a scan, on the scan's own threads, one call at a time. An operation may cancel the
/// scan, but must not wait for it nor destroy it. What it throws is logged.
class PluginScanReceiver {
public:
    virtual ~PluginScanReceiver() = default;

    /// A child is about to report a file.
    virtual void onFileStarted(const std::string& path, ScanProgress progress) = 0;
    /// A file is done, which `progress` counts in. In the order in which they finish.
    virtual void onFileScanned(const ScannedFile& file, ScanProgress progress) = 0;
    /// The last call. `isComplete` is false if a file has no result, after `cancel`.
    virtual void onScanEnded(bool isComplete) = 0;
};

/// What a scan does.
struct ScanOptions {
    /// Folders, or single files: see `findPluginFiles`. Absolute paths.
    std::vector<std::string> roots;
    /// Such as `chooseReportProgram`. Called on the scan's threads, several at a time.
    std::function<ReportProgram(const std::string& path)> chooseProgram;
    /// For each file, in seconds.
    double timeLimit = 10;
    /// Variables that the programs get besides: see `ReportRequest`.
    std::map<std::string, std::string> variables;
    /// How many files are reported at a time; 0: one for each processor, at most 8.
    size_t processCount = 0;
    /// May be null. Outlives the scan.
    ReportCache* cache = nullptr;
    /// Reports each file, and keeps the outcome in the cache.
    bool reportsAnew = false;
};

/// Reports all plug-in files of some folders, each by a child of its own, several at a time: a plug-in that
/// crashes or hangs is a result with its reason. Owned by the application, which may destroy it at any time:
/// that cancels the scan and waits for its threads.
class PluginScan : public NonCopyable, public NonMovable {
public:
    /// `receiver` outlives this object. Throws `IOException`.
    PluginScan(ScanOptions options, PluginScanReceiver& receiver);
    ~PluginScan();

    /// Starts the scan and returns. Once.
    void start();
    /// Ends the children at once; `onScanEnded` follows. A call of the receiver that has begun is not waited
    /// for. Any thread.
    void cancel() { cancellation.cancel(); }
    /// Waits for the end of `onScanEnded`, after `start`. Any thread but those of the receiver's calls.
    void wait();
    /// The same for `seconds` at most; false if it takes longer.
    bool wait(double seconds);

private:
    struct State {
        std::vector<FoundPluginFile> files;
        /// The index of the next file in `files`.
        size_t next = 0;
        size_t done = 0;
        bool hasEnded = false;
    };

    void run();
    void work();
    bool takeFile(FoundPluginFile& file);
    void scan(const FoundPluginFile& file);
    ScannedFile scanFile(const FoundPluginFile& file);
    ReportOutcome report(const ReportRequest& request);
    ScanProgress countProgress(size_t newlyDone);
    /// Calls the receiver unless the scan is cancelled.
    template <class Call>
    void call(const Call& call);

    const ScanOptions options;
    PluginScanReceiver& receiver;
    const Cancellation cancellation;
    /// Held during a call of the receiver, and before `state`.
    base::core::Mutex receiverLock;
    base::core::Condition ended;
    base::core::Guarded<State> state;
    Ref<base::core::Thread> coordinator;
};
