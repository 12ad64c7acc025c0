#include "app/StepWatchdog.h"

#include <utility>

using base::core::monotonicDeadline;
using base::core::ScopedLock;

StepWatchdog::StepWatchdog(double bound, std::function<void()> onOverdue)
    : Thread("Test watchdog"), bound(bound), onOverdue(std::move(onOverdue)) {}

StepWatchdog::~StepWatchdog() = default;

bool StepWatchdog::prepareForDeletion() {
    {
        const ScopedLock scope(lock);
        stopRequested = true;
        changed.broadcast();
    }
    join();
    return true;
}

void StepWatchdog::beginStep() {
    const ScopedLock scope(lock);
    overdue = false;
    change(true);
}

void StepWatchdog::endStep() {
    const ScopedLock scope(lock);
    change(false);
}

bool StepWatchdog::wasOverdue() {
    const ScopedLock scope(lock);
    return overdue;
}

void StepWatchdog::run() {
    constexpr double insistence = 0.25; // seconds
    const ScopedLock scope(lock);
    while (!stopRequested) {
        if (!inStep) {
            changed.wait(lock);
            continue;
        }
        const uint32_t step = serial;
        if (changed.waitUntil(lock, deadline) || serial != step || stopRequested)
            continue;
        overdue = true;
        deadline = monotonicDeadline(insistence);
        onOverdue();
    }
}

void StepWatchdog::change(bool newInStep) {
    inStep = newInStep;
    deadline = monotonicDeadline(bound);
    ++serial;
    changed.broadcast();
}
