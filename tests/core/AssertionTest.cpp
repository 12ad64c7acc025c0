// Assertions: a host on a stage must go on past one, and the report is all that its maker gets to see.

#include "core/Assertion.h"

#include "support/CapturedOutput.h"
#include "support/ScopedEnvironment.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

using namespace base::core;
using namespace test_support;

namespace {

/// Splits the stack off a report, checks its form and returns the rest.
std::string withoutStack(const std::string& report) {
    const size_t end = report.find("\n\n", report.find("\nLine: "));
    if (end == std::string::npos) {
        ADD_FAILURE() << "no end of the head in: " << report;
        return {};
    }
    std::istringstream stack(report.substr(end + 2));
    int frames = 0;
    for (std::string line; std::getline(stack, line);) {
        if (line.empty())
            continue;
        EXPECT_EQ(line.find_first_not_of(' '), 5u) << line;
        ++frames;
    }
    EXPECT_GT(frames, 0);
    return report.substr(0, end + 2);
}

std::string head(const std::string& message, const std::string& file, int line) {
    return "Assertion failed in process " + std::to_string(getpid()) + "\n\nCondition: false\n" + message +
           "\n\nFile: " + file + "\nLine: " + std::to_string(line) + "\n\n";
}

TEST(AssertionTest, AFailedAssertionPrintsAndExecutionGoesOnPastIt) {
    const ScopedEnvironment environment("INTERACTIVE_ASSERTS", nullptr);
    bool wentOn = false;
    std::string report;
    int line = 0;
    {
        const CapturedOutput captured(STDERR_FILENO);
        line = __LINE__ + 1;
        BASE_FAIL("Unknown state");
        wentOn = true;
        report = captured.text();
    }
    EXPECT_TRUE(wentOn);
    EXPECT_EQ(withoutStack(report), head("Unknown state", __FILE__, line));
}

TEST(AssertionTest, ASiteReportsEachTimeThatItIsReached) {
    const ScopedEnvironment environment("INTERACTIVE_ASSERTS", nullptr);
    const CapturedOutput captured(STDERR_FILENO);
    for (int round = 0; round < 3; ++round)
        BASE_FAIL("Unknown state");
    EXPECT_EQ(occurrences(captured.text(), "Assertion failed in process"), 3u);
}

TEST(AssertionTest, WithoutADialogNobodyIsAskedToBreakAndTheSiteIsNotIgnored) {
    const ScopedEnvironment environment("INTERACTIVE_ASSERTS", nullptr);
    const CapturedOutput captured(STDERR_FILENO);
    bool ignored = false;
    EXPECT_FALSE(assertionFailed("Unknown state", "a == b", "Some.cpp", 42, &ignored));
    EXPECT_FALSE(ignored);
    EXPECT_EQ(
        captured.text().find("Assertion failed in process " + std::to_string(getpid()) +
                             "\n\nCondition: a == b\nUnknown state\n\nFile: Some.cpp\nLine: 42\n\n     "),
        0u);
}

TEST(AssertionTest, ASiteThatIsIgnoredSaysSoBeforeTheSameText) {
    const CapturedOutput captured(STDERR_FILENO);
    reportIgnoredAssertion("Unknown state", "false", "Some.cpp", 42);
    EXPECT_EQ(withoutStack(captured.text()), "Assertion ignored: " + head("Unknown state", "Some.cpp", 42));
}

TEST(AssertionTest, APathOrAMessageThatIsNoTextLosesNoReport) {
    const ScopedEnvironment environment("INTERACTIVE_ASSERTS", nullptr);
    const CapturedOutput captured(STDERR_FILENO);
    bool ignored = false;
    EXPECT_FALSE(assertionFailed("Unknown state", "false", "/home/M\xFCller/Some.cpp", 42, &ignored));
    reportIgnoredAssertion("Unknown state", "false", "/home/M\xFCller/Some.cpp", 42);
    EXPECT_EQ(occurrences(captured.text(), "\nFile: /home/M\xEF\xBF\xBDller/Some.cpp\nLine: 42\n"), 2u);
    BASE_FAIL("Unknown \xFC");
    EXPECT_EQ(occurrences(captured.text(), "\nUnknown \xEF\xBF\xBD\n"), 1u) << captured.text();
}

// The frames of the stack have the program's path.
TEST(AssertionTest, AProgramWhosePathIsNoTextReportsItsFailedAssertion) {
    char pattern[] = "/tmp/plugin-host-path-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    const std::string program = std::string(pattern) + "/M\xFCller";
    std::filesystem::copy_file(FAILED_ASSERTION_PROGRAM, program);
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const pid_t child = fork();
    if (child == 0) {
        unsetenv("INTERACTIVE_ASSERTS");
        dup2(ends[1], STDOUT_FILENO);
        dup2(ends[1], STDERR_FILENO);
        execl(program.c_str(), program.c_str(), nullptr);
        _exit(126);
    }
    close(ends[1]);
    std::string text;
    char bytes[4096];
    for (ssize_t count; (count = read(ends[0], bytes, sizeof bytes)) > 0;)
        text.append(bytes, static_cast<size_t>(count));
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    std::filesystem::remove_all(pattern);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(occurrences(text, "Assertion failed in process "), 1u) << text;
    EXPECT_GE(occurrences(text, "/M\xEF\xBF\xBDller("), 1u) << text;
    EXPECT_EQ(occurrences(text, "The program went on\n"), 1u) << text;
}

} // namespace
