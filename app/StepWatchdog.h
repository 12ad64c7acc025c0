#pragma once

#include "app/StepBound.h"
#include "core/Mutex.h"
#include "core/Thread.h"

#include <functional>

/// Bounds the steps of a script that waits for others. Four times a second it looks at its clock while a step
/// is under way, and while that is overdue, `onOverdue` is called each time, on this thread: it ends what the
/// script waits for. No step begins or ends meanwhile.
class StepWatchdog : public base::core::Thread {
public:
    /// The time in seconds, from a start of its own; given what the step waits for.
    using Clock = std::function<double(const char* subject)>;

    /// By the system's clock, which no setting of the time changes.
    static double monotonicTime(const char* subject);

    /// `bound` in seconds of the clock, which is read under this object's lock.
    StepWatchdog(double bound, std::function<void()> onOverdue, Clock clock = monotonicTime);
    ~StepWatchdog() override;
    /// Ends the thread.
    bool prepareForDeletion() override;

    /// The bound counts from here on. Ends the step before. `subject`, which lives as long as this, says what
    /// the step waits for.
    void beginStep(const char* subject);
    /// Nothing is waited for any more.
    void endStep();
    /// Whether the latest step was overdue.
    bool wasOverdue();

protected:
    void run() override;

private:
    const std::function<void()> onOverdue;
    const Clock clock;
    base::core::Mutex lock;
    base::core::Condition changed;
    /// All under `lock`.
    bool stopRequested = false;
    StepBound step;
    const char* subject = "";
};
