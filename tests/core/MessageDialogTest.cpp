// Message dialogs: a developer who clicks "Skip" and gets "Abort", or whose dialog hangs the program, loses
// the session that was to be debugged.

#include "core/MessageDialog.h"

#include "FailingCalls.h"
#include "StandInDialog.h"
#include "support/FailureText.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

using namespace base::core;
using namespace core_tests;
using namespace test_support;

namespace {

int32_t ask(const std::vector<String>& buttons) {
    return showMessageDialog("Question", "Which one?", buttons, 0, 300, 200);
}

const std::vector<String> yesOrNo = {"Yes", "No"};

std::string failureOfDialog() {
    return failureText<ProcessException>([] { ask(yesOrNo); });
}

/// A terminal, and what its user types.
class PseudoTerminal {
public:
    explicit PseudoTerminal(const std::string& typed) : user(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
        char name[64];
        if (grantpt(user) != 0 || unlockpt(user) != 0 || ptsname_r(user, name, sizeof name) != 0)
            throw std::runtime_error("no pseudo-terminal");
        program = open(name, O_RDWR | O_NOCTTY | O_CLOEXEC);
        if (program < 0 || write(user, typed.data(), typed.size()) != static_cast<ssize_t>(typed.size()))
            throw std::runtime_error("no pseudo-terminal");
    }
    ~PseudoTerminal() {
        close(program);
        close(user);
    }
    PseudoTerminal(const PseudoTerminal&) = delete;
    PseudoTerminal& operator=(const PseudoTerminal&) = delete;

    int user;
    int program = -1;
};

/// Ends the process with the choice; the standard output goes to the standard error stream, where a test
/// looks.
[[noreturn]] void askOn(int input, const std::vector<String>& buttons) {
    dup2(input, STDIN_FILENO);
    dup2(STDERR_FILENO, STDOUT_FILENO);
    try {
        _exit(ask(buttons));
    } catch (const Exception& failure) {
        dprintf(STDERR_FILENO, "%s\n", failure.getMessage().toStdString().c_str());
    }
    _exit(255);
}

TEST(MessageDialogTest, TheCommandGetsGeometryTitleButtonsDefaultAndTextInThisOrder) {
    const StandInDialog dialog(std::vector<std::string>{"Maybe so"});
    EXPECT_EQ(
        showMessageDialog("Na\xC3\xAFve", "Two\nlines, 'quoted'", {"Yes", "No", "Maybe so"}, 1, 640, 480), 2);
    EXPECT_EQ(dialog.argumentsOfCall(1),
              (std::vector<std::string>{"-geometry", "640x480", "-title",
                                        "Na\xC3\xAFve (pid = " + std::to_string(getpid()) + ")", "-buttons",
                                        "Yes,No,Maybe so", "-default", "No", "Two\nlines, 'quoted'"}));
}

TEST(MessageDialogTest, TheLabelThatTheCommandPrintsIsTheChoice) {
    const StandInDialog dialog(std::vector<std::string>{"Yes", "No", "Yes"});
    EXPECT_EQ(ask(yesOrNo), 0);
    EXPECT_EQ(ask(yesOrNo), 1);
    EXPECT_EQ(ask(yesOrNo), 0);
}

TEST(MessageDialogTest, ALabelNeedsNoLineEndAndLaterLinesDoNotCount) {
    {
        const StandInDialog dialog("printf No");
        EXPECT_EQ(ask(yesOrNo), 1);
    }
    const StandInDialog dialog("echo No; echo Yes");
    EXPECT_EQ(ask(yesOrNo), 1);
}

TEST(MessageDialogTest, WithoutATitleItIsTheDebugMessageDialog) {
    const StandInDialog dialog(std::vector<std::string>{"Yes"});
    showMessageDialog("", "Which one?", yesOrNo, 0, 300, 200);
    const std::vector<std::string> arguments = dialog.argumentsOfCall(1);
    ASSERT_EQ(arguments.size(), 9u);
    EXPECT_EQ(arguments[3], "Debug Message Dialog (pid = " + std::to_string(getpid()) + ")");
}

TEST(MessageDialogTest, WithoutANamedCommandItIsQmessageOnThePath) {
    const StandInDialog dialog("echo Yes");
    writeScript(dialog.directory / "qmessage", "echo No");
    const ScopedEnvironment command("MESSAGE_DIALOG_COMMAND", nullptr);
    const ScopedEnvironment path("PATH", dialog.directory.path.c_str());
    EXPECT_EQ(ask(yesOrNo), 1);
}

TEST(MessageDialogTest, TheProcessOfTheCommandIsReapedWhateverItsEnd) {
    {
        const StandInDialog dialog("echo No");
        EXPECT_EQ(ask(yesOrNo), 1);
    }
    const StandInDialog dialog("exit 1");
    failureOfDialog();
    const ScopedEnvironment command("MESSAGE_DIALOG_COMMAND", "/no/such/command");
    failureOfDialog();
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

TEST(MessageDialogTest, ACommandThatCannotBeForkedIsAFailure) {
    const StandInDialog dialog("echo Yes");
    const FailingCall failing(LibraryCall::fork);
    EXPECT_EQ(failureOfDialog(), "Could not fork child process");
}

TEST(MessageDialogTest, ACommandThatCannotBeExecutedIsAFailureInTheSystemsWords) {
    const StandInDialog dialog("echo Yes");
    const ScopedEnvironment command("MESSAGE_DIALOG_COMMAND", "/no/such/command");
    EXPECT_EQ(failureOfDialog(), "Error invoking /no/such/command: No such file or directory");
    const std::string script = dialog.directory / "dialog";
    std::filesystem::permissions(script, std::filesystem::perms::none);
    const ScopedEnvironment forbidden("MESSAGE_DIALOG_COMMAND", script.c_str());
    EXPECT_EQ(failureOfDialog(), "Error invoking " + script + ": Permission denied");
}

TEST(MessageDialogTest, ACommandThatASignalEndsIsAFailureEvenWithAnAnswer) {
    const StandInDialog dialog("echo Yes; kill -TERM $$");
    EXPECT_EQ(failureOfDialog(), "Process did not exit normally");
}

TEST(MessageDialogTest, ABadExitCodeIsAFailureEvenWithAnAnswer) {
    const StandInDialog dialog("echo Yes; exit 3");
    EXPECT_EQ(failureOfDialog(), (dialog.directory / "dialog") + " returned a bad exit code");
}

TEST(MessageDialogTest, AnAnswerThatIsNoLabelIsAFailure) {
    {
        const StandInDialog dialog("echo yes");
        EXPECT_EQ(failureOfDialog(), "Invalid choice: yes");
    }
    const StandInDialog dialog("exit 0");
    EXPECT_EQ(failureOfDialog(), "Invalid choice: ");
}

TEST(MessageDialogTest, WithoutDescriptorsForThePipeItIsAFailure) {
    const StandInDialog dialog("echo Yes");
    const FailingCall failing(LibraryCall::pipe2);
    EXPECT_EQ(failureOfDialog(), "Could not open pipe to child process: Too many open files");
}

TEST(MessageDialogTest, OnATerminalWithoutADisplayTheChoiceIsTyped) {
    const StandInDialog dialog("echo Yes");
    const ScopedEnvironment display("DISPLAY", nullptr);
    const PseudoTerminal terminal("1\n");
    EXPECT_EXIT(askOn(terminal.program, yesOrNo), testing::ExitedWithCode(1),
                "^Question\nWhich one\\?\n    0: Yes\n    1: No\n$");
}

TEST(MessageDialogTest, ATerminalAsksUntilItGetsAValidChoice) {
    const ScopedEnvironment display("DISPLAY", nullptr);
    const PseudoTerminal terminal("\nNo\n2\n-1\n 1 \n");
    EXPECT_EXIT(askOn(terminal.program, yesOrNo), testing::ExitedWithCode(1),
                "    1: No\n"
                "Please enter a valid choice\nPlease enter a valid choice\n"
                "Please enter a valid choice\nPlease enter a valid choice\n$");
}

TEST(MessageDialogTest, ATerminalWithNoChoiceToMakeWaitsForEnter) {
    const ScopedEnvironment display("DISPLAY", nullptr);
    const PseudoTerminal terminal("whatever\n");
    EXPECT_EXIT(askOn(terminal.program, {"Ok"}), testing::ExitedWithCode(0),
                "^Question\nWhich one\\?\nPress enter to continue\n$");
}

TEST(MessageDialogTest, TheEndOfATerminalsInputIsAFailure) {
    const ScopedEnvironment display("DISPLAY", nullptr);
    const char endOfInput = 4;
    const PseudoTerminal terminal({endOfInput});
    EXPECT_EXIT(askOn(terminal.program, yesOrNo), testing::ExitedWithCode(255), "\nEnd of stream\n$");
}

TEST(MessageDialogTest, WithADisplayATerminalIsNotAsked) {
    const StandInDialog dialog("echo No");
    const PseudoTerminal terminal("0\n");
    EXPECT_EXIT(askOn(terminal.program, yesOrNo), testing::ExitedWithCode(1), "^$");
}

TEST(MessageDialogTest, WithoutADisplayAnInputThatIsNoTerminalIsNotAsked) {
    const StandInDialog dialog("echo No");
    const ScopedEnvironment display("DISPLAY", nullptr);
    const int null = open("/dev/null", O_RDONLY | O_CLOEXEC);
    EXPECT_EXIT(askOn(null, yesOrNo), testing::ExitedWithCode(1), "^$");
    close(null);
}

} // namespace
