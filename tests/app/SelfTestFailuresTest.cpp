// If these fail, one bad plug-in ends the test of all the others or keeps it waiting for ever, or it is given
// another reason than its own.

#include "app/SelfTestRun.h"
#include "support/CapturedOutput.h"
#include "support/FileBytes.h"
#include "support/RealDeaths.h"

#include <atomic>
#include <cstddef>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

using namespace test_support;

namespace {

const std::string notTested = "Could not test plug-in: ";
const std::string late = notTested + "Test failed waiting for ";
const std::string notRendered = notTested + "Error rendering audio :Error rendering audio: ";
const std::string overrun = notRendered + "Plugin wrote outside of the supplied buffers.";
const std::string ended = "End of stream";
const std::string lost = "Communication lost with plugin host process";
constexpr const char* died = "Remote plugin process died ";

/// With a host in a child process and with one in the tester's own.
class SelfTestFailuresTest : public testing::TestWithParam<const char*> {
protected:
    PluginsUnderTest plugins;
};

INSTANTIATE_TEST_SUITE_P(Hosts, SelfTestFailuresTest, testing::Values(PLUGIN_HOST_EXECUTABLE, ownProcess),
                         [](const auto& suite) {
                             return suite.param == std::string(ownProcess) ? "Local" : "Sandboxed";
                         });

/// What hangs, and what the step that it hangs in waits for.
struct Hang {
    const char* plugin;
    const char* subject;

    friend void PrintTo(const Hang& hang, std::ostream* stream) { *stream << hang.plugin; }
};

class HangingPluginTest : public testing::TestWithParam<Hang> {
protected:
    const RealDeaths realDeaths{};
    PluginsUnderTest plugins;
    const std::string refusing = plugins.add("exports-no-entry-point.so");
    const std::string hanging = plugins.addNamed(GetParam().plugin);
    const Failure refusal{refusing, notTested + "Plugin main function not found"};
    const Failure failure{hanging, late + GetParam().subject};
};

constexpr Hang hangs[] = {
    {"hangs-at-create.so", "plug-in instance"},
    {"hangs-at-editor.so", "plug-in GUI to open"},
    {"hangs-at-save.so", "preset to be saved"},
    {"hangs-at-program.so", "program to be set"},
    {"hangs-at-process.so", "test audio engine to complete"},
};

INSTANTIATE_TEST_SUITE_P(Places, HangingPluginTest, testing::ValuesIn(hangs), [](const auto& suite) {
    const std::string name = suite.param.plugin;
    const size_t start = name.rfind('-') + 1;
    return name.substr(start, name.find('.') - start);
});

} // namespace

TEST_P(SelfTestFailuresTest, APluginThatWritesPastABufferFailsWithTheWordsForIt) {
    const std::string vst2 = plugins.add("writes-beyond-its-output.so");
    const std::string vst3 = plugins.add("writes-beyond-its-output.vst3");
    const ProgramResult result = runSelfTest({vst2, vst3}, GetParam());
    EXPECT_EQ(verdictOf(result), verdict({}, {{vst2, overrun}, {vst3, overrun}}));
    EXPECT_EQ(
        occurrences(result.error, "Error rendering audio: Plugin wrote outside of the supplied buffers.\n"),
        2u)
        << result.error;
    EXPECT_EQ(result.status, 1);
}

TEST_P(SelfTestFailuresTest, APluginThatCannotBeCreatedFailsWithTheWordsOfTheHost) {
    const std::string withoutEntry = plugins.add("exports-no-entry-point.so");
    const std::string withoutEffect = plugins.add("gives-no-effect.so");
    const std::string withoutFactory = plugins.add("gives-no-factory.vst3");
    const std::string text = plugins / "text.so";
    writeFile(text, "This is no plug-in.");
    const ProgramResult result = runSelfTest({withoutEntry, withoutEffect, withoutFactory, text}, GetParam());
    EXPECT_EQ(verdictOf(result),
              verdict({}, {{withoutEntry, notTested + "Plugin main function not found"},
                           {withoutEffect, notTested + "createAEffectInstance returned NULL."},
                           {withoutFactory, notTested + "Couldn't load VST plug-in: " + withoutFactory},
                           {text, notTested + "Failed to load VST plug-in " + text + ": " + text +
                                      ": file too short"}}));
    EXPECT_EQ(occurrences(result.error, died), 0u) << result.error;
    EXPECT_EQ(result.status, 1);
}

TEST(SelfTestFailures, AChildThatDiesIsToldAndFailsAndTheLaterPluginsAreStillTested) {
    const RealDeaths realDeaths{};
    PluginsUnderTest plugins;
    const std::string first = plugins.addNamed("behaves-first.so");
    const std::string dying = plugins.addNamed("crashes-at-save.so");
    const std::string last = plugins.addNamed("behaves-last.so");
    const ProgramResult result = runSelfTest({first, dying, last});
    EXPECT_EQ(verdictOf(result), verdict({first, last}, {{dying, notTested + ended}}));
    EXPECT_NE(result.error.find("\nRemote plugin process died on a different thread to the main thread: "
                                "End of stream\n"),
              std::string::npos)
        << result.error;
    EXPECT_EQ(result.status, 1);
}

TEST(SelfTestFailures, APluginMayCrashInAnyCall) {
    const RealDeaths realDeaths{};
    PluginsUnderTest plugins;
    const std::string atCreate = plugins.addNamed("crashes-at-create.so");
    const std::string atEditor = plugins.addNamed("crashes-at-editor.so");
    const std::string atSave = plugins.addNamed("crashes-at-save.so");
    const std::string atLoad = plugins.addNamed("crashes-at-load.so");
    const std::string atProgram = plugins.addNamed("crashes-at-program.so");
    const std::string atDestroy = plugins.addNamed("crashes-at-destroy.so");
    const std::string behaving = plugins.addNamed("behaves.so");
    ASSERT_EQ(runSelfTest({behaving}, ownProcess).status, 0);
    std::filesystem::rename(plugins / "behaves-test.fxb", plugins / "crashes-at-load.fxb");

    const ProgramResult result =
        runSelfTest({atCreate, atEditor, atSave, atLoad, atProgram, atDestroy, behaving});
    EXPECT_EQ(verdictOf(result), verdict({behaving}, {{atCreate, notTested + ended},
                                                      {atEditor, notTested + lost},
                                                      {atSave, notTested + ended},
                                                      {atLoad, notTested + ended},
                                                      {atProgram, notTested + lost},
                                                      {atDestroy, notTested + lost}}));
    EXPECT_EQ(occurrences(result.error, died), 6u) << result.error;
    EXPECT_EQ(result.status, 1);
}

// Where the script stands meanwhile is chance, and so is what it hears of the death.
TEST(SelfTestFailures, APluginMayDieInABlockWhileTheScriptIsAnywhere) {
    const RealDeaths realDeaths{};
    PluginsUnderTest plugins;
    const std::string vst2 = plugins.addNamed("crashes-at-process.so");
    const std::string vst3 = plugins.add("ends-the-process.vst3");
    const ProgramResult result = runSelfTest({vst2, vst3});
    const std::string told = verdictOf(result);
    EXPECT_TRUE(told.starts_with("Passed plugins:\n\n\nFailed plugins:\n" + vst2 + ":      " + notTested))
        << told;
    EXPECT_NE(told.find("\n" + vst3 + ":      " + notTested), std::string::npos) << told;
    EXPECT_TRUE(told.ends_with("\n\n\nPassed : 0 Failed: 2\n")) << told;
    EXPECT_EQ(occurrences(result.error, "\nError rendering audio: End of stream\n"), 2u) << result.error;
    EXPECT_EQ(occurrences(result.error, died), 2u) << result.error;
}

TEST(SelfTestFailures, FiftyDeathsLeaveTheOthersToBeTested) {
    const RealDeaths realDeaths{};
    PluginsUnderTest plugins;
    const std::string behaving = plugins.addNamed("behaves.so");
    const std::string dying[] = {plugins.addNamed("crashes-at-create.so"),
                                 plugins.addNamed("aborts-at-create.so"),
                                 plugins.addNamed("exits-at-create.so")};
    constexpr size_t deaths = 50;
    constexpr size_t deathsInARow = 25;
    std::vector<std::string> files;
    std::vector<std::string> passed;
    std::vector<Failure> failed;
    for (size_t death = 0; death < deaths; ++death) {
        const std::string& plugin = dying[death % std::size(dying)];
        files.push_back(plugin);
        failed.emplace_back(plugin, notTested + ended);
        if (death % deathsInARow == deathsInARow - 1) {
            files.push_back(behaving);
            passed.push_back(behaving);
        }
    }
    const ProgramResult result = runSelfTest(files);
    EXPECT_EQ(verdictOf(result), verdict(passed, failed));
    EXPECT_EQ(occurrences(result.error, died), deaths);
    EXPECT_EQ(result.status, 1);
}

TEST(SelfTestFailures, AHostThatDoesNotComeUpFailsEachPluginOnceItIsOverdue) {
    PluginsUnderTest plugins;
    const std::string one = plugins.addNamed("one.so");
    const std::string other = plugins.addNamed("other.so");
    const std::string reason = "Could not start plug-in host: Test failed waiting for plug-in host";
    const TestDirectory directory;
    const std::string host = directory / "opens-no-pipes";
    writeFile(host, "#!/bin/sh\n: >\"$SELF_TEST_CLOCK_TURN\"\nexec sleep 60\n");
    std::filesystem::permissions(host, std::filesystem::perms::owner_all);
    const ProgramResult result = runSelfTest({one, other}, host, "plug-in host");
    EXPECT_EQ(verdictOf(result), verdict({}, {{one, reason}, {other, reason}}));
    EXPECT_EQ(result.status, 1);
}

TEST(SelfTestFailures, AHostThatCannotBeStartedFailsEachPluginWithTheReason) {
    PluginsUnderTest plugins;
    const std::string plugin = plugins.addNamed("behaves.so");
    // A file where the directory of the host's pipes would be.
    const std::string user = std::string(std::getenv("USER")) + "-without-pipes";
    const std::string pipes = "/tmp/pipes-" + user;
    writeFile(pipes, "");
    const ProgramResult result =
        runSelfTest({plugin}, PLUGIN_HOST_EXECUTABLE, "plug-in host", {{"USER", user}});
    std::filesystem::remove(pipes);
    const std::string failedLine = "\nFailed plugins:\n" + plugin + ":      Could not start plug-in host: ";
    EXPECT_NE(result.output.find(failedLine), std::string::npos) << result.output;
    EXPECT_EQ(result.output.find("Test failed waiting"), std::string::npos) << result.output;
    EXPECT_EQ(result.status, 1);
}

TEST_P(HangingPluginTest, IsKilledOnceItIsOverdueAndTheLaterPluginsAreStillTested) {
    const ProgramResult result =
        runSelfTest({refusing, hanging, refusing}, PLUGIN_HOST_EXECUTABLE, GetParam().subject);
    EXPECT_EQ(verdictOf(result), verdict({}, {refusal, failure, refusal}));
    EXPECT_EQ(occurrences(result.error, died), 1u) << result.error;
    EXPECT_EQ(result.status, 1);
}

TEST_P(HangingPluginTest, InTheSameProcessEndsTheTestWithItsVerdictOnceItIsOverdue) {
    const ProgramResult result = runSelfTest({refusing, hanging, refusing}, ownProcess, GetParam().subject);
    EXPECT_EQ(verdictOf(result), verdict({}, {refusal, failure}));
    EXPECT_EQ(result.status, 1);
}

TEST(SelfTestFailures, AVst3ModuleThatHangsInItsBlockIsKilledOnceItIsOverdue) {
    PluginsUnderTest plugins;
    const std::string hanging = plugins.add("never-returns.vst3");
    const ProgramResult result =
        runSelfTest({hanging}, PLUGIN_HOST_EXECUTABLE, "test audio engine to complete");
    EXPECT_EQ(verdictOf(result), verdict({}, {{hanging, late + "test audio engine to complete"}}));
}

namespace {

/// An X server that takes connections and never answers one. Turns the clock when the first has come.
class SilentDisplay {
public:
    explicit SilentDisplay(std::string turning) : turning(std::move(turning)) {
        // A name that is no file, which clients of an X server try first.
        const std::string socketName = "/tmp/.X11-unix/X" + std::to_string(number);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path + 1, socketName.data(), socketName.size());
        const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + socketName.size());
        listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        EXPECT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), size), 0);
        EXPECT_EQ(listen(listener, 4), 0);
        accepting = std::thread([this] { accept(); });
    }
    ~SilentDisplay() {
        shutdown(listener, SHUT_RDWR);
        accepting.join();
        close(listener);
    }
    SilentDisplay(const SilentDisplay&) = delete;
    SilentDisplay& operator=(const SilentDisplay&) = delete;

    std::string name() const { return ":" + std::to_string(number); }
    int countConnections() const { return connections; }

private:
    void accept() {
        std::vector<int> silent;
        for (int connection; (connection = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;) {
            silent.push_back(connection);
            ++connections;
            writeFile(turning, "an hour");
        }
        for (const int connection : silent)
            close(connection);
    }

    /// Not that of a real server, nor of a test that runs beside this one.
    const int number = 100000 + getpid();
    const std::string turning;
    int listener = -1;
    std::atomic<int> connections = 0;
    std::thread accepting;
};

ProgramResult runOnSilentDisplay(const std::vector<std::string>& files, const std::string& host) {
    const StepClock clock;
    const SilentDisplay display(clock.turning("plug-in host"));
    std::vector<std::string> arguments{clock.path(), host};
    arguments.insert(arguments.end(), files.begin(), files.end());
    const ProgramResult result = runProgram(arguments, {{"DISPLAY", display.name()}}, "/", SELF_TEST_PROGRAM);
    EXPECT_GE(display.countConnections(), 1);
    return result;
}

constexpr const char* notStarted = "Could not start plug-in host: Test failed waiting for plug-in host";

} // namespace

TEST(SelfTestFailures, AnXServerThatNeverAnswersFailsEachPluginOnceItsHostIsOverdue) {
    PluginsUnderTest plugins;
    const std::string one = plugins.addNamed("one.so");
    const std::string other = plugins.addNamed("other.so");
    const ProgramResult result = runOnSilentDisplay({one, other}, PLUGIN_HOST_EXECUTABLE);
    EXPECT_EQ(verdictOf(result), verdict({}, {{one, notStarted}, {other, notStarted}}));
    EXPECT_EQ(result.status, 1);
}

TEST(SelfTestFailures, AnXServerThatNeverAnswersTheTesterItselfEndsTheTestWithItsVerdict) {
    PluginsUnderTest plugins;
    const std::string one = plugins.addNamed("one.so");
    const std::string other = plugins.addNamed("other.so");
    const ProgramResult result = runOnSilentDisplay({one, other}, ownProcess);
    EXPECT_EQ(verdictOf(result), verdict({}, {{one, notStarted}}));
    EXPECT_EQ(result.status, 1);
}

TEST(SelfTestFailures, AHostThatNeverEndsEndsTheTestWithItsVerdictOnceItIsOverdue) {
    const ProgramResult result = runSelfTest({"/one.so", "/other.so"}, "never-ends");
    EXPECT_EQ(verdictOf(result), verdict({}, {{"/one.so", notTested + "Refused"}}));
    EXPECT_EQ(result.status, 1);
}
