// What `process` of an instance of each format costs beyond the plug-in itself, in one process: each kind of
// block is rendered by the instance and by direct calls of the same plug-in with the same work.

#include "rigs/Vst2Rig.h"
#include "rigs/Vst3Rig.h"
#include "support/BenchmarkProgram.h"

#include <benchmark/benchmark.h>
#include <map>
#include <string>
#include <vector>

namespace {

constexpr Work vst2Works[] = {
    {"VST 2, empty block", 0, 0, 0.2},
    {"VST 2, 256 events", 256, 0, {}},
    {"VST 2, 1,024 parameter changes", 0, ProcessRig::changes, {}},
};

constexpr Work vst3Works[] = {
    {"VST 3, no events", 0, 0, {}},
    {"VST 3, 256 events", 256, 0, {}},
    {"VST 3, 1,024 changes over 64 parameters", 0, ProcessRig::changes, 20.0},
};

constexpr const char* byInstance = ", instance";
constexpr const char* directly = ", plug-in";

/// Gathers the time of a call in microseconds, one sample for each repetition, by the benchmark's name.
class Collector : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.run_type == Run::RT_Iteration)
                samples[run.run_name.function_name].push_back(run.real_accumulated_time /
                                                              static_cast<double>(run.iterations) * 1e6);
        }
    }

    std::map<std::string, std::vector<double>> samples;
};

void registerBenchmark(ProcessRig& rig, const Work& work, const char* way,
                       void (ProcessRig::*render)(const Work&)) {
    const auto body = [&rig, &work, render](benchmark::State& state) {
        rig.expectWork({}, 0);
        for (auto _ : state)
            (rig.*render)(work);
        rig.expectWork(work, static_cast<int64_t>(state.iterations()));
    };
    benchmark::RegisterBenchmark((std::string(work.name) + way).c_str(), body);
}

void registerBenchmarks(ProcessRig& rig, const Work (&works)[3]) {
    for (const Work& work : works) {
        registerBenchmark(rig, work, byInstance, &ProcessRig::renderByInstance);
        registerBenchmark(rig, work, directly, &ProcessRig::renderDirectly);
    }
}

void addRows(Report& report, Collector& collector, const Work (&works)[3]) {
    for (const Work& work : works) {
        const std::string name = work.name;
        report.add({name, "us", Figures::of(collector.samples[name + byInstance]),
                    Figures::of(collector.samples[name + directly]), Judgement::difference, work.goal});
    }
}

void measure(Report& report) {
    // In random order, so that the machine's noise affects both.
    std::vector<std::string> options{"process-cost", "--benchmark_repetitions=25",
                                     "--benchmark_min_time=0.02",
                                     "--benchmark_enable_random_interleaving=true"};
    std::vector<char*> arguments;
    for (std::string& option : options)
        arguments.push_back(option.data());
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());

    Vst2Rig vst2;
    Vst3Rig vst3;
    registerBenchmarks(vst2, vst2Works);
    registerBenchmarks(vst3, vst3Works);
    Collector collector;
    benchmark::RunSpecifiedBenchmarks(&collector);
    addRows(report, collector, vst2Works);
    addRows(report, collector, vst3Works);
}

} // namespace

int main(int argc, char** argv) {
    return runBenchmarkProgram(argc, argv, "process-cost", measure);
}
