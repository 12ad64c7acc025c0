#include "Player.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <initializer_list>
#include <poll.h>
#include <stdexcept>
#include <sys/signalfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

// Room for servers that take longer periods later: no plug-in has to be made again.
constexpr uint32_t smallestBlockSize = 1024;
constexpr uint32_t largestBlockSize = 65536;
constexpr std::chrono::seconds requestTimeout{10};

int checked(int descriptor, const char* call) {
    if (descriptor < 0)
        throw std::runtime_error(std::string(call) + ": " + std::strerror(errno));
    return descriptor;
}

sigset_t setOf(std::initializer_list<int> signals) {
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : signals)
        sigaddset(&set, signal);
    return set;
}

/// The signals that ask for the end have their default action meanwhile, on this thread.
class UnblockedEnds {
public:
    UnblockedEnds() { pthread_sigmask(SIG_UNBLOCK, &ends, nullptr); }
    ~UnblockedEnds() { pthread_sigmask(SIG_BLOCK, &ends, nullptr); }
    UnblockedEnds(const UnblockedEnds&) = delete;
    UnblockedEnds& operator=(const UnblockedEnds&) = delete;

private:
    const sigset_t ends = setOf({SIGINT, SIGTERM, SIGHUP});
};

int openSignals() {
    const sigset_t awaited = setOf({SIGINT, SIGTERM, SIGHUP, SIGUSR1});
    return checked(signalfd(-1, &awaited, SFD_CLOEXEC | SFD_NONBLOCK), "signalfd");
}

int openSeconds() {
    const int descriptor =
        checked(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK), "timerfd_create");
    const itimerspec everySecond{{1, 0}, {1, 0}};
    timerfd_settime(descriptor, 0, &everySecond, nullptr);
    return descriptor;
}

uint32_t blockSizeFor(uint32_t period) {
    return std::clamp(period, smallestBlockSize, largestBlockSize);
}

std::string variable(const char* name) {
    const char* const value = std::getenv(name);
    return value != nullptr ? value : "";
}

std::string formatPeak(float peak) {
    if (!(peak > 0))
        return "peak -inf dBFS";
    char text[48];
    std::snprintf(text, sizeof text, "peak %.1f dBFS", 20 * std::log10(static_cast<double>(peak)));
    return text;
}

} // namespace

Player::Player(const Options& options, Terminal& terminal)
    : options(options), terminal(terminal), signals(openSignals()), seconds(openSeconds()),
      sampleRate(jack.getSampleRate()), blockSize(blockSizeFor(jack.getPeriod())),
      session(makeSessionOptions()), shown(Clock::now()) {
    for (const PluginChoice& choice : options.plugins) {
        if (!choice.preset.empty() && !fs::exists(choice.preset))
            terminal.report(choice.preset + " isn't there yet: saving makes it");
    }
    makeChain();
    checkChain();
    if (options.editor)
        openEditors();
    jack.activate(*chain, options.midi);
}

Player::~Player() {
    jack.deactivate();
    close(signals);
    close(seconds);
}

void Player::makeChain() {
    // Until there is something to save, a signal ends a program whose plug-ins don't start.
    const UnblockedEnds unblocked;
    chain = std::make_unique<Chain>(
        session, options.plugins,
        Chain::Settings{options.pipeline, options.deadline, sampleRate, blockSize,
                        [this](const ChainPlugin& plugin, plugin_host::status code, std::string_view text) {
                            reportReturn(plugin, code, text);
                        }});
}

plugin_host::session_options Player::makeSessionOptions() {
    return {.program_32 = variable("TANVEX_PLUGIN_HOST_PROGRAM_32"),
            .program_64 = variable("TANVEX_PLUGIN_HOST_PROGRAM_64"),
            .sample_rate = sampleRate,
            .block_size = static_cast<int>(blockSize),
            .request_timeout = requestTimeout,
            // A crash takes down one plug-in, and each has a worker of its own.
            .separate_hosts = true,
            .restore = true,
            .dispatch = true,
            .log = [this](const plugin_host_host* host, plugin_host::log_source source,
                          std::string_view line) { passLine(host, source, line); },
            .host_died = [this](const plugin_host::death& death) { answerDeath(death); }};
}

void Player::checkChain() const {
    if (chain->getOutputChannels() == 0)
        throw std::runtime_error(options.plugins.back().path + " has no audio outputs");
}

void Player::openEditors() {
    for (const auto& plugin : chain->getPlugins()) {
        if (plugin->getDescription().has_editor)
            plugin->getPlugin().open_editor(0, plugin->getName());
        else
            terminal.report(plugin->getName() + " has no editor");
    }
}

int Player::run() {
    terminal.getKeyDescriptor();
    tick();
    while (end == End::none)
        wait();
    jack.deactivate();
    const bool areSaved = savePresets();
    session.dispatch();
    highestPeak = std::max(highestPeak, jack.takePeak());
    terminal.clearLine();
    if (end == End::serverEnded)
        terminal.report("The JACK server has ended");
    std::printf("%s\n", describeAll().c_str());
    return end == End::asked && areSaved ? EXIT_SUCCESS : EXIT_FAILURE;
}

void Player::wait() {
    pollfd sources[] = {{signals, POLLIN, 0},
                        {seconds, POLLIN, 0},
                        {session.descriptor(), POLLIN, 0},
                        {jack.getEventDescriptor(), POLLIN, 0},
                        {terminal.getKeyDescriptor(), POLLIN, 0}};
    if (poll(sources, std::size(sources), -1) < 0 && errno != EINTR)
        throw std::runtime_error("poll: " + std::string(std::strerror(errno)));
    if (sources[0].revents != 0)
        handleSignal();
    if (sources[2].revents != 0)
        session.dispatch();
    if (sources[4].revents != 0)
        handleKey();
    if (jack.hasServerEnded()) {
        end = End::serverEnded;
        return;
    }
    if (sources[3].revents != 0) {
        jack.takeEvent();
        followServer();
    }
    if (sources[1].revents != 0)
        tick();
}

void Player::followServer() {
    const int32_t newRate = jack.getSampleRate();
    const uint32_t newSize = std::max(blockSize, blockSizeFor(jack.getPeriod()));
    if (newRate == sampleRate && newSize == blockSize)
        return;
    sampleRate = newRate;
    blockSize = newSize;
    try {
        session.set_format(newRate, static_cast<int>(newSize));
    } catch (const plugin_host::error&) {
        // Which of them stays away, and why, is reported for each.
    }
    chain->setFormat(newRate, newSize);
    terminal.report("The plug-ins play at " + std::to_string(newRate) + " Hz now, in blocks of up to " +
                    std::to_string(newSize) + " frames");
}

void Player::handleSignal() {
    signalfd_siginfo arrived{};
    if (read(signals, &arrived, sizeof arrived) != sizeof arrived)
        return;
    if (arrived.ssi_signo == SIGUSR1)
        saveOnRequest();
    else
        end = End::asked;
}

void Player::handleKey() {
    switch (terminal.readKey()) {
    case 'q':
        end = End::asked;
        break;
    case 's':
        saveOnRequest();
        break;
    default:
        break;
    }
}

void Player::tick() {
    uint64_t expired = 0;
    // Result ignored: it only empties the timer.
    [[maybe_unused]] const ssize_t count = read(seconds, &expired, sizeof expired);
    for (const auto& plugin : chain->getPlugins()) {
        try {
            plugin->followChanges();
        } catch (const plugin_host::error& failure) {
            terminal.report(plugin->getName() + ": " + failure.what());
        }
    }
    // Of a server that has changed between the start of the plug-ins and that of the client.
    followServer();
    jack.updateLatencies();
    const std::string state = describeState();
    if (terminal.showsLine())
        terminal.showLine(state);
}

bool Player::savePresets() {
    bool areSaved = true;
    for (const auto& plugin : chain->getPlugins()) {
        if (plugin->getChoice().preset.empty())
            continue;
        try {
            plugin->savePreset();
            if (terminal.showsLine())
                terminal.report("saved " + plugin->getChoice().preset);
        } catch (const std::exception& failure) {
            areSaved = false;
            terminal.report("Could not save " + plugin->getChoice().preset + ": " + failure.what());
        }
    }
    return areSaved;
}

void Player::saveOnRequest() {
    savePresets();
    try {
        // What a user holds worth saving is what comes back after a death.
        session.keep_states();
    } catch (const plugin_host::error&) {
        // One that is away keeps its last state.
    }
}

std::string Player::nameOf(const plugin_host_host* host) const {
    for (const auto& plugin : getPlugins()) {
        if (host != nullptr && plugin->getHost() == host)
            return plugin->getName();
    }
    return {};
}

std::span<const std::unique_ptr<ChainPlugin>> Player::getPlugins() const noexcept {
    return chain != nullptr ? chain->getPlugins() : decltype(chain->getPlugins())();
}

void Player::passLine(const plugin_host_host* host, plugin_host::log_source source, std::string_view line) {
    const bool isOfDeath = source == plugin_host::log_source::library && host != nullptr;
    if (source == plugin_host::log_source::standard_output || isOfDeath || line.empty())
        return;
    const std::string name = nameOf(host);
    terminal.pass((name.empty() ? "" : name + ": ") + std::string(line));
}

void Player::answerDeath(const plugin_host::death& death) {
    const auto plugins = getPlugins();
    const auto found = std::ranges::find_if(plugins, [&](const auto& plugin) { return plugin->isIn(death); });
    if (found == plugins.end()) {
        terminal.report(death.text);
        return;
    }
    ChainPlugin& plugin = **found;
    terminal.report(plugin.getName() + " is bypassed: " + death.text);
    if (!plugin.comeBack(Clock::now()))
        terminal.report(plugin.getName() + " stays bypassed: it has come back " +
                        std::to_string(RevivalLimit::most) + " times within a minute");
}

void Player::reportReturn(const ChainPlugin& plugin, plugin_host::status code, std::string_view text) {
    if (code != PLUGIN_HOST_OK)
        terminal.report(plugin.getName() + " stays bypassed: " + std::string(text));
    else if (plugin.isAway())
        terminal.report(plugin.getName() + " is back");
}

std::string Player::describeState() {
    const Clock::time_point now = Clock::now();
    const int64_t busyTime = jack.getBusyTime();
    const double elapsed = std::chrono::duration<double, std::nano>(now - shown).count();
    const double share = elapsed > 0 ? 100 * static_cast<double>(busyTime - shownBusyTime) / elapsed : 0;
    shown = now;
    shownBusyTime = busyTime;
    const float peak = jack.takePeak();
    highestPeak = std::max(highestPeak, peak);
    const auto bypassed =
        std::count_if(chain->getPlugins().begin(), chain->getPlugins().end(),
                      [](const auto& plugin) { return plugin->getStatus() != PLUGIN_HOST_OK; });
    char load[64];
    std::snprintf(load, sizeof load, "load %.1f %%, own %.1f %%", static_cast<double>(jack.getServerLoad()),
                  share);
    return load + std::string(", late ") + std::to_string(chain->getLateBlocks()) + ", xruns " +
           std::to_string(jack.getXruns()) + ", " + formatPeak(peak) +
           (bypassed > 0 ? ", bypassed " + std::to_string(bypassed) : "");
}

std::string Player::describeAll() const {
    const uint64_t lost = jack.getLostMidi() + chain->getLostMidi();
    return std::to_string(jack.getPeriods()) + " periods, " + std::to_string(chain->getLateBlocks()) +
           " late blocks, " + std::to_string(jack.getXruns()) + " xruns, " + formatPeak(highestPeak) +
           (lost > 0 ? ", " + std::to_string(lost) + " MIDI messages lost" : "");
}
