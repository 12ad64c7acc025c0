// If these fail, one bad plug-in keeps the user from all others, a scan can't be stopped, or each start of
// the application loads every plug-in again.

#include "client/PluginScan.h"

#include "ReportTest.h"

#include "client/ReportCache.h"
#include "support/RealDeaths.h"

#include <map>
#include <mutex>
#include <stdexcept>

using namespace test_support;

namespace {

/// Writes down what it gets, and that it gets one call at a time.
class RecordingScanReceiver : public PluginScanReceiver {
public:
    void onFileStarted(const std::string& path, ScanProgress progress) override {
        const Call call(*this);
        EXPECT_LT(progress.done, progress.total);
        ++started[path];
        startedCount = startedCount + 1;
    }
    void onFileScanned(const ScannedFile& file, ScanProgress progress) override {
        const Call call(*this);
        EXPECT_EQ(progress.done, ++done);
        total = progress.total;
        EXPECT_TRUE(files.emplace(file.path, file).second) << file.path << " came twice";
        if (onScanned)
            onScanned();
    }
    void onScanEnded(bool isComplete) override {
        const Call call(*this);
        ends.push_back(isComplete);
    }

    std::map<std::string, int> started;
    std::map<std::string, ScannedFile> files;
    std::vector<bool> ends;
    size_t done = 0;
    size_t total = 0;
    std::atomic<size_t> startedCount = 0;
    std::function<void()> onScanned;

private:
    class Call {
    public:
        explicit Call(RecordingScanReceiver& receiver) : receiver(receiver) {
            EXPECT_FALSE(receiver.busy.exchange(true)) << "two calls at a time";
            EXPECT_TRUE(receiver.ends.empty()) << "a call after the last";
        }
        ~Call() { receiver.busy = false; }

    private:
        RecordingScanReceiver& receiver;
    };

    std::atomic<bool> busy = false;
};

class PluginScanTest : public ReportTest {
protected:
    void SetUp() override {
        ReportTest::SetUp();
        std::filesystem::create_directory(plugins());
        program = countingProgram();
    }

    std::string plugins() const { return directory / "plugins"; }
    std::string path(const std::string& name) const { return plugins() + "/" + name; }

    void add(const std::string& file, const std::string& name) const {
        std::filesystem::create_directories(std::filesystem::path(path(name)).parent_path());
        std::filesystem::copy_file(file, path(name));
    }

    ScanOptions options() const {
        ScanOptions options;
        options.roots = {plugins()};
        options.chooseProgram = [this](const std::string& file) -> ReportProgram {
            if (file.ends_with("other-width.so"))
                return {.program = "", .library = "", .reason = "is for another processor"};
            const std::string library = file.ends_with("bundle.vst3") ? file + "/" + libraryInBundle : file;
            return {.program = program, .library = library, .reason = ""};
        };
        options.timeLimit = 30;
        options.variables = {{"PLUGIN_TEST_RECORD", record()}};
        return options;
    }

    void scan(const ScanOptions& options, PluginScanReceiver& receiver) const {
        PluginScan scan(options, receiver);
        scan.start();
        scan.wait();
    }

    /// How each file ended, as a line.
    static std::map<std::string, std::string> reasons(const RecordingScanReceiver& receiver) {
        std::map<std::string, std::string> reasons;
        for (const auto& [path, file] : receiver.files) {
            std::string text = file.outcome.reason;
            for (const PluginDescription& plugin : file.outcome.plugins)
                text += "[" + plugin.name + "]";
            reasons[path.substr(path.rfind('/') + 1)] = text;
        }
        return reasons;
    }

    /// Also for a 32-bit host.
    const std::string libraryInBundle = "Contents/x86_64-linux/bundle.so";
    std::string program;
};

} // namespace

TEST_F(PluginScanTest, EachFileIsAResultWithItsPluginsOrItsReason) {
    const RealDeaths realDeaths;
    add(examplePlugin("echo"), "echo.so");
    add(examplePlugin("trio"), "deeper/trio.so");
    add(EXAMPLE_PLUGIN_DIRECTORY "/tone.vst3", "module.vst3");
    add(EXAMPLE_PLUGIN_DIRECTORY "/echo.vst3", "bundle.vst3/" + libraryInBundle);
    add(testPlugin("crashes-at-create"), "crash.so");
    add(testPlugin("without-entry-point"), "library.so");
    add(testPlugin("without-entry-point"), "other-width.so");
    writeText(path("notes.txt"), "notes");
    RecordingScanReceiver receiver;
    scan(options(), receiver);
    EXPECT_EQ(reasons(receiver), (std::map<std::string, std::string>{
                                     {"echo.so", "[Echo]"},
                                     {"trio.so", "[Louder][Upside Down][Swap Sides]"},
                                     {"module.vst3", "[Tone]"},
                                     {"bundle.vst3", "[Echo]"},
                                     {"crash.so", "ended by signal 11 (Segmentation fault)"},
                                     {"library.so", "Plugin main function not found"},
                                     {"other-width.so", "is for another processor"},
                                 }));
    EXPECT_EQ(receiver.total, 7u);
    EXPECT_EQ(receiver.done, 7u);
    EXPECT_EQ(receiver.started.size(), 6u);
    EXPECT_EQ(receiver.ends, std::vector<bool>{true});
    EXPECT_EQ(countStarts(), 6u);
    EXPECT_EQ(receiver.files.at(path("other-width.so")).outcome.result, ReportResult::noProgram);
}

TEST_F(PluginScanTest, AFolderThatIsNotThereIsAResultWithItsReason) {
    ScanOptions missing = options();
    missing.roots = {path("missing")};
    RecordingScanReceiver receiver;
    scan(missing, receiver);
    EXPECT_EQ(reasons(receiver),
              (std::map<std::string, std::string>{{"missing", "can't be read: No such file or directory"}}));
    EXPECT_EQ(receiver.files.begin()->second.outcome.result, ReportResult::unreadable);
}

TEST_F(PluginScanTest, NothingToScanIsACompleteScan) {
    RecordingScanReceiver receiver;
    scan(options(), receiver);
    EXPECT_TRUE(receiver.files.empty());
    EXPECT_EQ(receiver.ends, std::vector<bool>{true});
}

TEST_F(PluginScanTest, APluginThatHangsKeepsTheOthersFromNothing) {
    add(testPlugin("hangs-at-entry"), "a-hang.so");
    add(examplePlugin("echo"), "echo.so");
    add(examplePlugin("tone"), "tone.so");
    ScanOptions two = options();
    two.processCount = 2;
    RecordingScanReceiver receiver;
    PluginScan scan(two, receiver);
    std::atomic<size_t> scanned = 0;
    receiver.onScanned = [&] { ++scanned; };
    scan.start();
    const std::vector<pid_t> processes = awaitProcesses(1);
    EXPECT_TRUE(eventually([&] { return scanned == 2; }, longBound));
    scan.cancel();
    scan.wait();
    EXPECT_EQ(reasons(receiver),
              (std::map<std::string, std::string>{{"echo.so", "[Echo]"}, {"tone.so", "[Tone]"}}));
    EXPECT_EQ(receiver.ends, std::vector<bool>{false});
    expectGone(processes);
}

TEST_F(PluginScanTest, CancellingEndsAllChildrenAtOnce) {
    for (const char* name : {"1.so", "2.so", "3.so", "4.so"})
        add(testPlugin("hangs-with-a-child"), name);
    ScanOptions three = options();
    three.processCount = 3;
    RecordingScanReceiver receiver;
    PluginScan scan(three, receiver);
    scan.start();
    const std::vector<pid_t> processes = awaitProcesses(6);
    scan.cancel();
    scan.wait();
    EXPECT_EQ(processes.size(), 6u);
    expectGone(processes);
    EXPECT_TRUE(receiver.files.empty());
    EXPECT_EQ(receiver.startedCount, 3u);
    EXPECT_EQ(receiver.ends, std::vector<bool>{false});
}

TEST_F(PluginScanTest, TheReceiverMayCancel) {
    for (const char* name : {"1.so", "2.so", "3.so", "4.so"})
        add(examplePlugin("echo"), name);
    ScanOptions one = options();
    one.processCount = 1;
    RecordingScanReceiver receiver;
    PluginScan scan(one, receiver);
    receiver.onScanned = [&] { scan.cancel(); };
    scan.start();
    scan.wait();
    EXPECT_EQ(receiver.files.size(), 1u);
    EXPECT_EQ(receiver.ends, std::vector<bool>{false});
    EXPECT_EQ(countStarts(), 1u);
}

TEST_F(PluginScanTest, AResultThatIsReadyWhenTheReceiverCancelsIsNotDelivered) {
    const std::string files[] = {path("1.so"), path("2.so")};
    ReportCache cache;
    ScanOptions two = options();
    two.processCount = 2;
    two.cache = &cache;
    for (const char* name : {"1.so", "2.so"})
        add(examplePlugin("echo"), name);
    RecordingScanReceiver receiver;
    PluginScan scan(two, receiver);
    receiver.onScanned = [&] {
        // Kept before it is delivered.
        for (const std::string& file : files) {
            ReportRequest request = requestOf(file);
            request.program = program;
            const ReportKey key = ReportKey::of(request, file).value();
            EXPECT_TRUE(eventually([&] { return cache.find(key, 1).has_value(); }, longBound));
        }
        scan.cancel();
    };
    scan.start();
    scan.wait();
    EXPECT_EQ(receiver.files.size(), 1u);
    EXPECT_EQ(receiver.ends, std::vector<bool>{false});
}

TEST_F(PluginScanTest, CancellingAfterTheLastResultLeavesTheScanComplete) {
    add(examplePlugin("echo"), "echo.so");
    RecordingScanReceiver receiver;
    PluginScan scan(options(), receiver);
    receiver.onScanned = [&] { scan.cancel(); };
    scan.start();
    scan.wait();
    EXPECT_EQ(receiver.ends, std::vector<bool>{true});
}

TEST_F(PluginScanTest, DestroyingAScanEndsIt) {
    add(testPlugin("hangs-at-entry"), "hang.so");
    RecordingScanReceiver receiver;
    std::vector<pid_t> processes;
    {
        PluginScan scan(options(), receiver);
        scan.start();
        processes = awaitProcesses(1);
    }
    expectGone(processes);
    EXPECT_EQ(receiver.ends, std::vector<bool>{false});
}

TEST_F(PluginScanTest, AScanThatNeverStartsCallsNothing) {
    RecordingScanReceiver receiver;
    { const PluginScan scan(options(), receiver); }
    EXPECT_TRUE(receiver.ends.empty());
}

TEST_F(PluginScanTest, ASecondScanStartsNoChild) {
    const RealDeaths realDeaths;
    add(examplePlugin("echo"), "echo.so");
    add(testPlugin("crashes-at-create"), "crash.so");
    ReportCache first(directory / "cache");
    ScanOptions cached = options();
    cached.cache = &first;
    RecordingScanReceiver receiver;
    scan(cached, receiver);
    EXPECT_EQ(countStarts(), 2u);
    // As after a start of the application.
    ReportCache second(directory / "cache");
    for (ReportCache* cache : {&first, &second}) {
        cached.cache = cache;
        RecordingScanReceiver again;
        scan(cached, again);
        EXPECT_EQ(reasons(again), reasons(receiver));
        EXPECT_TRUE(again.started.empty());
        for (const auto& [path, file] : again.files)
            EXPECT_TRUE(file.isCached) << path;
    }
    EXPECT_EQ(countStarts(), 2u);
    EXPECT_FALSE(receiver.files.at(path("echo.so")).isCached);
}

TEST_F(PluginScanTest, AFileThatHasChangedIsReportedAnew) {
    add(EXAMPLE_PLUGIN_DIRECTORY "/echo.vst3", "bundle.vst3/" + libraryInBundle);
    add(examplePlugin("echo"), "echo.so");
    ReportCache cache(directory / "cache");
    ScanOptions cached = options();
    cached.cache = &cache;
    RecordingScanReceiver receiver;
    scan(cached, receiver);
    EXPECT_EQ(reasons(receiver)["bundle.vst3"], "[Echo]");
    const std::string library = path("bundle.vst3/" + libraryInBundle);
    std::filesystem::remove(library);
    std::filesystem::copy_file(EXAMPLE_PLUGIN_DIRECTORY "/tone.vst3", library);
    RecordingScanReceiver again;
    scan(cached, again);
    EXPECT_EQ(reasons(again)["bundle.vst3"], "[Tone]");
    EXPECT_TRUE(again.files.at(path("echo.so")).isCached);
    EXPECT_EQ(countStarts(), 3u);
}

TEST_F(PluginScanTest, WithoutADisplayNothingIsKept) {
    add(examplePlugin("echo"), "echo.so");
    ReportCache cache;
    ScanOptions cached = options();
    cached.cache = &cache;
    {
        const ScopedEnvironment noDisplay("DISPLAY", nullptr);
        RecordingScanReceiver receiver;
        scan(cached, receiver);
        EXPECT_EQ(reasons(receiver)["echo.so"], "no display");
    }
    RecordingScanReceiver receiver;
    scan(cached, receiver);
    EXPECT_EQ(reasons(receiver)["echo.so"], "[Echo]");
}

TEST_F(PluginScanTest, TheProgramIsChosenByTheWidthOfTheLibrary) {
    const HostPrograms both{"/host-32", "/host-64"};
    const ReportProgram echo = chooseReportProgram(both, examplePlugin("echo"));
    EXPECT_EQ(echo.program, sizeof(void*) == 4 ? "/host-32" : "/host-64");
    EXPECT_EQ(echo.library, examplePlugin("echo"));
    EXPECT_EQ(echo.reason, "");
    const HostPrograms other =
        sizeof(void*) == 4 ? HostPrograms{"", "/host-64"} : HostPrograms{"/host-32", ""};
    const ReportProgram none = chooseReportProgram(other, examplePlugin("echo"));
    EXPECT_EQ(none.program, "");
    EXPECT_EQ(none.reason, sizeof(void*) == 4 ? "needs a 32-bit host" : "needs a 64-bit host");
    writeText(path("text.so"), "no library");
    for (const std::string& file : {path("text.so"), path("missing.so"), path("\xff.so")}) {
        const ReportProgram refused = chooseReportProgram(both, file);
        EXPECT_EQ(refused.program, "");
        EXPECT_NE(refused.reason, "");
        EXPECT_EQ(refused.reason.find('\n'), std::string::npos);
    }
}

TEST_F(PluginScanTest, AChoiceThatFailsIsAReason) {
    add(examplePlugin("echo"), "echo.so");
    ScanOptions failing = options();
    failing.chooseProgram = [](const std::string&) -> ReportProgram {
        throw std::runtime_error("no choice");
    };
    RecordingScanReceiver receiver;
    scan(failing, receiver);
    EXPECT_EQ(reasons(receiver)["echo.so"], "no choice");
    EXPECT_EQ(receiver.ends, std::vector<bool>{true});
}

TEST_F(PluginScanTest, ManyFilesAreScannedSideBySide) {
    std::map<std::string, std::string> expected;
    for (int file = 0; file < 12; ++file) {
        const std::string name = std::to_string(file) + ".so";
        add(examplePlugin(file % 2 == 0 ? "echo" : "tone"), name);
        expected[name] = file % 2 == 0 ? "[Echo]" : "[Tone]";
    }
    ReportCache cache(directory / "cache");
    ScanOptions cached = options();
    cached.cache = &cache;
    cached.processCount = 4;
    // Two scans of the same files and the same cache.
    RecordingScanReceiver receivers[2];
    PluginScan first(cached, receivers[0]);
    PluginScan second(cached, receivers[1]);
    first.start();
    second.start();
    first.wait();
    second.wait();
    for (const RecordingScanReceiver& receiver : receivers) {
        EXPECT_EQ(reasons(receiver), expected);
        EXPECT_EQ(receiver.ends, std::vector<bool>{true});
    }
}

namespace {

class ThrowingScanReceiver : public PluginScanReceiver {
public:
    void onFileStarted(const std::string&, ScanProgress) override { throw std::runtime_error("started"); }
    void onFileScanned(const ScannedFile&, ScanProgress) override { throw std::runtime_error("scanned"); }
    void onScanEnded(bool) override { throw std::runtime_error("ended"); }
};

/// Which has lines in the log.
class ThrowingReceiverTest : public PluginScanTest {
protected:
    void TearDown() override { ClientTest::TearDown(); }
};

} // namespace

TEST_F(ThrowingReceiverTest, WhatAReceiverThrowsIsLogged) {
    add(examplePlugin("echo"), "echo.so");
    ThrowingScanReceiver receiver;
    scan(options(), receiver);
    EXPECT_EQ(errorText(), "Plug-in scan receiver failed: started\nPlug-in scan receiver failed: scanned\n"
                           "Plug-in scan receiver failed: ended\n");
}
