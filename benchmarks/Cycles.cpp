// What a block of one of many plug-ins costs an application: in cycles of all of them, beside the same blocks
// one by one and beside calls of the same plug-ins in this process. By the library's public interface.

#include "plugins/Vst2Effect.h"
#include "support/BenchmarkProgram.h"
#include "support/Metronome.h"
#include "support/ProcessView.h"
#include "support/Scheduling.h"
#include "support/Stopwatch.h"

#include <plugin-host/client.hpp>

#include <cstdint>
#include <dlfcn.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr uint32_t frames = 256;
constexpr int64_t interval = 2'700'000; // nanoseconds, of 128 frames at 48 kHz

/// Plug-ins of one session, each with its next block.
class Plugins {
public:
    Plugins(plugin_host::session& session, const std::string& path, size_t count, int workers)
        : cycle(session, count) {
        for (size_t index = 0; index < count; ++index) {
            const int worker = static_cast<int>(index) % workers;
            plugins.emplace_back(session, plugin_host::plugin_options{.path = path, .worker = worker});
            plugins.back().start();
            blocks.push_back(plugins.back().block(frames));
        }
    }

    void playTogether() {
        for (plugin_host::plugin& plugin : plugins)
            plugin.begin();
        cycle.begin(blocks);
        if (!cycle.finish())
            throw std::runtime_error("A block of a cycle failed");
        expectCount(blocks.front().channels[0][0]);
    }
    void playOneByOne() {
        float count = 0;
        for (plugin_host::plugin& plugin : plugins) {
            plugin.begin();
            count = plugin.process(frames).channels[0][0];
        }
        expectCount(count);
    }

    /// This thread and all of the host run on these CPUs.
    void place(const Pinning& pinning) const {
        pinning.applyTo(0);
        for (const pid_t thread : ProcessView(plugins.front().host_info().process_id).threads())
            pinning.applyTo(thread);
    }

private:
    /// The plug-in's own.
    void expectCount(float count) {
        if (count != static_cast<float>(++played))
            throw std::runtime_error("A plug-in didn't render the block that was answered");
    }

    std::vector<plugin_host::plugin> plugins;
    std::vector<plugin_host_block> blocks;
    plugin_host::cycle cycle;
    int played = 0;
};

/// The same plug-in in this process.
class DirectPlugins {
public:
    DirectPlugins(const char* path, size_t count) {
        // Stays loaded, as its effects stay.
        void* library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
        using Entry = AEffect* (*)(audioMasterCallback);
        const auto entry =
            library != nullptr ? reinterpret_cast<Entry>(dlsym(library, "VSTPluginMain")) : nullptr;
        if (entry == nullptr)
            throw std::runtime_error("The plug-in can't be loaded");
        for (size_t index = 0; index < count; ++index)
            effects.push_back(entry(answerNothing));
    }

    void play() {
        float* channels[] = {samples, samples};
        for (AEffect* effect : effects)
            effect->processReplacing(effect, channels, channels, frames);
    }

private:
    static VstIntPtr answerNothing(AEffect*, VstInt32, VstInt32, VstIntPtr, void*, float) { return 0; }

    std::vector<AEffect*> effects;
    float samples[frames] = {};
};

struct Pace {
    bool isPaced;
    int rounds;
    int turnsInRound;
    int warmUpTurns;
};

constexpr Pace backToBack{false, 16, 300, 30};
constexpr Pace paced{true, 8, 80, 4};

/// Adds the microseconds for each of `count` plug-ins.
template <class Turn>
void runRound(const Pace& pace, size_t count, std::vector<double>& times, const Turn& turn) {
    Metronome metronome(interval);
    for (int number = -pace.warmUpTurns; number < pace.turnsInRound; ++number) {
        if (pace.isPaced)
            metronome.wait();
        const Stopwatch watch;
        turn();
        const double time = watch.microseconds() / static_cast<double>(count);
        if (number >= 0)
            times.push_back(time);
    }
}

/// Two ways in alternation, so that the machine's noise affects both.
template <class First, class Second>
std::pair<Figures, Figures> compare(const Pace& pace, size_t count, const First& first,
                                    const Second& second) {
    std::vector<double> ours;
    std::vector<double> theirs;
    for (int round = 0; round < pace.rounds; ++round) {
        runRound(pace, count, ours, first);
        runRound(pace, count, theirs, second);
    }
    return {Figures::of(ours), Figures::of(theirs)};
}

plugin_host::session_options options(int workers) {
    plugin_host::session_options result;
    result.program_32 = PLUGIN_HOST_EXECUTABLE;
    result.program_64 = PLUGIN_HOST_EXECUTABLE;
    result.worker_count = workers;
    result.cache_directory = "";
    // A normal priority is part of the conditions.
    result.log = [](plugin_host_host*, plugin_host::log_source, std::string_view) {};
    return result;
}

// On one CPU: what waking another takes is the machine's, and swings.
void measureSizes(Report& report, const Pace& pace, const char* name) {
    const Pinning everywhere = Pinning::everywhere();
    constexpr double tenth = 0.1;
    constexpr double goalOf64 = 0.5;
    constexpr double goalOf8Paced = 2.5;
    plugin_host::session session(options(1));
    for (const size_t count : {1, 8, 64, 256}) {
        Plugins plugins(session, DOES_NOTHING_PLUGIN, count, 1);
        plugins.place(everywhere.lastOnly());
        const auto [together, oneByOne] = compare(
            pace, count, [&] { plugins.playTogether(); }, [&] { plugins.playOneByOne(); });
        ReportRow row{"cycle of " + std::to_string(count) + ", " + name + ", for each",
                      "us",
                      together,
                      oneByOne,
                      Judgement::ratio,
                      {}};
        if (count == 64 && !pace.isPaced)
            row.goal = tenth;
        report.add(row);
        if (count == 64 && !pace.isPaced) {
            DirectPlugins direct(DOES_NOTHING_PLUGIN, count);
            const auto [again, called] = compare(
                pace, count, [&] { plugins.playTogether(); }, [&] { direct.play(); });
            report.add({"the same, beside direct calls", "us", again, called, Judgement::value, goalOf64});
        }
        if (count == 8 && pace.isPaced)
            report.add({"the same, by itself", "us", together, {}, Judgement::value, goalOf8Paced});
    }
    everywhere.applyTo(0);
}

void measureWorkers(Report& report) {
    constexpr size_t count = 8;
    constexpr double leastSpeedUp = 1.8;
    plugin_host::session session(options(2));
    Plugins two(session, TAKES_ITS_TIME_PLUGIN, count, 2);
    Plugins one(session, TAKES_ITS_TIME_PLUGIN, count, 1);
    const auto [sideBySide, together] = compare(
        backToBack, count, [&] { two.playTogether(); }, [&] { one.playTogether(); });
    report.add({"8 of 50 us, two workers beside one, for each", "us", sideBySide, together, Judgement::ratio,
                1 / leastSpeedUp});
}

void measure(Report& report) {
    measureSizes(report, backToBack, "back to back");
    measureSizes(report, paced, "one each 2.7 ms");
    measureWorkers(report);
}

} // namespace

int main(int argc, char** argv) {
    return runBenchmarkProgram(argc, argv, "cycles", measure);
}
