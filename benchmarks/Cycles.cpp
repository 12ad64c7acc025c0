// What a block of one of many plug-ins costs an application: in cycles of all of them, beside the same blocks
// one by one and beside calls of the same plug-ins in this process. By the library's public interface.

#include "rigs/ManyPlugins.h"
#include "support/BenchmarkProgram.h"
#include "support/Metronome.h"
#include "support/Stopwatch.h"

#include <cstdint>
#include <string>
#include <vector>

namespace {

constexpr uint32_t frames = 256;
constexpr int64_t interval = 2'700'000; // nanoseconds, of 128 frames at 48 kHz

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

// On one CPU: what waking another takes is the machine's, and swings.
void measureSizes(Report& report, const Pace& pace, const char* name) {
    const Pinning everywhere = Pinning::everywhere();
    constexpr double tenth = 0.1;
    constexpr double goalOf64 = 0.5;
    constexpr double goalOf8Paced = 2.5;
    plugin_host::session session(benchmarkOptions(1));
    for (const size_t count : {1, 8, 64, 256}) {
        Plugins plugins(session, DOES_NOTHING_PLUGIN, count, 1, frames);
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
            DirectPlugins direct(DOES_NOTHING_PLUGIN, count, frames);
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
    plugin_host::session session(benchmarkOptions(2));
    Plugins two(session, TAKES_50_US_PLUGIN, count, 2, frames);
    Plugins one(session, TAKES_50_US_PLUGIN, count, 1, frames);
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
