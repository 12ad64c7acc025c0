// What a host process costs apart from its audio: the time until it can play, the time of a report, and its
// use of CPU and memory while idle. Compared with minimal programs for the same.

#include "core/ChildProcess.h"
#include "support/BenchmarkProgram.h"
#include "support/HostPartner.h"
#include "support/ProcessView.h"
#include "support/QuietLaunch.h"
#include "support/Stopwatch.h"

#include <chrono>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

using base::core::ChildProcess;

constexpr int starts = 60;
constexpr std::chrono::seconds settling{1};
constexpr std::chrono::seconds idleTime{10};

/// From the launch to the first rendered block, in milliseconds, without the end of the process.
double timeToFirstBlock() {
    const Stopwatch watch;
    HostPartner host;
    host.exchange();
    return watch.milliseconds();
}

/// From start to end of a program, in milliseconds.
double runningTime(const std::vector<String>& arguments) {
    const Ref<ChildProcess> program(new ChildProcess);
    const QuietLaunch quiet;
    const Stopwatch watch;
    program->launch(arguments);
    if (program->waitForExit() != 0)
        throw std::runtime_error("A program failed: " + arguments[0].toStdString());
    return watch.milliseconds();
}

/// Alternates, so that the machine's noise affects both.
template <class Ours, class Bare>
ReportRow compareTimes(const char* name, Ours ours, Bare bare, double goal) {
    std::vector<double> ourTimes;
    std::vector<double> bareTimes;
    for (int start = 0; start < starts; ++start) {
        ourTimes.push_back(ours());
        bareTimes.push_back(bare());
    }
    return {name, "ms", Figures::of(ourTimes), Figures::of(bareTimes), Judgement::difference, goal};
}

/// What an idle process used.
struct Idleness {
    double cpuPercent;
    double wakeUps; // a second
    ProcessView::Memory memory;
};

/// Observes several processes during the same seconds.
std::vector<Idleness> watchIdling(const std::vector<ProcessView>& processes) {
    std::vector<double> cpuBefore;
    std::vector<int64_t> switchesBefore;
    std::this_thread::sleep_for(settling);
    for (const ProcessView& process : processes) {
        cpuBefore.push_back(process.cpuSeconds());
        switchesBefore.push_back(process.voluntarySwitches());
    }
    std::this_thread::sleep_for(idleTime);
    constexpr double seconds = idleTime.count();
    std::vector<Idleness> result;
    for (size_t i = 0; i < processes.size(); ++i) {
        const double cpu = processes[i].cpuSeconds() - cpuBefore[i];
        const auto switches = static_cast<double>(processes[i].voluntarySwitches() - switchesBefore[i]);
        result.push_back({cpu / seconds * 100, switches / seconds, processes[i].memory()});
    }
    return result;
}

/// An X client for a scope.
class EmptyXClient {
public:
    EmptyXClient() : program(new ChildProcess) { program->launch({BARE_X_CLIENT, "stay"}); }

    pid_t getPid() const { return program->getPid(); }

private:
    Ref<ChildProcess> program;
};

void measureTimes(Report& report) {
    constexpr double firstBlockGoal = 2.2; // further milliseconds
    constexpr double reportGoal = 1.2;
    const auto runXClient = [] { return runningTime({BARE_X_CLIENT, "leave"}); };
    report.add(compareTimes("start to first answered block", timeToFirstBlock, runXClient, firstBlockGoal));
    report.add(compareTimes(
        "info",
        [] {
            return runningTime({PLUGIN_HOST_EXECUTABLE, "info", DOES_NOTHING_PLUGIN});
        },
        runXClient, reportGoal));
}

void measureIdling(Report& report, const EmptyXClient& bare) {
    constexpr double wakeUpGoal = 30;
    constexpr double residentGoal = 4.2;
    constexpr double privateGoal = 0.6; // further megabytes
    HostPartner host;
    host.exchange();
    const auto figures = watchIdling({ProcessView(host.getPid()), ProcessView(bare.getPid())});
    const auto addRow = [&](const char* name, const char* unit, auto of, std::optional<double> goal,
                            Judgement judgement = Judgement::value) {
        report.add(
            {name, unit, Figures::once(of(figures[0])), Figures::once(of(figures[1])), judgement, goal});
    };
    addRow("idle: CPU", "%", [](const Idleness& idle) { return idle.cpuPercent; }, {});
    addRow(
        "idle: wake-ups a second", "1/s", [](const Idleness& idle) { return idle.wakeUps; }, wakeUpGoal);
    addRow(
        "idle: resident", "MB", [](const Idleness& idle) { return idle.memory.residentMegabytes; },
        residentGoal);
    addRow(
        "idle: private", "MB", [](const Idleness& idle) { return idle.memory.privateMegabytes; }, privateGoal,
        Judgement::difference);
    addRow("idle: private and written", "MB",
           [](const Idleness& idle) { return idle.memory.privateDirtyMegabytes; }, {});
}

void measure(Report& report) {
    report.addNote("bare: an X client that does nothing");
    // Also keeps the server from resetting when its last client leaves.
    const EmptyXClient bare;
    measureTimes(report);
    measureIdling(report, bare);
}

} // namespace

int main(int argc, char** argv) {
    return runBenchmarkProgram(argc, argv, "host-footprint", measure);
}
