// The time that a block takes from the client to a plug-in in a child host and back, beside a bare program
// that answers the same bytes over two FIFOs with the same scheduling on the same CPUs.

#include "support/BarePartner.h"
#include "support/BenchmarkProgram.h"
#include "support/HostPartner.h"
#include "support/Metronome.h"
#include "support/ProcessView.h"
#include "support/Scheduling.h"
#include "support/Stopwatch.h"

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

constexpr int64_t blockInterval = 5'800'000; // nanoseconds, of 256 frames at 44.1 kHz

/// How a client sends blocks. Host and bare program alternate by rounds, so that the machine's noise affects
/// both.
struct Pace {
    const char* name;
    bool paced;
    int rounds;
    int blocksInRound;
    /// Warm-up at the start of a round: not measured.
    int warmUpBlocks;
};

constexpr Pace backToBack{"back to back", false, 24, 2000, 200};
constexpr Pace everyInterval{"one each 5.8 ms", true, 64, 10, 2};

void runRound(BlockPartner& partner, const Pace& pace, std::vector<double>& roundTrips) {
    Metronome metronome(blockInterval);
    for (int block = -pace.warmUpBlocks; block < pace.blocksInRound; ++block) {
        if (pace.paced)
            metronome.wait();
        const Stopwatch watch;
        partner.exchange();
        const double roundTrip = watch.microseconds();
        if (block >= 0)
            roundTrips.push_back(roundTrip);
    }
}

/// The two sides of the comparison.
class Contest {
public:
    Contest() { Scheduling::of(host.getWorkerThread()).applyTo(bare.getPid()); }

    /// The same CPUs for the client's thread and for all threads of both.
    void place(const Pinning& pinning) const {
        pinning.applyTo(0);
        for (const pid_t pid : {host.getPid(), bare.getPid()}) {
            for (const pid_t thread : ProcessView(pid).threads())
                pinning.applyTo(thread);
        }
    }

    ReportRow measure(const Pace& pace, const std::string& place, double goal) {
        std::vector<double> ours;
        std::vector<double> theirs;
        const int64_t renderedBefore = host.getRenderedBlocks();
        for (int round = 0; round < pace.rounds; ++round) {
            runRound(host, pace, ours);
            runRound(bare, pace, theirs);
        }
        const int64_t sent = int64_t{pace.rounds} * (pace.blocksInRound + pace.warmUpBlocks);
        if (host.getRenderedBlocks() - renderedBefore != sent)
            throw std::runtime_error("The plug-in didn't render the blocks that were answered");
        return {std::string(pace.name) + ", " + place,
                "us",
                Figures::of(ours),
                Figures::of(theirs),
                Judgement::ratio,
                goal};
    }

    std::string describeScheduling() const {
        return "client: " + Scheduling::of(0).describe() +
               "; worker and bare program: " + Scheduling::of(bare.getPid()).describe();
    }

private:
    HostPartner host;
    BarePartner bare;
};

void measure(Report& report) {
    constexpr double backToBackGoal = 1.05;
    constexpr double pacedGoal = 1.10;
    Contest contest;
    report.addNote(contest.describeScheduling());

    const Pinning everywhere = Pinning::everywhere();
    contest.place(everywhere.lastOnly());
    report.add(contest.measure(backToBack, "one CPU", backToBackGoal));
    report.add(contest.measure(everyInterval, "one CPU", pacedGoal));
    contest.place(everywhere);
    report.add(contest.measure(backToBack, "unpinned", backToBackGoal));
    report.add(contest.measure(everyInterval, "unpinned", pacedGoal));
}

} // namespace

int main(int argc, char** argv) {
    return runBenchmarkProgram(argc, argv, "block-round-trip", measure);
}
