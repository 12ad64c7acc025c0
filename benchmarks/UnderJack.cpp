// A client of a JACK server whose 64 plug-ins are in a host, in one cycle, beside the same plug-ins in the
// client's own process: how long its callback takes, and how often the server missed its period.

#include "core/ChildProcess.h"
#include "rigs/ManyPlugins.h"
#include "support/BenchmarkProgram.h"
#include "support/QuietLaunch.h"
#include "support/Stopwatch.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <jack/jack.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using base::core::ChildProcess;

constexpr uint32_t frames = 128;
constexpr int sampleRate = 48'000;
constexpr size_t pluginCount = 64;
constexpr int turns = 6;
constexpr std::chrono::seconds turnTime{10};
constexpr std::chrono::seconds patience{5};

/// A server without a sound card.
class DummyServer {
public:
    DummyServer() : name("plugin-host-benchmark-" + std::to_string(getpid())), program(new ChildProcess) {
        const QuietLaunch quiet;
        program->launch({"jackd", "-r", "-n", name.c_str(), "-d", "dummy", "-r",
                         std::to_string(sampleRate).c_str(), "-p", std::to_string(frames).c_str()});
    }
    /// Asks it to end, since one that is killed stays in the list of servers.
    ~DummyServer() {
        program->kill(SIGTERM);
        program->waitForExit();
    }
    DummyServer(const DummyServer&) = delete;
    DummyServer& operator=(const DummyServer&) = delete;

    const std::string name;

private:
    base::core::Ref<ChildProcess> program;
};

enum Way : size_t { byHost, directly, wayCount };

/// The client. Its callback plays all plug-ins in one of the ways, and notes how long that took.
class Client {
public:
    explicit Client(const DummyServer& server)
        : session(options()), hosted(session, TAKES_10_US_PLUGIN, pluginCount, 1, frames),
          direct(TAKES_10_US_PLUGIN, pluginCount, frames), client(open(server)) {
        constexpr size_t mostPeriods =
            static_cast<size_t>(2 * turns * turnTime.count()) * sampleRate / frames;
        for (std::vector<double>& each : times)
            each.reserve(mostPeriods);
        jack_set_process_callback(client.get(), process, this);
        jack_set_xrun_callback(client.get(), countXrun, this);
        if (jack_activate(client.get()) != 0)
            throw std::runtime_error("The client can't be activated");
    }
    ~Client() { jack_deactivate(client.get()); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    void playFor(Way which) {
        way = which;
        std::this_thread::sleep_for(turnTime);
        way = wayCount;
        if (hasFailed)
            throw std::runtime_error("A block failed");
    }
    /// No callback runs afterwards.
    void stop() { jack_deactivate(client.get()); }

    /// Microseconds of the callbacks, in rising order. After `stop`.
    std::vector<double> sortedTimes(Way which) const {
        std::vector<double> sorted = times[which];
        std::sort(sorted.begin(), sorted.end());
        return sorted;
    }
    double getXruns(Way which) const { return xruns[which]; }

private:
    struct Close {
        void operator()(jack_client_t* opened) const { jack_client_close(opened); }
    };
    using Handle = std::unique_ptr<jack_client_t, Close>;

    static plugin_host::session_options options() {
        plugin_host::session_options result = benchmarkOptions(1);
        result.sample_rate = sampleRate;
        result.block_size = frames;
        return result;
    }
    /// Once the server is up.
    static Handle open(const DummyServer& server) {
        jack_set_error_function([](const char*) {});
        jack_set_info_function([](const char*) {});
        const auto end = std::chrono::steady_clock::now() + patience;
        while (std::chrono::steady_clock::now() < end) {
            constexpr auto flags = static_cast<jack_options_t>(JackNoStartServer | JackServerName);
            if (jack_client_t* opened = jack_client_open("benchmark", flags, nullptr, server.name.c_str()))
                return Handle(opened);
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        throw std::runtime_error("The JACK server doesn't start");
    }

    static int process(jack_nframes_t, void* self) {
        static_cast<Client*>(self)->play();
        return 0;
    }
    static int countXrun(void* self) {
        auto& client = *static_cast<Client*>(self);
        const Way current = client.way;
        if (current != wayCount)
            ++client.xruns[current];
        return 0;
    }
    void play() {
        const Way current = way;
        if (current == wayCount || hasFailed || times[current].size() == times[current].capacity())
            return;
        const Stopwatch watch;
        try {
            if (current == byHost)
                hosted.playTogether();
            else
                direct.play();
        } catch (const std::exception&) {
            hasFailed = true;
        }
        times[current].push_back(watch.microseconds());
    }

    plugin_host::session session;
    Plugins hosted;
    DirectPlugins direct;
    std::array<std::vector<double>, wayCount> times;
    std::array<std::atomic<int>, wayCount> xruns{};
    std::atomic<Way> way{wayCount};
    std::atomic<bool> hasFailed{false};
    const Handle client;
};

double perThousand(const std::vector<double>& sorted, size_t part) {
    return sorted.at(sorted.size() * part / 1000);
}

void measure(Report& report) {
    constexpr size_t nearlyAll = 999;
    constexpr double furtherTime = 150;
    const DummyServer server;
    Client client(server);
    for (int turn = 0; turn < turns; ++turn) {
        client.playFor(byHost);
        client.playFor(directly);
    }
    client.stop();
    const std::vector<double> ours = client.sortedTimes(byHost);
    const std::vector<double> bare = client.sortedTimes(directly);
    report.add({"callback with 64 plug-ins of 10 us",
                "us",
                Figures::of(ours),
                Figures::of(bare),
                Judgement::difference,
                {}});
    report.add({"its 99.9th percentile", "us", Figures::once(perThousand(ours, nearlyAll)),
                Figures::once(perThousand(bare, nearlyAll)), Judgement::difference, furtherTime});
    report.add({"missed periods in 60 s", "", Figures::once(client.getXruns(byHost)),
                Figures::once(client.getXruns(directly)), Judgement::difference, 0});
    report.addNote(
        "in alternation, 10 s each; bare: the plug-ins in the client's process; 128 frames at 48 kHz");
}

} // namespace

int main(int argc, char** argv) {
    return runBenchmarkProgram(argc, argv, "under-jack", measure);
}
