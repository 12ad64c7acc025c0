#include "core/Log.h"

#include "core/StdStreams.h"

#include <string>

namespace base::core {
namespace {

constinit thread_local LogReceiver* current = nullptr;

StdOutputStream& console(LogLevel level) {
    return level == LogLevel::error ? standardError() : standardOutput();
}

} // namespace

LogReceiver::~LogReceiver() = default;

LogReceiver* LogReceiver::getCurrent() {
    return current;
}

ScopedLogReceiver::ScopedLogReceiver(const Ref<LogReceiver>& receiver) : receiver(receiver), former(current) {
    current = receiver.get();
}

ScopedLogReceiver::~ScopedLogReceiver() {
    current = former;
}

void writeLogLine(LogLevel level, const String& line) noexcept {
    try {
        if (current != nullptr)
            current->receive(level, line.toStdString());
        else
            console(level).writeLogText(line.toStdString() + '\n');
    } catch (...) {
        writeLostLogLine(level);
    }
}

void writeLogText(LogLevel level, const String& text) noexcept {
    try {
        if (current != nullptr)
            current->receive(level, text.toStdString());
        else
            console(level).writeLogText(text.toStdString());
    } catch (...) {
        writeLostLogLine(level);
    }
}

void writeLostLogLine(LogLevel level) noexcept {
    constexpr std::string_view text = "A line of the log is lost for want of memory\n";
    try {
        if (current != nullptr)
            current->receive(level, text.substr(0, text.size() - 1));
        else
            console(level).writeLogText(std::string(text));
    } catch (...) {
        // No memory for the console: the line is dropped.
    }
}

} // namespace base::core
