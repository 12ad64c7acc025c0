#pragma once

#include "Chain.h"
#include "JackClient.h"
#include "Options.h"
#include "Terminal.h"

#include <atomic>
#include <chrono>
#include <memory>
#include <plugin-host/client.hpp>
#include <span>
#include <string>
#include <string_view>

/// Plays what the command line asks for, until it is asked to end or the server ends. Main thread. Callbacks
/// of the session run inside of its loop.
class Player {
public:
    /// Signals have to be blocked before. Starts all. Throws `std::exception`s.
    Player(const Options& options, Terminal& terminal);
    ~Player();
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

    /// The exit status.
    int run();

private:
    enum class End { none, asked, serverEnded };

    plugin_host::session_options makeSessionOptions();
    void makeChain();
    void checkChain() const;
    void openEditors();
    void wait();
    /// Has the plug-ins play at the server's sample rate, in blocks of its period if that is longer than
    /// theirs.
    void followServer();
    void handleSignal();
    void handleKey();
    void tick();
    /// False if one can't be saved, which is reported.
    bool savePresets();
    void saveOnRequest();
    /// None while the chain is made.
    [[nodiscard]] std::span<const std::unique_ptr<ChainPlugin>> getPlugins() const noexcept;
    /// Of the plug-in in a host; empty for none.
    [[nodiscard]] std::string nameOf(const plugin_host_host* host) const;
    void passLine(const plugin_host_host* host, plugin_host::log_source source, std::string_view line);
    /// Of a host: its plug-in is to come back.
    void answerDeath(const plugin_host::death& death);
    void reportReturn(const ChainPlugin& plugin, plugin_host::status code, std::string_view text);
    [[nodiscard]] std::string describeState();
    [[nodiscard]] std::string describeAll() const;

    const Options& options;
    Terminal& terminal;
    const int signals;
    const int seconds;
    JackClient jack;
    int32_t sampleRate;
    /// The session's.
    uint32_t blockSize;
    plugin_host::session session;
    std::unique_ptr<Chain> chain;
    End end = End::none;

    // Of the last line that was shown.
    std::chrono::steady_clock::time_point shown;
    int64_t shownBusyTime = 0;
    float highestPeak = 0;
};
