#include "client/StartWatch.h"

#include "core/Exception.h"
#include "core/FileDescriptor.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <poll.h>

using base::core::ChildProcess;
using base::core::EventDescriptor;
using base::core::Exception;
using base::core::FileDescriptor;
using base::core::Guarded;
using base::core::NamedServerPipe;

namespace {

using Pipes = std::vector<Ref<NamedServerPipe>>;

/// How often a child without a descriptor is looked at.
constexpr timespec lookInterval{0, 20'000'000};

struct Failure {
    StartException::Reason reason;
    String message;
};

// In milliseconds, rounded up, for `ppoll`.
timespec remaining(const timespec& deadline) {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    timespec left{deadline.tv_sec - now.tv_sec, deadline.tv_nsec - now.tv_nsec};
    if (left.tv_nsec < 0) {
        left.tv_nsec += 1'000'000'000;
        --left.tv_sec;
    }
    return left.tv_sec < 0 ? timespec{} : left;
}

String seconds(double value) {
    const auto milliseconds = static_cast<int32_t>(std::lround(value * 1000));
    return milliseconds % 1000 == 0 ? concat(milliseconds / 1000, " s") : concat(milliseconds, " ms");
}

} // namespace

class StartWatch::WatchThread : public base::core::Thread {
public:
    WatchThread(const ChildProcess& child, const HostOptions& options, const Pipes& pipes)
        : Thread("Plugin host start watch"), child(child), options(options), pipes(pipes),
          deadline(base::core::monotonicDeadline(options.startTimeLimit)) {}

    bool prepareForDeletion() override {
        stop.signal();
        join();
        return true;
    }

    void check() const {
        const auto failed = failure.lock();
        if (*failed)
            throw StartException((*failed)->reason, (*failed)->message);
    }

protected:
    void run() override {
        const std::optional<Failure> outcome = watch();
        if (!outcome)
            return;
        *failure.lock() = outcome;
        // Kept open for as long as this lives: the client may only be about to open an end.
        for (const Ref<NamedServerPipe>& pipe : pipes)
            pipe->openOtherEnds(otherEnds);
    }

private:
    /// Nothing if the start has come to its end.
    std::optional<Failure> watch() {
        for (;;) {
            // `ppoll` ignores a negative descriptor: one that there is none of.
            std::array<pollfd, 3> sources{
                {{stop.get(), POLLIN, 0},
                 {child.getEndDescriptor(), POLLIN, 0},
                 {options.cancellation != nullptr ? options.cancellation->get() : -1, POLLIN, 0}}};
            const timespec left = remaining(deadline);
            const bool isOver = left.tv_sec == 0 && left.tv_nsec == 0;
            // Without a descriptor: an application has reaped it as it ended, or the kernel is old.
            const bool isSeen = sources[1].fd >= 0;
            if (!isSeen && child.hasEnded())
                return Failure{StartException::Reason::ended, describeEnd()};
            const timespec wait = isSeen || isOver ? left : lookInterval;
            const int ready = ppoll(sources.data(), sources.size(), &wait, nullptr);
            if (ready < 0 && errno != EINTR)
                return Failure{StartException::Reason::ended, base::core::lastErrorMessage()};
            if (sources[0].revents != 0)
                return std::nullopt;
            if (ready > 0 && sources[1].revents != 0)
                return Failure{StartException::Reason::ended, describeEnd()};
            if (ready > 0 && sources[2].revents != 0)
                return Failure{StartException::Reason::cancelled, "Starting the plug-in host was cancelled"};
            if (ready == 0 && (isSeen || isOver))
                return Failure{StartException::Reason::timedOut,
                               concat(options.program, " hasn't opened the pipes of a plug-in host within ",
                                      seconds(options.startTimeLimit))};
        }
    }

    String describeEnd() const {
        const std::optional<int> status = child.peekStatus();
        return concat(options.program, " ", status ? base::core::describeStatus(*status) : "ended",
                      " before it had opened the pipes of a plug-in host");
    }

    const ChildProcess& child;
    const HostOptions& options;
    const Pipes pipes;
    const timespec deadline;
    EventDescriptor stop;
    Guarded<std::optional<Failure>> failure;
    std::vector<std::unique_ptr<FileDescriptor>> otherEnds;
};

StartWatch::StartWatch(const ChildProcess& child, const HostOptions& options, const Pipes& pipes)
    : thread(new WatchThread(child, options, pipes)) {
    thread->start();
}

StartWatch::~StartWatch() = default;

void StartWatch::check() const {
    thread->check();
}

StartException::StartException(Reason reason, const String& message) : IOException(message), reason(reason) {}

StartException::~StartException() = default;

Exception* StartException::clone() const {
    return new StartException(*this);
}
