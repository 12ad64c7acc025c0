// The time for a client to get all of a plug-in's parameters, names and values, beside as many bytes by the
// pipe of a program that does nothing else.

#include "core/OutputStream.h"
#include "support/BarePartner.h"
#include "support/BenchmarkProgram.h"
#include "support/HostPartner.h"
#include "support/Stopwatch.h"

#include <stdexcept>
#include <vector>

namespace {

constexpr int rounds = 100;
constexpr int warmUpRounds = 5;

class ByteCounter : public base::core::OutputStream {
public:
    void write(const void*, size_t size) override { count += size; }
    void flush() override {}

    size_t count = 0;
};

size_t wireSize(const PluginInstanceState& state) {
    const Ref<ByteCounter> counter(new ByteCounter);
    state.write(*counter);
    return counter->count;
}

/// In milliseconds.
struct Times {
    std::vector<double> ours;
    std::vector<double> bare;
};

Times measureSnapshots(const char* plugin, size_t parameterCount) {
    HostPartner host(plugin);
    const Ref<PluginInstanceState> first = host.snapshot();
    if (first->parameters.size() != parameterCount)
        throw std::runtime_error("A snapshot has another number of parameters");
    BarePartner bare(wireSize(*first));
    Times times;
    for (int round = -warmUpRounds; round < rounds; ++round) {
        const Stopwatch watch;
        host.snapshot();
        const double ours = watch.milliseconds();
        const Stopwatch bareWatch;
        bare.exchange();
        if (round < 0)
            continue;
        times.ours.push_back(ours);
        times.bare.push_back(bareWatch.milliseconds());
    }
    return times;
}

std::vector<double> divided(std::vector<double> times, double by) {
    for (double& time : times)
        time /= by;
    return times;
}

void measure(Report& report) {
    constexpr size_t few = 1'000;
    constexpr size_t many = 10'000;
    constexpr double goal = 10;
    constexpr double linear = 1.1;
    constexpr double microseconds = 1'000;
    const Times small = measureSnapshots(PARAMETERS_1000_PLUGIN, few);
    const Times large = measureSnapshots(PARAMETERS_10000_PLUGIN, many);
    report.add({"snapshot of 1,000 parameters",
                "ms",
                Figures::of(small.ours),
                Figures::of(small.bare),
                Judgement::value,
                {}});
    report.add({"snapshot of 10,000 parameters", "ms", Figures::of(large.ours), Figures::of(large.bare),
                Judgement::value, goal});
    report.add({"each of 10,000 beside each of 1,000", "us",
                Figures::of(divided(large.ours, many / microseconds)),
                Figures::of(divided(small.ours, few / microseconds)), Judgement::ratio, linear});
}

} // namespace

int main(int argc, char** argv) {
    return runBenchmarkProgram(argc, argv, "snapshots", measure);
}
