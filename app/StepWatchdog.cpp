#include "app/StepWatchdog.h"

#include <ctime>
#include <utility>

using base::core::monotonicDeadline;
using base::core::ScopedLock;

double StepWatchdog::monotonicTime(const char*) {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

StepWatchdog::StepWatchdog(double bound, std::function<void()> onOverdue, Clock clock)
    : Thread("Test watchdog"), onOverdue(std::move(onOverdue)), clock(std::move(clock)), step(bound) {}

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

void StepWatchdog::beginStep(const char* newSubject) {
    const ScopedLock scope(lock);
    subject = newSubject;
    step.begin(clock(subject));
    changed.broadcast();
}

void StepWatchdog::endStep() {
    const ScopedLock scope(lock);
    step.end();
}

bool StepWatchdog::wasOverdue() {
    const ScopedLock scope(lock);
    return step.wasOverdue();
}

void StepWatchdog::run() {
    constexpr double interval = 0.25; // seconds
    const ScopedLock scope(lock);
    while (!stopRequested) {
        if (!step.isInStep()) {
            changed.wait(lock);
            continue;
        }
        if (step.isOverdueAt(clock(subject)))
            onOverdue();
        changed.waitUntil(lock, monotonicDeadline(interval));
    }
}
