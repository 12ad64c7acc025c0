#pragma once

#include "core/Object.h"
#include "core/ReadableText.h"
#include "core/Ref.h"
#include "core/String.h"

#include <string_view>

namespace base::core {

/// Where a line of the log goes: failures and warnings to stderr, progress to stdout.
enum class LogLevel { error, progress };

/// Takes the lines of the log that threads write, in the place of the standard streams.
class LogReceiver : public Object {
public:
    ~LogReceiver() override;

    /// `text` is UTF-8, a line without its line feed, or a part of one. Any thread, several at once; never
    /// throws.
    virtual void receive(LogLevel level, std::string_view text) noexcept = 0;

    /// The receiver of the calling thread, which each `Thread` takes over from the one that starts it; null
    /// stands for the standard streams.
    static LogReceiver* getCurrent();
};

/// Makes `receiver` that of the calling thread for a scope.
class ScopedLogReceiver : public NonCopyable, public NonMovable {
public:
    explicit ScopedLogReceiver(const Ref<LogReceiver>& receiver);
    ~ScopedLogReceiver();

private:
    Ref<LogReceiver> receiver;
    LogReceiver* former;
};

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
