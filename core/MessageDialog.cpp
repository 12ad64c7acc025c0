#include "core/MessageDialog.h"

#include "core/Environment.h"
#include "core/Exception.h"
#include "core/FileDescriptor.h"
#include "core/Number.h"
#include "core/StartProgram.h"
#include "core/StdStreams.h"

#include <cerrno>
#include <cstddef>
#include <ext/stdio_filebuf.h>
#include <istream>
#include <mutex>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace base::core {
namespace {

using Buttons = std::vector<String>;

// One dialog at a time on the terminal. Not a `Mutex`: failing to make one is a failed assertion, which would
// open a dialog.
constinit std::mutex terminalLock;

String joinLabels(const Buttons& buttons) {
    StringBuilder labels;
    for (const String& button : buttons) {
        if (labels.length() > 0)
            labels.append(",");
        labels.append(button);
    }
    return labels.toString();
}

/// The first line of a program's output, with or without a line feed.
std::string readFirstLine(InputStream& stream) {
    std::string line;
    for (char byte; stream.read(&byte, 1) == 1 && byte != '\n';)
        line += byte;
    return line;
}

/// Runs a program and returns what it prints.
String runDialogProgram(const std::vector<String>& arguments) {
    const PipeEnds ends = openPipe();
    __gnu_cxx::stdio_filebuf<char> pipe(ends.reader, std::ios::in);
    FileDescriptor writer(ends.writer);
    const String& command = arguments.front();
    const auto [pid, failure] = startProgram(arguments, ends.writer);
    writer.close();
    if (pid < 0)
        throw ProcessException("Could not fork child process");
    if (failure != 0) {
        errno = failure;
        throw ProcessException(concat("Error invoking ", command, ": ", lastErrorMessage()));
    }
    std::istream output(&pipe);
    StdInputStream stream(&output);
    const std::string answer = readFirstLine(stream);
    const int status = waitForProgram(pid);
    if (!WIFEXITED(status))
        throw ProcessException("Process did not exit normally");
    if (WEXITSTATUS(status) != 0)
        throw ProcessException(concat(command, " returned a bad exit code"));
    return answer.c_str();
}

int32_t askByProgram(const String& title, const String& text, const Buttons& buttons, int32_t defaultButton,
                     int32_t width, int32_t height) {
    bool found = false;
    const String named = getEnvironmentVariable("MESSAGE_DIALOG_COMMAND", &found);
    const String answer = runDialogProgram(
        {found ? named : "qmessage", "-geometry", concat(width, "x", height), "-title",
         concat(title, " (pid = ", static_cast<int32_t>(getpid()), ")"), "-buttons", joinLabels(buttons),
         "-default", buttons[static_cast<size_t>(defaultButton)], text});
    for (size_t i = 0; i < buttons.size(); ++i) {
        if (buttons[i] == answer)
            return static_cast<int32_t>(i);
    }
    throw ProcessException(concat("Invalid choice: ", answer));
}

/// -1 for what is no number.
int32_t readNumber() {
    try {
        return parseInt(standardInput().readLine());
    } catch (const NumberFormatException&) {
        return -1;
    }
}

int32_t askOnTerminal(const String& title, const String& text, const Buttons& buttons) {
    const std::scoped_lock lock(terminalLock);
    OutputStream& terminal = standardOutput();
    const auto count = static_cast<int32_t>(buttons.size());
    terminal.printLine(title);
    terminal.printLine(text);
    if (count < 2) {
        terminal.printLine("Press enter to continue");
        standardInput().readLine();
        return 0;
    }
    for (int32_t i = 0; i < count; ++i)
        terminal.printLine(concat("    ", i, ": ", buttons[static_cast<size_t>(i)]));
    for (;;) {
        const int32_t choice = readNumber();
        if (choice >= 0 && choice < count)
            return choice;
        terminal.printLine("Please enter a valid choice");
    }
}

} // namespace

int32_t showMessageDialog(const String& title, const String& text, const std::vector<String>& buttons,
                          int32_t defaultButton, int32_t width, int32_t height) {
    const String shownTitle = title.isEmpty() ? "Debug Message Dialog" : title;
    if (getEnvironmentVariable("DISPLAY").isEmpty() && isatty(STDIN_FILENO) != 0)
        return askOnTerminal(shownTitle, text, buttons);
    return askByProgram(shownTitle, text, buttons, defaultButton, width, height);
}

} // namespace base::core
