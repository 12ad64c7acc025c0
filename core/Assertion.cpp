#include "core/Assertion.h"

#include "core/AssertionMode.h"
#include "core/Debugger.h"
#include "core/Exception.h"
#include "core/Log.h"
#include "core/MessageDialog.h"
#include "core/ReadableText.h"

#include <cstdlib>
#include <execinfo.h>
#include <memory>
#include <string_view>
#include <unistd.h>

namespace base::core {
namespace {

void appendStack(StringBuilder& text) {
    constexpr int maxFrames = 64;
    void* frames[maxFrames];
    const int count = backtrace(frames, maxFrames);
    const std::unique_ptr<char*, void (*)(void*)> symbols(backtrace_symbols(frames, count), std::free);
    for (int i = 0; symbols != nullptr && i < count; ++i) {
        text.append("     ");
        appendReadable(text, symbols.get()[i]);
        text.append("\n");
    }
}

void appendReport(StringBuilder& text, const String& message, const String& condition, const char* file,
                  int32_t line) {
    text.append("Assertion failed in process ");
    text.append(static_cast<int32_t>(getpid()));
    text.append("\n\nCondition: ");
    text.append(condition);
    text.append("\n");
    text.append(message);
    text.append("\n\nFile: ");
    appendReadable(text, file);
    text.append("\nLine: ");
    text.append(line);
    text.append("\n\n");
    appendStack(text);
}

bool wantsDialog() {
    switch (ScopedAssertionMode::current()) {
    case AssertionMode::noDialog:
        return false;
    case AssertionMode::dialog:
        return true;
    default:
        break;
    }
    const char* interactive = std::getenv("INTERACTIVE_ASSERTS");
    return isDebuggerKnown() || (interactive != nullptr && std::string_view(interactive) == "true");
}

/// True if the caller has to break into the debugger.
bool letUserDecide(const String& report, bool* ignored) {
    enum Choice { skip, skipAlways, throwException, abortProcess, breakIntoDebugger };
    switch (showMessageDialog("Assertion Failed", report, {"Skip", "Skip Always", "Throw", "Abort", "Break"},
                              skip, 800, 400)) {
    case skip:
        return false;
    case skipAlways:
        std::atomic_ref(*ignored).store(true, std::memory_order_relaxed);
        return false;
    case throwException:
        throw AssertionFailedException();
    case abortProcess:
        std::abort();
    case breakIntoDebugger:
        if (!isDebuggerKnown())
            showDebuggerDialog();
        return true;
    default:
        throw ProcessException("Unknown option chosen");
    }
}

} // namespace

bool assertionFailed(const String& message, const String& condition, const char* file, int32_t line,
                     bool* ignored) {
    StringBuilder text;
    appendReport(text, message, condition, file, line);
    if (!wantsDialog()) {
        logError(text);
        return false;
    }
    try {
        return letUserDecide(text.toString(), ignored);
    } catch (const Exception&) {
        // The dialog may have failed before it showed the report.
        logError(text);
        throw;
    }
}

void reportIgnoredAssertion(const String& message, const String& condition, const char* file, int32_t line) {
    StringBuilder text("Assertion ignored: ");
    appendReport(text, message, condition, file, line);
    logError(text);
}

} // namespace base::core
