#include "core/Debugger.h"

#include "core/Exception.h"
#include "core/FileDescriptor.h"
#include "core/MessageDialog.h"
#include "core/Shared.h"
#include "core/StartProgram.h"

#include <cstdlib>
#include <fcntl.h>
#include <string_view>
#include <unistd.h>

namespace base::core {
namespace {

Relaxed<bool> debuggerKnown = isDebuggerAttached();

int32_t ask(const String& title, const String& text, const std::vector<String>& buttons,
            int32_t defaultButton) {
    return showMessageDialog(title, text, buttons, defaultButton, 800, 400);
}

/// The program isn't waited for, as it may be the debugger: its zombie goes with this process.
void launchDebugger() {
    const auto pid = String::fromInteger(static_cast<int32_t>(getpid()));
    const StartedProgram debugger = startProgram({"launch-debugger", pid}, STDOUT_FILENO);
    if (debugger.pid < 0)
        throw ProcessException("Error forking child process");
    if (debugger.failure != 0)
        throw ProcessException("Error launching debugger");
}

/// Asks once. False if the user asks to be asked again.
bool attachDebugger() {
    enum Choice { abortProcess, breakAtOnce, launch };
    const int32_t choice = ask(
        "Attach debugger",
        concat("You can now attach a debugger to process ", static_cast<int32_t>(getpid()),
               ":\n\nClick Break if you have manually attached a debugger to this process\n\nClick Launch "
               "Debugger to launch a debugger and connect to this process.\n\nNote: Launch Debugger "
               "requires that a script 'launch-debugger' be present on your path and accepts the pid as "
               "first argument."),
        {"Abort", "Break", "Launch Debugger"}, launch);
    switch (choice) {
    case abortProcess:
        std::abort();
    case breakAtOnce:
        return true;
    case launch:
        launchDebugger();
        return ask("Waiting for debugger to connect", "Click ok once the debugger has attached itself",
                   {"Ok", "Cancel"}, 0) == 0;
    default:
        throw ProcessException(concat("Invalid choice chosen: ", choice));
    }
}

} // namespace

// By bare system calls: every program pays for it at its start.
bool isDebuggerAttached() {
    constexpr std::string_view label = "TracerPid:";
    const FileDescriptor file(open("/proc/self/status", O_RDONLY | O_CLOEXEC));
    char text[2048];
    const ssize_t size = read(file.get(), text, sizeof text);
    const std::string_view status(text, size > 0 ? static_cast<size_t>(size) : 0);
    const size_t place = status.find(label);
    if (place == std::string_view::npos)
        return false;
    const size_t number = status.find_first_not_of(" \t", place + label.size());
    return number != std::string_view::npos && status[number] != '0';
}

bool isDebuggerKnown() {
    return debuggerKnown;
}

void showDebuggerDialog() {
    while (!attachDebugger()) {
    }
    debuggerKnown = true;
}

} // namespace base::core
