// The start of a host by an application: it ends with a host, or with a reason, and leaves nothing else
// behind. If these fail, an application hangs on a wrong path, or litters the machine each time.

#include "HostTest.h"

#include "support/CapturedOutput.h"
#include "support/ScopedEnvironment.h"
#include "support/TestDirectory.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <csignal>
#include <thread>
#include <unistd.h>

using namespace test_support;
using testing::HasSubstr;

namespace {

constexpr int32_t briefly = 300; // milliseconds

// ThreadSanitizer replaces `vfork` by `fork`, after which the parent doesn't see what the child writes.
#ifdef __SANITIZE_THREAD__
constexpr bool tellsExecErrors = false;
#else
constexpr bool tellsExecErrors = true;
#endif

class StartTest : public HostTest {
protected:
    /// A program of the shell's in the place of the host.
    Outcome startShell(const std::string& commands, int32_t timeout = endlessly) {
        const std::string program = directory / "program";
        writeShellProgram(program, commands);
        return start(program, timeout);
    }

    Outcome start(const std::string& program, int32_t timeout = endlessly) {
        auto* host = reinterpret_cast<plugin_host_host*>(uintptr_t{8});
        const OwnSession session(record);
        const Outcome outcome = session.startHost(program, &host, timeout);
        EXPECT_EQ(host, nullptr);
        EXPECT_TRUE(record.getDeaths().empty());
        return outcome;
    }

    const TestDirectory directory{};
};

TEST_F(StartTest, KeysOfTheTerminalAreNotForTheHost) {
    const OwnSession session(record);
    const pid_t process = processOf(session.startHost());
    EXPECT_EQ(getpgid(process), process);
    EXPECT_EQ(getsid(process), getsid(0));
}

TEST_F(StartTest, AWrongPathIsAReason) {
    const Outcome outcome = start("/nowhere/plugin-host");
    EXPECT_EQ(outcome.status, PLUGIN_HOST_START_FAILED);
    if (tellsExecErrors) {
        EXPECT_EQ(outcome.text, "/nowhere/plugin-host can't be executed: No such file or directory");
    }
}

TEST_F(StartTest, ADirectoryIsAReason) {
    const Outcome outcome = start("/tmp");
    EXPECT_EQ(outcome.status, PLUGIN_HOST_START_FAILED);
    if (tellsExecErrors) {
        EXPECT_EQ(outcome.text, "/tmp can't be executed: Permission denied");
    }
}

TEST_F(StartTest, AnEmptyPathIsAReason) {
    EXPECT_EQ(start("").status, PLUGIN_HOST_START_FAILED);
}

TEST_F(StartTest, AProgramThatEndsAtOnceIsNoHost) {
    const Outcome outcome = start("/bin/true");
    EXPECT_EQ(outcome.status, PLUGIN_HOST_START_FAILED);
    EXPECT_THAT(outcome.text, HasSubstr("/bin/true ended with status 0 before"));
}

TEST_F(StartTest, TheLastLineOfAProgramIsPartOfTheReason) {
    const Outcome outcome = start("/bin/cat");
    EXPECT_EQ(outcome.status, PLUGIN_HOST_START_FAILED);
    EXPECT_THAT(outcome.text, HasSubstr("/bin/cat ended with status 1 before"));
    EXPECT_THAT(outcome.text, HasSubstr("No such file"));
}

TEST_F(StartTest, ACrashAtTheStartIsNamed) {
    const Outcome outcome = startShell("kill -SEGV $$");
    EXPECT_EQ(outcome.status, PLUGIN_HOST_START_FAILED);
    EXPECT_THAT(outcome.text, HasSubstr("was ended by signal 11 (Segmentation fault)"));
}

TEST_F(StartTest, WithoutADisplayTheHostSaysSo) {
    const ScopedEnvironment none("DISPLAY", nullptr);
    const Outcome outcome = start(PLUGIN_HOST_EXECUTABLE);
    EXPECT_EQ(outcome.status, PLUGIN_HOST_START_FAILED);
    EXPECT_THAT(outcome.text, testing::ContainsRegex("display"));
}

TEST_F(StartTest, ADisplayThatRefusesIsAReason) {
    const ScopedEnvironment wrong("DISPLAY", ":4242");
    const Outcome outcome = start(PLUGIN_HOST_EXECUTABLE);
    EXPECT_EQ(outcome.status, PLUGIN_HOST_START_FAILED);
    EXPECT_THAT(outcome.text, testing::ContainsRegex("display"));
}

TEST_F(StartTest, AProgramThatStopsItselfTimesOut) {
    const Outcome outcome = startShell("kill -STOP $$", briefly);
    EXPECT_EQ(outcome.status, PLUGIN_HOST_TIMED_OUT);
    EXPECT_THAT(outcome.text, HasSubstr("within 300 ms"));
}

TEST_F(StartTest, AProgramThatSleepsTimesOut) {
    EXPECT_EQ(startShell("exec sleep 600", briefly).status, PLUGIN_HOST_TIMED_OUT);
}

TEST_F(StartTest, AProgramThatOpensItsFirstPipesAloneTimesOut) {
    for (const char* script : {"open:main wait", "open:main open:async-replies wait"}) {
        const StandIn standIn(script);
        EXPECT_EQ(start(STAND_IN_HOST_EXECUTABLE, briefly).status, PLUGIN_HOST_TIMED_OUT) << script;
    }
}

TEST_F(StartTest, AProgramThatEndsBehindItsFirstPipesIsAReason) {
    for (const char* script : {"open:main exit:7", "open:main open:async-replies exit:7"}) {
        const StandIn standIn(script);
        const Outcome outcome = start(STAND_IN_HOST_EXECUTABLE);
        EXPECT_EQ(outcome.status, PLUGIN_HOST_START_FAILED) << script;
        EXPECT_THAT(outcome.text, HasSubstr("ended with status 7")) << script;
    }
}

TEST_F(StartTest, AFailedStartOfASharedHostIsTheReasonOfItsPlugin) {
    SessionOptions options(record);
    options.program_32 = "/nowhere/32";
    options.program_64 = "/nowhere/64";
    const OwnSession session(options);
    const Outcome outcome = session.tryPlugin(examplePlugin("echo"), nullptr);
    EXPECT_EQ(outcome.status, PLUGIN_HOST_START_FAILED);
    EXPECT_THAT(outcome.text, HasSubstr("/nowhere/"));
}

TEST_F(StartTest, AHostOutlivesTheThreadThatStartedIt) {
    const OwnSession session(record);
    plugin_host_host* host = nullptr;
    std::thread([&] { host = session.startHost(); }).join();
    // The kernel would have sent its signal with the end of the thread.
    for (int ping = 0; ping < 20; ++ping)
        ASSERT_EQ(plugin_host_host_ping(host, 0), PLUGIN_HOST_OK) << plugin_host_error();
    EXPECT_TRUE(record.getDeaths().empty());
}

TEST_F(StartTest, NothingReachesTheStandardOutput) {
    std::string text;
    plugin_host_status refused = PLUGIN_HOST_OK;
    const std::string program = directory / "program";
    writeShellProgram(program, "echo words; exit 3");
    const auto hasWords = [&] {
        const std::vector<std::string> lines = record.getLines(PLUGIN_HOST_LOG_STANDARD_OUTPUT);
        return std::find(lines.begin(), lines.end(), "words") != lines.end();
    };
    {
        const CapturedOutput output(STDOUT_FILENO);
        {
            const OwnSession session(record);
            plugin_host_host* host = session.startHost();
            session.createPlugin(examplePlugin("echo"), host);
            refused = session.tryPlugin("/nowhere/echo.so", host).status;
            plugin_host_host_kill(host);
            plugin_host_host* none = nullptr;
            session.startHost(program, &none);
            eventually([&] { return hasWords() && record.countEvents("died") == 1; });
        }
        text = output.text();
    }
    EXPECT_EQ(text, "");
    EXPECT_EQ(refused, PLUGIN_HOST_REFUSED);
    EXPECT_EQ(record.countEvents("died"), 1u);
    EXPECT_TRUE(hasWords());
}

/// How SIGPIPE is treated, for a scope.
class BrokenPipes {
public:
    explicit BrokenPipes(void (*handler)(int)) {
        struct sigaction action {};
        action.sa_handler = handler;
        sigaction(SIGPIPE, &action, &former);
    }
    ~BrokenPipes() { sigaction(SIGPIPE, &former, nullptr); }
    BrokenPipes(const BrokenPipes&) = delete;
    BrokenPipes& operator=(const BrokenPipes&) = delete;

    static void (*get())(int) {
        struct sigaction current {};
        sigaction(SIGPIPE, nullptr, &current);
        return current.sa_handler;
    }

private:
    struct sigaction former {};
};

void handle(int) {}

TEST_F(StartTest, AWriteToABrokenPipeIsIgnoredFromTheFirstSessionOn) {
    const BrokenPipes pipes(SIG_DFL);
    const OwnSession session(record);
    EXPECT_EQ(BrokenPipes::get(), SIG_IGN);
}

TEST_F(StartTest, AHandlerOfBrokenPipesStays) {
    const BrokenPipes pipes(handle);
    const OwnSession session(record);
    session.startHost();
    EXPECT_EQ(BrokenPipes::get(), handle);
}

TEST_F(StartTest, ASessionMayKeepBrokenPipes) {
    const BrokenPipes pipes(SIG_DFL);
    SessionOptions options(record);
    options.flags = PLUGIN_HOST_KEEP_SIGPIPE;
    const OwnSession session(options);
    session.startHost();
    EXPECT_EQ(BrokenPipes::get(), SIG_DFL);
}

TEST_F(StartTest, NoSignalOfTheApplicationIsTouched) {
    constexpr int lastSignal = 64;
    const auto read = [] {
        std::vector<std::pair<void (*)(int), int>> all;
        for (int signal = 1; signal <= lastSignal; ++signal) {
            struct sigaction current {};
            if (signal != SIGPIPE && sigaction(signal, nullptr, &current) == 0)
                all.emplace_back(current.sa_handler, current.sa_flags);
        }
        return all;
    };
    struct sigaction own {};
    own.sa_handler = handle;
    struct sigaction former {};
    sigaction(SIGCHLD, &own, &former);
    const auto before = read();
    {
        const OwnSession session(record);
        plugin_host_host* host = session.startHost();
        session.createPlugin(examplePlugin("echo"), host);
        start("/bin/true");
        EXPECT_EQ(read(), before);
    }
    EXPECT_EQ(read(), before);
    sigaction(SIGCHLD, &former, nullptr);
}

} // namespace
