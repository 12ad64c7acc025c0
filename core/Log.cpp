#include "core/Log.h"

#include "core/StdStreams.h"

#include <string>

namespace base::core {
namespace {

StdOutputStream& console(LogLevel level) {
    return level == LogLevel::error ? standardError() : standardOutput();
}

} // namespace

void writeLogLine(LogLevel level, const String& line) noexcept {
    try {
        console(level).writeLogText(line.toStdString() + '\n');
    } catch (...) {
        writeLostLogLine(level);
    }
}

void writeLogText(LogLevel level, const String& text) noexcept {
    try {
        console(level).writeLogText(text.toStdString());
    } catch (...) {
        writeLostLogLine(level);
    }
}

void writeLostLogLine(LogLevel level) noexcept {
    try {
        console(level).writeLogText("A line of the log is lost for want of memory\n");
    } catch (...) {
        // No memory for the console: the line is dropped.
    }
}

} // namespace base::core
