#include "core/Assertion.h"

#include "core/StdStreams.h"

#include <cstdlib>
#include <execinfo.h>
#include <memory>
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
        text.append(symbols.get()[i]);
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
    text.append(file);
    text.append("\nLine: ");
    text.append(line);
    text.append("\n\n");
    appendStack(text);
}

} // namespace

bool assertionFailed(const String& message, const String& condition, const char* file, int32_t line, bool*) {
    StringBuilder text;
    appendReport(text, message, condition, file, line);
    standardError().printLine(text);
    return false;
}

void reportIgnoredAssertion(const String& message, const String& condition, const char* file, int32_t line) {
    StringBuilder text("Assertion ignored: ");
    appendReport(text, message, condition, file, line);
    standardError().printLine(text);
}

} // namespace base::core
