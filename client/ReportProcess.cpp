#include "client/ReportProcess.h"

#include "client/Cancellation.h"
#include "client/HostOptions.h"
#include "client/OutputTail.h"
#include "client/PluginReport.h"
#include "client/ReportFile.h"
#include "core/ChildProcess.h"
#include "core/FileDescriptor.h"
#include "core/Mutex.h"
#include "core/StartProgram.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

using base::core::aboveConsole;
using base::core::ChildProcess;
using base::core::FileDescriptor;
using base::core::lastErrorMessage;
using base::core::openPipe;

namespace {

/// The statuses, and the words, by which the program says that it has no X server.
constexpr int noDisplayStatus = 1;
constexpr const char* noDisplayText = "Could not open display";
constexpr int noScreenStatus = 2;
constexpr const char* noScreenText = "Error getting display setup";

/// Milliseconds until a time of `CLOCK_MONOTONIC`, rounded up; 0 once it has passed.
int millisecondsUntil(const timespec& deadline) {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const double left = static_cast<double>(deadline.tv_sec - now.tv_sec) * 1e3 +
                        static_cast<double>(deadline.tv_nsec - now.tv_nsec) / 1e6;
    constexpr double longest = 3'600'000;
    return static_cast<int>(std::ceil(std::clamp(left, 0.0, longest)));
}

std::string withLine(std::string reason, const std::string& line) {
    return line.empty() ? reason : reason.append(": ").append(line);
}

/// One report. Made and used by one thread.
class ReportProcess : public NonCopyable, public NonMovable {
public:
    ReportProcess(const ReportRequest& request, const Cancellation& cancellation)
        : request(request), cancellation(cancellation), child(new ChildProcess) {}

    ReportOutcome run() {
        if (cancellation.isCancelled())
            return outcomeOf(ReportResult::cancelled, "cancelled");
        try {
            const ReportFile file;
            const base::core::PipeEnds ends = openPipe();
            const FileDescriptor output(aboveConsole(ends.reader));
            FileDescriptor writer(aboveConsole(ends.writer));
            start(file.getPath(), writer.get());
            writer.close();
            const End end = waitForEnd(output.get());
            child->killSession();
            drain(output.get());
            const std::optional<int> status = child->reap();
            ReportOutcome outcome = judge(end, status, file.read());
            outcome.output = tail.lines();
            return outcome;
        } catch (const Exception& exception) {
            return notStarted(exception.getMessage().toStdString());
        }
    }

private:
    enum class End { ended, timedOut, cancelled };

    void start(const std::string& reportPath, int32_t output) {
        const FileDescriptor input(aboveConsole(open("/dev/null", O_RDONLY | O_CLOEXEC)));
        if (input.get() < 0)
            throw IOException(lastErrorMessage());
        ChildProcess::Environment environment = hostEnvironment(environ);
        for (const auto& [name, value] : request.variables)
            environment[name] = value;
        constexpr double longest = 1e6;
        deadline = base::core::monotonicDeadline(std::min(request.timeLimit, longest));
        child->launch({.arguments = {request.program, "info-file", reportPath, request.plugin},
                       .environment = std::move(environment),
                       .input = input.get(),
                       .output = output,
                       .error = output,
                       .inSession = true});
    }

    End waitForEnd(int32_t output) {
        // Where the kernel has no descriptor for a process.
        constexpr int pollInterval = 20;
        pollfd events[] = {{cancellation.getDescriptor(), POLLIN, 0},
                           {child->getEndDescriptor(), POLLIN, 0},
                           {output, POLLIN, 0}};
        const bool hasEndDescriptor = child->getEndDescriptor() >= 0;
        for (;;) {
            const int left = millisecondsUntil(deadline);
            const int ready =
                poll(events, std::size(events), hasEndDescriptor ? left : std::min(left, pollInterval));
            if (cancellation.isCancelled())
                return End::cancelled;
            if (child->hasEnded())
                return End::ended;
            if (ready > 0 && events[2].revents != 0 && !readOutput(output))
                events[2].fd = -1;
            if (left == 0)
                return End::timedOut;
        }
    }

    /// False at the end of the output.
    bool readOutput(int32_t output) {
        char piece[65536];
        const ssize_t count = read(output, piece, sizeof piece);
        if (count > 0)
            tail.append({piece, static_cast<size_t>(count)});
        return count > 0 || (count < 0 && errno == EINTR);
    }

    /// Reads what is in the pipe. Another process may still write to it, so no more than it holds.
    void drain(int32_t output) {
        constexpr int mostReads = 16;
        pollfd event{output, POLLIN, 0};
        for (int reads = 0; reads < mostReads && poll(&event, 1, 0) > 0; ++reads) {
            if (!readOutput(output))
                break;
        }
    }

    ReportOutcome judge(End end, std::optional<int> status, const std::string& text) {
        const PluginReport report = parsePluginReport(text);
        ReportOutcome outcome = judgeEnd(end, status, report);
        if (outcome.result == ReportResult::complete && text.size() >= ReportFile::mostBytes)
            outcome = outcomeOf(ReportResult::failed, "gave a report of more than 4 MiB");
        outcome.plugins = report.plugins;
        return outcome;
    }

    ReportOutcome judgeEnd(End end, std::optional<int> status, const PluginReport& report) {
        if (end == End::cancelled)
            return outcomeOf(ReportResult::cancelled, "cancelled");
        if (end == End::timedOut)
            return timedOut();
        if (const int32_t failure = child->getExecError(); failure != 0) {
            errno = failure;
            return notStarted(lastErrorMessage().toStdString());
        }
        if (status && WIFSIGNALED(*status))
            return crashed(WTERMSIG(*status));
        return judgeReport(status, report);
    }

    static ReportOutcome notStarted(const std::string& words) {
        return outcomeOf(ReportResult::notStarted, "can't be started: " + words);
    }

    ReportOutcome timedOut() const {
        char limit[32];
        std::snprintf(limit, sizeof limit, "%g", request.timeLimit);
        return outcomeOf(ReportResult::timedOut,
                         withLine(std::string("gave no report within ") + limit + " s", tail.lastLine()));
    }

    ReportOutcome crashed(int signal) const {
        std::string reason = "ended by signal " + std::to_string(signal);
        if (const char* name = sigdescr_np(signal))
            reason.append(" (").append(name).append(")");
        return outcomeOf(ReportResult::crashed, withLine(reason, tail.lastLine()));
    }

    ReportOutcome judgeReport(std::optional<int> status, const PluginReport& report) const {
        const int code = status ? WEXITSTATUS(*status) : 0;
        if (report.plugins.empty() && ((code == noDisplayStatus && tail.hasLine(noDisplayText)) ||
                                       (code == noScreenStatus && tail.hasLine(noScreenText))))
            return outcomeOf(ReportResult::noDisplay, "no display");
        if (!report.failure.empty())
            return outcomeOf(ReportResult::failed, report.failure);
        if (!status && report.plugins.empty())
            return outcomeOf(ReportResult::failed, "ended with a status that the application took");
        const auto cut = std::ranges::find(report.plugins, false, &PluginDescription::isComplete);
        const bool isCut = cut != report.plugins.end();
        if (report.hasHeader && code == 0 && !isCut)
            return outcomeOf(ReportResult::complete);
        if (isCut && (code == recordCutStatus || !status))
            return outcomeOf(ReportResult::recordCutShort, withLine("a record was cut short", cut->failure));
        if (code == 0)
            return outcomeOf(ReportResult::failed,
                             withLine("exited with status 0 without a report", tail.lastLine()));
        return outcomeOf(ReportResult::failed,
                         withLine("exited with status " + std::to_string(code), tail.lastLine()));
    }

    static constexpr int recordCutStatus = 1;

    const ReportRequest& request;
    const Cancellation& cancellation;
    const Ref<ChildProcess> child;
    timespec deadline{};
    OutputTail tail;
};

} // namespace

ReportOutcome reportPlugins(const ReportRequest& request, const Cancellation& cancellation) {
    return ReportProcess(request, cancellation).run();
}
