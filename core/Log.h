#pragma once

#include "core/ReadableText.h"
#include "core/String.h"

namespace base::core {

/// Where a line of the log goes: failures and warnings to stderr, progress to stdout.
enum class LogLevel { error, progress };

/// Writes a line of the log: the text as UTF-8 and a line feed, handed to the system in one `write`, so that
/// lines of several threads, and of processes that share a terminal, a file or a pipe, don't mix (on a pipe
/// up to `PIPE_BUF` bytes). Never throws: a line that can't be written is dropped, without an effect on later
/// ones. Blocks as `write` does. Any thread but a real-time one.
void writeLogLine(LogLevel level, const String& line) noexcept;

/// The same without the line feed.
void writeLogText(LogLevel level, const String& text) noexcept;

/// Replaces a line that there is no memory for.
void writeLostLogLine(LogLevel level) noexcept;

/// Logs a failure or a warning, composed as by `concatReadable`. Never throws. Any thread but a real-time
/// one.
template <class... Parts>
void logError(const Parts&... parts) noexcept {
    try {
        writeLogLine(LogLevel::error, concatReadable(parts...));
    } catch (...) {
        writeLostLogLine(LogLevel::error);
    }
}

/// Logs progress, as `logError`.
template <class... Parts>
void logProgress(const Parts&... parts) noexcept {
    try {
        writeLogLine(LogLevel::progress, concatReadable(parts...));
    } catch (...) {
        writeLostLogLine(LogLevel::progress);
    }
}

} // namespace base::core
