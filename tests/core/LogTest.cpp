// The log: it is all that a user has when something fails, and it must end nothing by itself.

#include "core/Log.h"

#include "FailingCalls.h"
#include "support/CapturedOutput.h"
#include "support/FailureText.h"

#include "core/Assertion.h"
#include "core/AssertionMode.h"
#include "core/StdStreams.h"

#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace base::core;
using namespace core_tests;
using namespace test_support;

namespace {

/// Leads a descriptor of this process elsewhere for a scope.
class LedElsewhere {
public:
    LedElsewhere(int descriptor, int other) : descriptor(descriptor), former(dup(descriptor)) {
        dup2(other, descriptor);
        close(other);
    }
    ~LedElsewhere() {
        dup2(former, descriptor);
        close(former);
    }
    LedElsewhere(const LedElsewhere&) = delete;
    LedElsewhere& operator=(const LedElsewhere&) = delete;

private:
    int descriptor;
    int former;
};

int openFull() {
    return open("/dev/full", O_WRONLY | O_CLOEXEC);
}

std::string errorLine(const char* text) {
    const CapturedOutput captured(STDERR_FILENO);
    logError(text);
    return captured.text();
}

TEST(LogTest, FailuresGoToTheErrorDeviceAndProgressToTheOutputDevice) {
    const CapturedOutput errors(STDERR_FILENO);
    const CapturedOutput output(STDOUT_FILENO);
    logError("na\xC3\xAFve ", 42, " ", String("b"));
    logProgress("step ", -1);
    writeLogText(LogLevel::progress, "Fx");
    EXPECT_EQ(errors.text(), "na\xC3\xAFve 42 b\n");
    EXPECT_EQ(output.text(), "step -1\nFx");
}

TEST(LogTest, BytesThatAreNoTextAreShownAndLoseNothing) {
    const std::string shown = "\xEF\xBF\xBD";
    EXPECT_EQ(errorLine("a\xFF z"), "a" + shown + " z\n");
    EXPECT_EQ(errorLine("\x80"), shown + "\n") << "a continuation alone";
    EXPECT_EQ(errorLine("\xC3"), shown + "\n") << "a cut character at the end";
    EXPECT_EQ(errorLine("\xE2\x82z"), shown + shown + "z\n") << "a cut character";
    EXPECT_EQ(errorLine("\xC3("), shown + "(\n");
    EXPECT_EQ(errorLine("\xC0\x80"), shown + shown + "\n") << "an overlong zero";
    EXPECT_EQ(errorLine("\xE0\x9F\xBF"), shown + shown + shown + "\n") << "overlong";
    EXPECT_EQ(errorLine("\xF0\x8F\xBF\xBF"), shown + shown + shown + shown + "\n") << "overlong";
    EXPECT_EQ(errorLine("\xED\xA0\x80"), shown + shown + shown + "\n") << "a surrogate";
    EXPECT_EQ(errorLine("\xF4\x90\x80\x80"), shown + shown + shown + shown + "\n") << "beyond U+10FFFF";
    EXPECT_EQ(errorLine("\xF8\x88\x80\x80\x80"), shown + shown + shown + shown + shown + "\n");
}

TEST(LogTest, TextIsShownAsItIs) {
    const std::string all = "\x7F \xC2\x80 \xDF\xBF \xE0\xA0\x80 \xED\x9F\xBF \xEE\x80\x80 \xEF\xBF\xBF "
                            "\xF0\x90\x80\x80 \xF4\x8F\xBF\xBF";
    EXPECT_EQ(errorLine(all.c_str()), all + "\n");
    EXPECT_EQ(errorLine(nullptr), "\n");
}

TEST(LogTest, ALineIsOneWriteToTheSystem) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC | O_DIRECT), 0); // each write is a packet, which one read takes
    {
        const LedElsewhere errors(STDERR_FILENO, ends[1]);
        logError("one ", 1, " ", String("text \xE2\x82\xAC"));
        logError(StringBuilder("two"));
    }
    char bytes[4096];
    for (const std::string line : {"one 1 text \xE2\x82\xAC\n", "two\n", ""}) {
        const ssize_t count = read(ends[0], bytes, sizeof bytes);
        EXPECT_EQ(std::string(bytes, count > 0 ? static_cast<size_t>(count) : 0), line);
    }
    close(ends[0]);
}

TEST(LogTest, ADeviceThatIsFullLosesItsLinesAndTakesLaterOnes) {
    {
        const LedElsewhere errors(STDERR_FILENO, openFull());
        for (int round = 0; round < 3; ++round)
            logError("lost");
    }
    EXPECT_EQ(errorLine("found"), "found\n");
}

TEST(LogTest, ALogPipeWhoseReaderIsGoneIsNoFailureWhereTheSignalIsIgnored) {
    const auto former = std::signal(SIGPIPE, SIG_IGN);
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    close(ends[0]);
    {
        const LedElsewhere errors(STDERR_FILENO, ends[1]);
        logError("lost");
        logError("lost");
    }
    std::signal(SIGPIPE, former);
    EXPECT_EQ(errorLine("found"), "found\n");
}

TEST(LogTest, ALineHidesNoFailureFromAWriterWhoseDataWasWaiting) {
    {
        const LedElsewhere output(STDOUT_FILENO, openFull());
        standardOutput().writeText("data");
        logProgress("lost");
    }
    EXPECT_EQ(failureText<IOException>([] { standardOutput().writeText("more"); }), "Error writing data");
    const CapturedOutput output(STDOUT_FILENO);
    standardOutput().printLine("found");
    EXPECT_EQ(output.text(), "found\n");
}

TEST(LogTest, ALineComesBehindTheDataThatWasWaiting) {
    const CapturedOutput output(STDOUT_FILENO);
    standardOutput().writeText("data ");
    logProgress("line");
    EXPECT_EQ(output.text(), "data line\n");
}

TEST(LogTest, ALineThatThereIsNoMemoryForLeavesAnotherInItsPlace) {
    const CapturedOutput errors(STDERR_FILENO);
    const std::string text(1000, 'x');
    {
        const FailingAllocation noMemory(1001 * sizeof(char32_t));
        logError(text.c_str());
    }
    logError("found");
    EXPECT_EQ(errors.text(), "A line of the log is lost for want of memory\nfound\n");
}

TEST(LogTest, SoDoesALineOfProgress) {
    const CapturedOutput output(STDOUT_FILENO);
    const std::string text(1000, 'x');
    {
        const FailingAllocation noMemory(1001 * sizeof(char32_t));
        logProgress(text.c_str());
    }
    EXPECT_EQ(output.text(), "A line of the log is lost for want of memory\n");
}

TEST(LogTest, ACharacterIsLoggedAsItself) {
    const CapturedOutput errors(STDERR_FILENO);
    logError("the euro: ", U'\u20AC');
    EXPECT_EQ(errors.text(), "the euro: \xE2\x82\xAC\n");
}

TEST(LogTest, AFailedAssertionOnAFullDeviceGoesOn) {
    const ScopedAssertionMode mode(AssertionMode::noDialog);
    const LedElsewhere errors(STDERR_FILENO, openFull());
    int passed = 0;
    for (int round = 0; round < 3; ++round) {
        BASE_FAIL("Unknown state");
        ++passed;
    }
    reportIgnoredAssertion("Unknown state", "false", "Some.cpp", 42);
    EXPECT_EQ(passed, 3);
}

TEST(LogTest, LinesOfSeveralProcessesStayWhole) {
    constexpr int processes = 4;
    constexpr int rounds = 200;
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    std::vector<pid_t> children;
    for (int i = 0; i < processes; ++i) {
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            dup2(ends[1], STDERR_FILENO);
            const std::string line(static_cast<size_t>(4000 + i), static_cast<char>('a' + i));
            for (int round = 0; round < rounds; ++round)
                logError(line.c_str());
            _exit(0);
        }
        children.push_back(child);
    }
    close(ends[1]);
    std::string all;
    char bytes[65536];
    for (ssize_t count; (count = read(ends[0], bytes, sizeof bytes)) > 0;)
        all.append(bytes, static_cast<size_t>(count));
    close(ends[0]);
    for (const pid_t child : children)
        waitpid(child, nullptr, 0);
    std::map<std::string, int> lines;
    std::istringstream written(all);
    for (std::string line; std::getline(written, line);)
        ++lines[line];
    std::map<std::string, int> expected;
    for (int i = 0; i < processes; ++i)
        expected[std::string(static_cast<size_t>(4000 + i), static_cast<char>('a' + i))] = rounds;
    EXPECT_TRUE(lines == expected) << lines.size() << " different lines";
}

// A plug-in may do so on a thread of its own; ThreadSanitizer looks on.
TEST(LogTest, LinesStayWholeBesideAThreadThatUsesTheLibrarysOwnStreams) {
    constexpr int rounds = 300;
    const CapturedOutput errors(STDERR_FILENO);
    const CapturedOutput output(STDOUT_FILENO);
    std::thread plugin([] {
        for (int round = 0; round < rounds; ++round) {
            std::cerr << "plug-in " << round << std::endl;
            std::cout << "plug-in " << round << std::endl;
        }
    });
    for (int round = 0; round < rounds; ++round) {
        logError("host");
        logProgress("host");
    }
    plugin.join();
    EXPECT_EQ(occurrences(errors.text(), "host\n"), size_t{rounds});
    EXPECT_EQ(occurrences(output.text(), "host\n"), size_t{rounds});
    EXPECT_EQ(occurrences(output.text(), "plug-in "), size_t{rounds});
}

} // namespace
