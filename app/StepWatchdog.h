#pragma once

#include "core/Mutex.h"
#include "core/Thread.h"

#include <cstdint>
#include <ctime>
#include <functional>

/// Bounds the steps of a script that waits for others. While a step is overdue, `onOverdue` is called four
/// times a second, on this thread: it ends what the script waits for. No step begins or ends meanwhile.
class StepWatchdog : public base::core::Thread {
public:
    /// `bound` in seconds.
    StepWatchdog(double bound, std::function<void()> onOverdue);
    ~StepWatchdog() override;
    /// Ends the thread.
    bool prepareForDeletion() override;

    /// The bound counts from here on. Ends the step before.
    void beginStep();
    /// Nothing is waited for any more.
    void endStep();
    /// Whether the latest step was overdue.
    bool wasOverdue();

protected:
    void run() override;

private:
    void change(bool newInStep);

    const double bound;
    const std::function<void()> onOverdue;
    base::core::Mutex lock;
    base::core::Condition changed;
    bool stopRequested = false;
    bool inStep = false;
    bool overdue = false;
    timespec deadline{};
    /// Counts the changes of the above.
    uint32_t serial = 0;
};
