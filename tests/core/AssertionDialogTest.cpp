// The dialogs of a failed assertion: if these fail, a developer who clicks "Skip" loses the session, or a
// host on a stage waits for somebody who isn't there.

#include "core/Assertion.h"

#include "FailingCalls.h"
#include "StandInDialog.h"
#include "support/CapturedOutput.h"
#include "support/FailureText.h"

#include "core/AssertionMode.h"
#include "core/ChildProcess.h"
#include "core/Debugger.h"
#include "core/Ref.h"
#include "core/StdStreams.h"
#include "support/Eventually.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
#include <latch>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace base::core;
using namespace core_tests;
using namespace test_support;

namespace {

using Answers = std::vector<std::string>;

bool failAt(bool* ignored) {
    return assertionFailed("Unknown state", "a == b", "Some.cpp", 42, ignored);
}

bool fail() {
    bool ignored = false;
    return failAt(&ignored);
}

void reachSite() {
    BASE_FAIL("Unknown state");
}

std::string own(const std::string& text) {
    return text + std::to_string(getpid());
}

/// What a dialog's command was called with.
struct Shown {
    explicit Shown(const std::vector<std::string>& arguments) {
        if (arguments.size() != 9)
            return;
        title = arguments[3].substr(0, arguments[3].find(" (pid = "));
        buttons = arguments[5];
        text = arguments[8];
    }

    std::string title;
    std::string buttons;
    std::string text;
};

/// The titles of all dialogs that were shown, a line each.
std::string titlesOf(const StandInDialog& dialog) {
    std::string titles;
    for (int call = 1; call <= dialog.callCount(); ++call)
        titles += Shown(dialog.argumentsOfCall(call)).title + '\n';
    return titles;
}

class AssertionDialogTest : public testing::Test {
    const ScopedEnvironment notInteractive{"INTERACTIVE_ASSERTS", nullptr};
    const ScopedAssertionMode mode{AssertionMode::dialog};
};

TEST_F(AssertionDialogTest, TheDialogShowsTheReportAndFiveChoices) {
    const StandInDialog dialog(Answers{"Skip"});
    const CapturedOutput captured(STDERR_FILENO);
    EXPECT_FALSE(fail());
    const std::vector<std::string> arguments = dialog.argumentsOfCall(1);
    ASSERT_EQ(arguments.size(), 9u);
    EXPECT_EQ(
        (std::vector<std::string>(arguments.begin(), arguments.end() - 1)),
        (std::vector<std::string>{"-geometry", "800x400", "-title", own("Assertion Failed (pid = ") + ")",
                                  "-buttons", "Skip,Skip Always,Throw,Abort,Break", "-default", "Skip"}));
    EXPECT_EQ(arguments[8].find(own("Assertion failed in process ") +
                                "\n\nCondition: a == b\nUnknown state\n\nFile: Some.cpp\nLine: 42\n\n     "),
              0u);
    EXPECT_EQ(captured.text(), "");
}

TEST_F(AssertionDialogTest, ASkippedSiteAsksAgain) {
    const StandInDialog dialog(Answers{"Skip", "Skip"});
    reachSite();
    reachSite();
    EXPECT_EQ(dialog.callCount(), 2);
}

// A site stays ignored for good, so this test passes once in a process.
TEST_F(AssertionDialogTest, AfterSkipAlwaysTheSitePrintsAssertionIgnoredAndOpensNoDialog) {
    const StandInDialog dialog(Answers{"Skip Always", "Throw"});
    const CapturedOutput captured(STDERR_FILENO);
    const auto site = [] { BASE_FAIL("Unknown state"); };
    site();
    EXPECT_EQ(captured.text(), "");
    site();
    site();
    EXPECT_EQ(dialog.callCount(), 1);
    EXPECT_EQ(occurrences(captured.text(),
                          own("Assertion ignored: Assertion failed in process ") + "\n\nCondition: false\n"),
              2u);
    EXPECT_THROW(BASE_FAIL("Another site"), AssertionFailedException);
}

TEST_F(AssertionDialogTest, ThrowThrowsWhatNoAnswerToAnExceptionCatches) {
    const StandInDialog dialog(Answers{"Throw"});
    static_assert(!std::is_base_of_v<Exception, AssertionFailedException> &&
                  !std::is_base_of_v<std::exception, AssertionFailedException>);
    const CapturedOutput captured(STDERR_FILENO);
    EXPECT_THROW(reachSite(), AssertionFailedException);
    EXPECT_EQ(captured.text(), "");
}

TEST_F(AssertionDialogTest, AbortAborts) {
    const StandInDialog dialog(Answers{"Abort"});
    EXPECT_EXIT(reachSite(), testing::KilledBySignal(SIGABRT), "");
}

TEST_F(AssertionDialogTest, BreakTrapsAtTheSiteWhenTheDebuggerDialogIsDone) {
    const StandInDialog dialog(Answers{"Break", "Break"});
    EXPECT_EXIT(reachSite(), testing::KilledBySignal(SIGTRAP), "");
    EXPECT_EQ(titlesOf(dialog), "Assertion Failed\nAttach debugger\n");
}

TEST_F(AssertionDialogTest, ADebuggerThatWasAttachedIsRememberedAndAsksForDialogsByItself) {
    const StandInDialog dialog(Answers{"Break", "Break", "Break", "Skip"});
    EXPECT_EXIT(
        {
            const bool before = isDebuggerKnown();
            const bool first = fail();
            const bool after = isDebuggerKnown();
            const bool second = fail();
            const ScopedAssertionMode ask(AssertionMode::dialogIfInteractive);
            const bool third = fail();
            _exit(!before && first && after && second && !third ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
    EXPECT_EQ(titlesOf(dialog), "Assertion Failed\nAttach debugger\nAssertion Failed\nAssertion Failed\n");
}

TEST_F(AssertionDialogTest, TheDebuggerDialogTellsHowToAttachADebugger) {
    const StandInDialog dialog(Answers{"Abort"});
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    EXPECT_EXIT(
        {
            const pid_t pid = getpid();
            if (write(ends[1], &pid, sizeof pid) == sizeof pid)
                showDebuggerDialog();
        },
        testing::KilledBySignal(SIGABRT), "");
    pid_t pid = 0;
    EXPECT_EQ(read(ends[0], &pid, sizeof pid), static_cast<ssize_t>(sizeof pid));
    close(ends[0]);
    close(ends[1]);
    const Shown shown(dialog.argumentsOfCall(1));
    EXPECT_EQ(shown.title, "Attach debugger");
    EXPECT_EQ(shown.buttons, "Abort,Break,Launch Debugger");
    EXPECT_EQ(shown.text,
              "You can now attach a debugger to process " + std::to_string(pid) +
                  ":\n\nClick Break if you have manually attached a debugger to this process\n\nClick Launch "
                  "Debugger to launch a debugger and connect to this process.\n\nNote: Launch Debugger "
                  "requires that a script 'launch-debugger' be present on your path and accepts the pid as "
                  "first argument.");
}

TEST_F(AssertionDialogTest, LaunchDebuggerRunsTheScriptForThisProcessAndWaitsForTheUser) {
    const StandInDialog dialog(Answers{"Break", "Launch Debugger", "Ok"});
    writeScript(dialog.directory / "launch-debugger", "echo $1 $# $PPID >\"${0%/*}/launched\"");
    const ScopedEnvironment path("PATH", dialog.directory.path.c_str());
    EXPECT_EXIT(_exit(fail() && isDebuggerKnown() ? 0 : 1), testing::ExitedWithCode(0), "");
    int launchedFor = 0;
    int argumentCount = 0;
    int parent = -1;
    EXPECT_TRUE(eventually([&] {
        std::ifstream file(dialog.directory / "launched");
        return static_cast<bool>(file >> launchedFor >> argumentCount >> parent);
    }));
    EXPECT_EQ(argumentCount, 1);
    EXPECT_EQ(titlesOf(dialog), "Assertion Failed\nAttach debugger\nWaiting for debugger to connect\n");
    const Shown shown(dialog.argumentsOfCall(3));
    EXPECT_EQ(shown.text, "Click ok once the debugger has attached itself");
    EXPECT_EQ(shown.buttons, "Ok,Cancel");
    EXPECT_EQ(Shown(dialog.argumentsOfCall(2))
                  .text.find("You can now attach a debugger to process " + std::to_string(launchedFor) + ":"),
              0u);
}

TEST_F(AssertionDialogTest, WhoCancelsTheWaitForADebuggerIsAskedAgain) {
    const StandInDialog dialog(Answers{"Launch Debugger", "Cancel", "Abort"});
    writeScript(dialog.directory / "launch-debugger", "exit 0");
    const ScopedEnvironment path("PATH", dialog.directory.path.c_str());
    EXPECT_EXIT(showDebuggerDialog(), testing::KilledBySignal(SIGABRT), "");
    EXPECT_EQ(titlesOf(dialog), "Attach debugger\nWaiting for debugger to connect\nAttach debugger\n");
}

TEST_F(AssertionDialogTest, WithoutTheScriptLaunchingTheDebuggerFails) {
    const StandInDialog dialog(Answers{"Launch Debugger"});
    const ScopedEnvironment path("PATH", dialog.directory.path.c_str());
    EXPECT_EQ(failureText<ProcessException>(showDebuggerDialog), "Error launching debugger");
    EXPECT_FALSE(isDebuggerKnown());
}

TEST_F(AssertionDialogTest, ADebuggerThatCannotBeForkedIsAFailure) {
    const AnsweredDialog launch(2);
    const FailingCall failing(LibraryCall::fork);
    EXPECT_EQ(failureText<ProcessException>(showDebuggerDialog), "Error forking child process");
}

TEST_F(AssertionDialogTest, AChoiceThatTheDebuggerDialogDoesNotHaveIsAFailure) {
    const AnsweredDialog unknown(3);
    EXPECT_EQ(failureText<ProcessException>(showDebuggerDialog), "Invalid choice chosen: 3");
}

TEST_F(AssertionDialogTest, AChoiceThatTheDialogDoesNotHaveIsAFailure) {
    const AnsweredDialog unknown(5);
    const CapturedOutput captured(STDERR_FILENO);
    EXPECT_EQ(failureText<ProcessException>(fail), "Unknown option chosen");
}

TEST_F(AssertionDialogTest, AReportWhoseDialogFailsIsPrinted) {
    const ScopedEnvironment display("DISPLAY", ":0");
    const ScopedEnvironment command("MESSAGE_DIALOG_COMMAND", "/no/such/command");
    const CapturedOutput captured(STDERR_FILENO);
    EXPECT_EQ(failureText<ProcessException>(reachSite),
              "Error invoking /no/such/command: No such file or directory");
    EXPECT_EQ(captured.text().find(own("Assertion failed in process ")), 0u);
}

TEST_F(AssertionDialogTest, ADialogBlocksOnlyTheThreadOfTheFailedAssertion) {
    const StandInDialog dialog("cd \"${0%/*}\"; : >open; read answer <answer; echo \"$answer\"");
    ASSERT_EQ(mkfifo((dialog.directory / "answer").c_str(), 0600), 0);
    bool thrown = false;
    std::thread blocked([&] {
        try {
            reachSite();
        } catch (const AssertionFailedException&) {
            thrown = true;
        }
    });
    EXPECT_TRUE(eventually([&] { return std::filesystem::exists(dialog.directory / "open"); }));
    {
        // All that another thread may want of the same site and its dialogs meanwhile.
        const CapturedOutput captured(STDERR_FILENO);
        const ScopedAssertionMode none(AssertionMode::noDialog);
        reachSite();
        EXPECT_EQ(occurrences(captured.text(), "Assertion failed in process"), 1u);
        const StandInDialog other(Answers{"Skip"});
        const ScopedAssertionMode again(AssertionMode::dialog);
        reachSite();
        EXPECT_EQ(other.callCount(), 1);
    }
    std::ofstream(dialog.directory / "answer") << "Throw\n";
    blocked.join();
    EXPECT_TRUE(thrown);
}

// Likewise.
TEST_F(AssertionDialogTest, ThreadsThatReachASiteTogetherAllHeedSkipAlways) {
    const StandInDialog dialog("echo Skip Always; echo >>\"${0%/*}/calls\"");
    const CapturedOutput captured(STDERR_FILENO);
    constexpr size_t threadCount = 4;
    constexpr size_t rounds = 20;
    std::latch ready(threadCount);
    std::vector<std::thread> threads;
    for (size_t i = 0; i < threadCount; ++i)
        threads.emplace_back([&] {
            ready.arrive_and_wait();
            for (size_t round = 0; round < rounds; ++round)
                BASE_FAIL("Unknown state");
        });
    for (std::thread& thread : threads)
        thread.join();
    const auto dialogs = static_cast<size_t>(std::filesystem::file_size(dialog.directory / "calls"));
    EXPECT_GE(dialogs, 1u);
    EXPECT_LE(dialogs, threadCount);
    EXPECT_EQ(occurrences(captured.text(), "Assertion ignored: "), threadCount * rounds - dialogs);
}

/// Whether a failed assertion opens a dialog now.
bool opensDialog() {
    const StandInDialog dialog(Answers{"Skip"});
    const CapturedOutput captured(STDERR_FILENO);
    EXPECT_FALSE(fail());
    const bool printed = captured.text().find("Assertion failed in process ") == 0;
    EXPECT_NE(printed, dialog.callCount() == 1);
    return !printed;
}

TEST(AssertionModeTest, WithoutAModeTheEnvironmentDecides) {
    EXPECT_EQ(ScopedAssertionMode::current(), AssertionMode::dialogIfInteractive);
    for (const char* value : {"false", "TRUE", "1", "", "true "}) {
        const ScopedEnvironment environment("INTERACTIVE_ASSERTS", value);
        EXPECT_FALSE(opensDialog()) << value;
    }
    {
        const ScopedEnvironment environment("INTERACTIVE_ASSERTS", nullptr);
        EXPECT_FALSE(opensDialog());
    }
    const ScopedEnvironment environment("INTERACTIVE_ASSERTS", "true");
    EXPECT_TRUE(opensDialog());
}

TEST(AssertionModeTest, TheModeThatWasEnteredLastDecidesWhateverTheEnvironmentSays) {
    const ScopedEnvironment environment("INTERACTIVE_ASSERTS", "true");
    const ScopedAssertionMode none(AssertionMode::noDialog);
    EXPECT_FALSE(opensDialog());
    {
        const ScopedAssertionMode dialog(AssertionMode::dialog);
        EXPECT_TRUE(opensDialog());
        const ScopedAssertionMode noneAgain(AssertionMode::noDialog);
        EXPECT_FALSE(opensDialog());
    }
    EXPECT_FALSE(opensDialog());
}

TEST(AssertionModeTest, AnyOtherModeLeavesItToTheEnvironment) {
    const ScopedAssertionMode dialog(AssertionMode::dialog);
    for (const int32_t value : {-1, 1, 3}) {
        const ScopedAssertionMode other(static_cast<AssertionMode>(value));
        const ScopedEnvironment environment("INTERACTIVE_ASSERTS", nullptr);
        EXPECT_FALSE(opensDialog()) << value;
        const ScopedEnvironment interactive("INTERACTIVE_ASSERTS", "true");
        EXPECT_TRUE(opensDialog()) << value;
    }
}

TEST(AssertionModeTest, ScopesEndInAnyOrderOnAnyThread) {
    auto first = std::make_unique<ScopedAssertionMode>(AssertionMode::noDialog);
    std::unique_ptr<ScopedAssertionMode> second;
    std::thread([&] { second = std::make_unique<ScopedAssertionMode>(AssertionMode::dialog); }).join();
    EXPECT_EQ(ScopedAssertionMode::current(), AssertionMode::dialog);
    first.reset();
    EXPECT_EQ(ScopedAssertionMode::current(), AssertionMode::dialog);
    std::thread([&] { second.reset(); }).join();
    EXPECT_EQ(ScopedAssertionMode::current(), AssertionMode::dialogIfInteractive);
}

TEST(AssertionModeTest, ThreadsEnterAndLeaveModesSideBySide) {
    constexpr int threadCount = 4;
    std::latch ready(threadCount);
    std::vector<std::thread> threads;
    for (int i = 0; i < threadCount; ++i)
        threads.emplace_back([&] {
            ready.arrive_and_wait();
            for (int round = 0; round < 500; ++round) {
                const ScopedAssertionMode none(AssertionMode::noDialog);
                EXPECT_EQ(ScopedAssertionMode::current(), AssertionMode::noDialog);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(ScopedAssertionMode::current(), AssertionMode::dialogIfInteractive);
}

/// A run of the program whose assertion fails, with `arguments` before its path.
struct FailedAssertion {
    explicit FailedAssertion(std::vector<String> arguments) {
        const CapturedOutput outputs(STDOUT_FILENO);
        const CapturedOutput errors(STDERR_FILENO);
        arguments.emplace_back(FAILED_ASSERTION_PROGRAM);
        const Ref<ChildProcess> child(new ChildProcess);
        child->launch(arguments);
        status = child->waitForExit();
        output = outputs.text();
        error = errors.text();
    }

    int status;
    std::string output;
    std::string error;
};

TEST(DebuggerTest, AProgramThatIsStartedByItselfHasNoDebuggerAndOpensNoDialog) {
    const ScopedEnvironment environment("INTERACTIVE_ASSERTS", nullptr);
    const StandInDialog dialog(Answers{"Break"});
    const FailedAssertion failed({});
    EXPECT_EQ(failed.output, "No debugger is attached\nThe program went on\n");
    EXPECT_EQ(failed.status, 0) << failed.error;
    EXPECT_EQ(dialog.callCount(), 0);
}

TEST(DebuggerTest, AnAttachedDebuggerIsSeenAsksForTheDialogAndGetsTheBreak) {
    const ScopedEnvironment environment("INTERACTIVE_ASSERTS", nullptr);
    // The search for leaks doesn't work under a debugger.
    const ScopedEnvironment leaks("ASAN_OPTIONS", "detect_leaks=0");
    const StandInDialog dialog(Answers{"Break"});
    const FailedAssertion failed({"gdb", "-nx", "-batch", "-iex", "set debuginfod enabled off", "-ex", "run",
                                  "-ex", "backtrace 1", "-ex", "continue", "--args"});
    const std::string& output = failed.output;
    ASSERT_EQ((output + failed.error).find("Could not trace the inferior process"), std::string::npos)
        << "this machine lets nobody follow a process: " << output << failed.error;
    EXPECT_NE(output.find("A debugger is attached\n"), std::string::npos) << output;
    EXPECT_NE(output.find("SIGTRAP"), std::string::npos) << output;
    EXPECT_THAT(output, testing::ContainsRegex("#0 .*main \\(\\)"));
    EXPECT_NE(output.find("The program went on\n"), std::string::npos) << output;
    EXPECT_EQ(failed.status, 0) << failed.error;
    EXPECT_EQ(titlesOf(dialog), "Assertion Failed\n");
}

} // namespace
