#include "app/StepWatchdog.h"

#include <ctime>
#include <utility>

using base::core::monotonicDeadline;

double StepWatchdog::monotonicTime(const char*) {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

StepWatchdog::StepWatchdog(double bound, std::function<void()> onOverdue, Clock clock)
    : Thread("Test watchdog"), onOverdue(std::move(onOverdue)), clock(std::move(clock)), state(bound) {}

StepWatchdog::~StepWatchdog() = default;

bool StepWatchdog::prepareForDeletion() {
    {
        const auto current = state.lock();
        current->stopRequested = true;
        changed.broadcast();
    }
    join();
    return true;
}

void StepWatchdog::beginStep(const char* newSubject) {
    const auto current = state.lock();
    current->subject = newSubject;
    current->step.begin(clock(newSubject));
    changed.broadcast();
}

void StepWatchdog::endStep() {
    state.lock()->step.end();
}

bool StepWatchdog::wasOverdue() {
    return state.lock()->step.wasOverdue();
}

void StepWatchdog::run() {
    constexpr double interval = 0.25; // seconds
    const auto current = state.lock();
    while (!current->stopRequested) {
        if (!current->step.isInStep()) {
            current.wait(changed);
            continue;
        }
        if (current->step.isOverdueAt(clock(current->subject)))
            onOverdue();
        current.waitUntil(changed, monotonicDeadline(interval));
    }
}
