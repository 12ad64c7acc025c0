#include "core/Debugger.h"

#include "core/Exception.h"
#include "core/MessageDialog.h"
#include "core/Number.h"
#include "core/Shared.h"
#include "core/StartProgram.h"

#include <cstdlib>
#include <fstream>
#include <string>
#include <unistd.h>

namespace base::core {
namespace {

Relaxed<bool> debuggerKnown = isDebuggerAttached();

int32_t ask(const String& title, const String& text, const std::vector<String>& buttons,
            int32_t defaultButton) {
    return showMessageDialog(title, text, buttons, defaultButton, 800, 400);
}

/// The program is left to itself, as it may be the debugger: what remains of it goes with this process.
void launchDebugger() {
    const auto pid = String::fromInteger(static_cast<int32_t>(getpid()));
    const StartedProgram debugger = startProgram({"launch-debugger", pid}, STDOUT_FILENO);
    if (debugger.pid < 0)
        throw ProcessException("Error forking child process");
    if (debugger.failure != 0)
        throw ProcessException("Error launching debugger");
}

/// Asks once. False if the user would rather be asked again than wait on.
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

bool isDebuggerAttached() {
    const std::string label = "TracerPid:";
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(label))
            return parseInt(line.substr(label.size()).c_str()) != 0;
    }
    return false;
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
