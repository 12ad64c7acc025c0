#include "library/SessionContext.h"

#include <poll.h>
#include <unistd.h>

namespace client_library {
namespace {

constexpr int32_t mostWaitingLines = 10'000;
constexpr int consolePatience = 1000; // milliseconds

// Dropped if the stream has no reader: hosts and callbacks must not wait for it.
void writeToConsole(std::string_view line) {
    const std::string text = std::string(line) + "\n";
    // One wait for all lines of a time in which the stream isn't read.
    static std::atomic<bool> isFull{false};
    pollfd console{STDERR_FILENO, POLLOUT, 0};
    isFull = poll(&console, 1, isFull ? 0 : consolePatience) != 1 || (console.revents & POLLOUT) == 0;
    if (isFull)
        return;
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, text.data(), text.size());
}

} // namespace

SessionContext::SessionContext(const plugin_host_callbacks& callbacks, bool keepsBrokenPipes)
    : callbacks(callbacks), keepsBrokenPipes(keepsBrokenPipes), queue(new CallbackQueue) {}

SessionContext::~SessionContext() = default;

void SessionContext::post(const std::function<void(const plugin_host_callbacks&)>& call) {
    const Ref<SessionContext> self(this);
    queue->post([self, call] { call(self->callbacks); });
}

void SessionContext::log(plugin_host_host* host, plugin_host_log_source source,
                         std::string_view line) noexcept {
    try {
        if (callbacks.log == nullptr) {
            writeToConsole(line);
            return;
        }
        if (waitingLines.fetch_add(1) >= mostWaitingLines) {
            droppedLines.fetch_add(1);
            // The others may have been made meanwhile.
            if (waitingLines.fetch_sub(1) == 1)
                postDropped();
            return;
        }
        postDropped();
        postLine(host, source, std::string(line));
    } catch (...) {
        // No memory: the line is dropped.
    }
}

void SessionContext::postDropped() {
    const int32_t dropped = droppedLines.exchange(0);
    if (dropped == 0)
        return;
    waitingLines.fetch_add(1);
    postLine(nullptr, PLUGIN_HOST_LOG_LIBRARY, std::to_string(dropped) + " lines of the log were dropped");
}

void SessionContext::postLine(plugin_host_host* host, plugin_host_log_source source,
                              const std::string& line) {
    const Ref<SessionContext> self(this);
    queue->post([self, host, source, line] {
        const bool isLast = self->waitingLines.fetch_sub(1) == 1;
        self->callbacks.log(self->callbacks.user_data, host, source, line.c_str());
        if (isLast)
            self->postDropped();
    });
}

SessionLog::SessionLog(const Ref<SessionContext>& context, plugin_host_host* host)
    : context(context), host(host) {}

SessionLog::~SessionLog() = default;

void SessionLog::receive(base::core::LogLevel, std::string_view text) noexcept {
    context->log(host, PLUGIN_HOST_LOG_LIBRARY, text);
}

} // namespace client_library
