#pragma once

#include "app/StepBound.h"
#include "core/Guarded.h"
#include "core/Thread.h"

#include <functional>

/// Bounds the steps of a script that waits for others. During a step it reads its clock four times a second,
/// and calls `onOverdue` on this thread each time that the step is overdue, to end what the script waits for.
/// No step begins or ends during that call.
class StepWatchdog : public base::core::Thread {
public:
    /// The time in seconds, from any start, for the subject of the step.
    using Clock = std::function<double(const char* subject)>;

    /// By the monotonic clock.
    static double monotonicTime(const char* subject);

    /// `bound` in seconds of the clock, which is read under this object's lock.
    StepWatchdog(double bound, std::function<void()> onOverdue, Clock clock = monotonicTime);
    ~StepWatchdog() override;
    /// Ends the thread.
    bool prepareForDeletion() override;

    /// Starts a step, and its bound. Ends the one before. `subject`, which outlives this object, is what the
    /// step waits for.
    void beginStep(const char* subject);
    /// Ends the step.
    void endStep();
    /// Whether the latest step was overdue.
    bool wasOverdue();

protected:
    void run() override;

private:
    struct State {
        explicit State(double bound) : step(bound) {}

        bool stopRequested = false;
        StepBound step;
        const char* subject = "";
    };

    const std::function<void()> onOverdue;
    const Clock clock;
    base::core::Condition changed;
    base::core::Guarded<State> state;
};
