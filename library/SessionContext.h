#pragma once

#include "core/Log.h"
#include "library/CallbackQueue.h"
#include "plugin/CoreNames.h"
#include <plugin-host/client.h>

#include <atomic>
#include <functional>
#include <string>
#include <string_view>

namespace client_library {

/// What hosts have in common, with the defaults filled in.
struct HostSettings {
    String program;
    /// Empty: not set for the host.
    std::string libraryPath;
    bool hasLibraryPath = false;
    std::string extensions;
    int32_t sampleRate = 44100;
    int32_t blockSize = 256;
    int32_t workerCount = 1;
    double startTimeLimit = 10;
    /// For a block that is late, in seconds; below 0: for ever.
    double hangTimeLimit = 2;
};

/// What everything in a session shares: the application's callbacks. It outlives the session as long as a
/// call on another thread is in one of the session's objects. Any thread.
class SessionContext : public Object {
public:
    SessionContext(const plugin_host_callbacks& callbacks, bool keepsBrokenPipes);
    ~SessionContext() override;

    /// Makes a callback, in its turn. `call` gets the application's functions, of which it has to check that
    /// it wants.
    void post(const std::function<void(const plugin_host_callbacks&)>& call);
    /// A line of the log; `host` is a handle or null. Without a callback it is written to stderr, which may
    /// block for a second.
    void log(plugin_host_host* host, plugin_host_log_source source, std::string_view line) noexcept;

    const plugin_host_callbacks callbacks;
    const bool keepsBrokenPipes;
    const Ref<CallbackQueue> queue;

private:
    /// Reports the lines that were dropped, if any, as the next callback.
    void postDropped();
    void postLine(plugin_host_host* host, plugin_host_log_source source, const std::string& line);

    std::atomic<int32_t> waitingLines{0};
    std::atomic<int32_t> droppedLines{0};
};

/// The library's own lines, as the log of a thread.
class SessionLog : public base::core::LogReceiver {
public:
    /// For a host, whose handle may still be missing, or for none.
    explicit SessionLog(const Ref<SessionContext>& context, plugin_host_host* host = nullptr);
    ~SessionLog() override;

    void receive(base::core::LogLevel level, std::string_view text) noexcept override;

private:
    const Ref<SessionContext> context;
    plugin_host_host* const host;
};

} // namespace client_library
