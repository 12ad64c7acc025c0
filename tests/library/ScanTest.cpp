// Searches for plug-ins. If these fail, one bad file keeps the user from all others, a search can't be
// stopped, or each start of the application loads every plug-in again.

#include "library/PluginTest.h"
#include "support/RealDeaths.h"

#include <atomic>
#include <csignal>
#include <map>
#include <optional>
#include <thread>

using namespace test_support;
using namespace std::chrono_literals;
using plugin_host::scan;
using plugin_host::session;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;

namespace {

/// A folder of files to search, and what a scan of it has reported.
class ScanTest : public PluginTest {
protected:
    ScanTest() { std::filesystem::create_directory(folder); }

    void add(const std::string& file, const std::string& name) const {
        const std::filesystem::path path = folder + "/" + name;
        std::filesystem::create_directories(path.parent_path());
        std::filesystem::copy_file(file, path);
    }
    void addThree() const {
        add(examplePlugin("echo.so"), "echo.so");
        add(examplePlugin("tone.so"), "deeper/tone.so");
        add(examplePlugin("trio.so"), "deeper/still/trio.so");
    }
    void addHanging() const {
        for (int i = 0; i < 4; ++i)
            add(testPlugin("hangs-at-entry.so"), "hangs-" + std::to_string(i) + ".so");
    }

    plugin_host::scan_options writing() {
        return {.paths = {folder},
                .timeout = 20s,
                .found = [this](const plugin_host::found& entry) { found.push_back(entry); },
                .progress =
                    [this](size_t done, size_t total, std::string_view) {
                        EXPECT_LE(done, total);
                        EXPECT_GE(done, lastDone);
                        EXPECT_EQ(finished, 0);
                        lastDone = done;
                        lastTotal = total;
                        calls = calls + 1;
                    },
                .finished =
                    [this](plugin_host_status status) {
                        lastStatus = status;
                        ++finished;
                    }};
    }
    /// A scan from its beginning to its last callback.
    void run(session& owner, const plugin_host::scan_options& given) {
        scan search(owner, given);
        search.wait();
        EXPECT_TRUE(eventually([&] { return finished == 1; }, longBound));
    }
    void forget() {
        found.clear();
        finished = 0;
        lastDone = 0;
    }

    /// What each file has given, by its name.
    std::multimap<std::string, std::string> results() const {
        std::multimap<std::string, std::string> results;
        for (const plugin_host::found& entry : found)
            results.emplace(std::filesystem::path(entry.path).filename(),
                            entry.error.empty() ? entry.name : "error: " + entry.error);
        return results;
    }

    const std::string folder = directory / "plugins";
    const std::string record = directory / "record";
    const ScopedEnvironment recordVariable{"PLUGIN_TEST_RECORD", record.c_str()};
    // Written by callbacks, read once `finished` is set.
    std::vector<plugin_host::found> found;
    size_t lastDone = 0;
    size_t lastTotal = 0;
    plugin_host_status lastStatus = PLUGIN_HOST_OK;
    std::atomic<int> calls = 0;
    std::atomic<int> finished = 0;
};

} // namespace

TEST_F(ScanTest, EachFileIsAnEntryForEachPlugInOrItsReason) {
    const test_support::RealDeaths realDeaths{};
    add(examplePlugin("echo.so"), "echo.so");
    add(examplePlugin("trio.so"), "deeper/trio.so");
    add(examplePlugin("tone.vst3"), "module.vst3");
    constexpr bool is32 = sizeof(void*) == 4;
    add(examplePlugin("echo.vst3"),
        std::string("bundle.vst3/Contents/") + (is32 ? "i386" : "x86_64") + "-linux/bundle.so");
    add(testPlugin("crashes-at-create.so"), "crash.so");
    add(testPlugin("hangs-at-entry.so"), "hangs.so");
    add(testPlugin("without-entry-point.so"), "library.so");
    std::ofstream(folder + "/text.so") << "no library";
    std::ofstream(folder + "/notes.txt") << "notes";
    session own(options());
    plugin_host::scan_options given = writing();
    given.timeout = 3s;
    run(own, given);
    EXPECT_EQ(lastStatus, PLUGIN_HOST_OK);
    EXPECT_EQ(lastDone, lastTotal);
    EXPECT_THAT(results(), UnorderedElementsAre(Pair("echo.so", "Echo"), Pair("trio.so", "Louder"),
                                                Pair("trio.so", "Upside Down"), Pair("trio.so", "Swap Sides"),
                                                Pair("module.vst3", "Tone"), Pair("bundle.vst3", "Echo"),
                                                Pair("crash.so", HasSubstr("signal 11")),
                                                Pair("hangs.so", HasSubstr("error: ")),
                                                Pair("library.so", "error: Plugin main function not found"),
                                                Pair("text.so", HasSubstr("error: "))));
}

TEST_F(ScanTest, AnEntryIsDescribedInFull) {
    add(examplePlugin("tone.vst3"), "tone.vst3");
    std::ofstream(folder + "/text.so") << "no library";
    session own(options());
    run(own, writing());
    ASSERT_EQ(found.size(), 2U);
    const bool isFirst = found[0].error.empty();
    const plugin_host::found& tone = found[isFirst ? 0 : 1];
    const plugin_host::found& text = found[isFirst ? 1 : 0];
    EXPECT_EQ(tone.path, folder + "/tone.vst3");
    EXPECT_EQ(tone.format, plugin_host::format::vst3);
    EXPECT_EQ(tone.width, sizeof(void*) == 4 ? plugin_host::width::bits32 : plugin_host::width::bits64);
    EXPECT_EQ(tone.name, "Tone");
    EXPECT_EQ(tone.vendor, "Example Works");
    EXPECT_EQ(tone.identifier, "4578616D706C6520576F726B546F6E30");
    EXPECT_TRUE(tone.has_note_input);
    EXPECT_FALSE(tone.has_note_output);
    EXPECT_EQ(tone.input_channels, 0U);
    EXPECT_EQ(tone.output_channels, 2U);
    EXPECT_EQ(text.path, folder + "/text.so");
    EXPECT_EQ(text.format, plugin_host::format::vst2);
    EXPECT_EQ(text.width, plugin_host::width::any);
    EXPECT_EQ(text.name, "");
    // An entry's identifier makes that plug-in.
    const plugin_host::plugin made(own, {.path = tone.path, .identifier = tone.identifier});
    EXPECT_EQ(made.describe().name, "Tone");
}

TEST_F(ScanTest, FilesCanBeSearchedToo) {
    addThree();
    session own(options());
    plugin_host::scan_options given = writing();
    given.paths = {folder + "/echo.so", folder + "/missing"};
    run(own, given);
    EXPECT_THAT(results(),
                UnorderedElementsAre(Pair("echo.so", "Echo"), Pair("missing", HasSubstr("error: "))));
}

TEST_F(ScanTest, NoPathsAreASearchThatEnds) {
    session own(options());
    plugin_host::scan_options given = writing();
    given.paths.clear();
    run(own, given);
    EXPECT_THAT(found, IsEmpty());
    EXPECT_EQ(lastStatus, PLUGIN_HOST_OK);
}

TEST_F(ScanTest, ASecondSearchLoadsNothing) {
    addThree();
    const plugin_host::session_options counting = options(countingProgram());
    for (int i = 0; i < 2; ++i) {
        session own(counting);
        run(own, writing());
        EXPECT_EQ(found.size(), 5U);
        EXPECT_EQ(countReports(), 3U);
        forget();
    }
    session own(counting);
    plugin_host::scan_options anew = writing();
    anew.anew = true;
    run(own, anew);
    EXPECT_EQ(found.size(), 5U);
    EXPECT_EQ(countReports(), 6U);
    // Descriptions have the same cache.
    EXPECT_EQ(plugin_host::plugin(own, {.path = folder + "/echo.so"}).describe().name, "Echo");
    EXPECT_EQ(countReports(), 6U);
}

TEST_F(ScanTest, ACancelEndsTheChildren) {
    addHanging();
    session own(options());
    plugin_host::scan_options given = writing();
    given.parallel = 2;
    scan search(own, given);
    ASSERT_TRUE(eventually([&] { return linesOf(record).size() >= 2; }));
    EXPECT_FALSE(search.wait_for(0ms));
    EXPECT_EQ(linesOf(record).size(), 2U);
    search.cancel();
    EXPECT_TRUE(search.wait_for(10s));
    ASSERT_TRUE(eventually([&] { return finished == 1; }));
    EXPECT_EQ(lastStatus, PLUGIN_HOST_CANCELLED);
    for (const std::string& process : linesOf(record))
        EXPECT_TRUE(eventually([&] { return kill(std::stoi(process), 0) != 0; })) << process << " runs on";
    EXPECT_EQ(plugin_host_scan_cancel(nullptr), PLUGIN_HOST_INVALID_HANDLE);
    search.cancel();
    search.wait();
    EXPECT_EQ(finished, 1);
}

TEST_F(ScanTest, ASearchMayBeDestroyedInItsMidst) {
    addHanging();
    session own(options());
    {
        const scan search(own, writing());
        ASSERT_TRUE(eventually([&] { return !linesOf(record).empty(); }));
    }
    const int callsByThen = calls;
    for (const std::string& process : linesOf(record))
        EXPECT_NE(kill(std::stoi(process), 0), 0) << process << " runs on";
    EXPECT_EQ(finished, 0);
    EXPECT_EQ(calls, callsByThen);
}

TEST_F(ScanTest, ASearchMayBeDestroyedInsideOfACallback) {
    addThree();
    session own(options());
    struct Destroying {
        std::atomic<plugin_host_scan*> scan = nullptr;
        std::atomic<int> calls = 0;
        std::atomic<int> status = -1;
    } destroying;
    plugin_host_scan_options given{};
    given.size = sizeof given;
    const char* path = folder.c_str();
    given.paths = &path;
    given.path_count = 1;
    given.user_data = &destroying;
    given.found = [](void* data, plugin_host_scan* scan, const plugin_host_found*) {
        auto& state = *static_cast<Destroying*>(data);
        if (++state.calls == 1)
            state.status = plugin_host_scan_destroy(scan);
    };
    given.finished = [](void* data, plugin_host_scan*, plugin_host_status) {
        ++static_cast<Destroying*>(data)->calls;
    };
    plugin_host_scan* search = nullptr;
    ASSERT_EQ(plugin_host_scan_start(own.get(), &given, &search), PLUGIN_HOST_OK);
    ASSERT_TRUE(eventually([&] { return destroying.status != -1; }, longBound));
    EXPECT_EQ(destroying.status, PLUGIN_HOST_OK);
    EXPECT_EQ(plugin_host_scan_wait(search, 0), PLUGIN_HOST_INVALID_HANDLE);
    // A callback of the session's comes behind all that could have been the scan's.
    plugin_host_plugin* made = nullptr;
    plugin_host_plugin_options echo{};
    echo.size = sizeof echo;
    const std::string echoPath = examplePlugin("echo.so");
    echo.path = echoPath.c_str();
    ASSERT_EQ(plugin_host_plugin_create(own.get(), &echo, &made), PLUGIN_HOST_OK);
    EXPECT_EQ(plugin_host_plugin_destroy(made), PLUGIN_HOST_OK);
    EXPECT_EQ(destroying.calls, 1);
}

TEST_F(ScanTest, ASessionMayBeDestroyedInTheMidstOfASearch) {
    addHanging();
    std::optional<session> own(options());
    scan search(*own, writing());
    ASSERT_TRUE(eventually([&] { return !linesOf(record).empty(); }));
    own.reset();
    EXPECT_EQ(finished, 0);
    EXPECT_EQ(statusOf([&] { search.wait_for(0ms); }), PLUGIN_HOST_INVALID_HANDLE);
}

TEST_F(ScanTest, WithDispatchTheCallbacksComeThere) {
    addThree();
    plugin_host::session_options dispatching = options();
    dispatching.dispatch = true;
    session own(dispatching);
    scan search(own, writing());
    search.wait();
    EXPECT_EQ(calls, 0);
    EXPECT_THAT(found, IsEmpty());
    own.dispatch();
    EXPECT_EQ(found.size(), 5U);
    EXPECT_EQ(finished, 1);
}

TEST_F(ScanTest, WrongArgumentsAreRefused) {
    session own(options());
    plugin_host_scan* search = nullptr;
    plugin_host_scan_options given{};
    given.size = sizeof given;
    given.path_count = 1;
    EXPECT_EQ(plugin_host_scan_start(own.get(), &given, &search), PLUGIN_HOST_INVALID_ARGUMENT);
    const char* paths[] = {nullptr};
    given.paths = paths;
    EXPECT_EQ(plugin_host_scan_start(own.get(), &given, &search), PLUGIN_HOST_INVALID_ARGUMENT);
    paths[0] = "";
    EXPECT_EQ(plugin_host_scan_start(own.get(), &given, &search), PLUGIN_HOST_INVALID_ARGUMENT);
    paths[0] = folder.c_str();
    for (const int32_t parallel : {-1, 65}) {
        given.parallel = parallel;
        EXPECT_EQ(plugin_host_scan_start(own.get(), &given, &search), PLUGIN_HOST_INVALID_ARGUMENT);
    }
    given.parallel = 0;
    given.timeout = -1;
    EXPECT_EQ(plugin_host_scan_start(own.get(), &given, &search), PLUGIN_HOST_INVALID_ARGUMENT);
    given.timeout = 0;
    EXPECT_EQ(plugin_host_scan_start(own.get(), &given, nullptr), PLUGIN_HOST_INVALID_ARGUMENT);
    EXPECT_EQ(plugin_host_scan_start(nullptr, &given, &search), PLUGIN_HOST_INVALID_HANDLE);
    EXPECT_EQ(search, nullptr);
    ASSERT_EQ(plugin_host_scan_start(own.get(), &given, &search), PLUGIN_HOST_OK);
    EXPECT_EQ(plugin_host_scan_wait(search, -1), PLUGIN_HOST_OK);
    EXPECT_EQ(plugin_host_scan_destroy(search), PLUGIN_HOST_OK);
    EXPECT_EQ(plugin_host_scan_destroy(search), PLUGIN_HOST_INVALID_HANDLE);
}
