#include "plugin/CallGate.h"

#include "core/Mutex.h"

#include <ctime>

void CallGate::close() {
    calls.fetch_or(closedFlag, std::memory_order_acq_rel);
}

bool CallGate::waitForCalls(double seconds) {
    const timespec deadline = base::core::monotonicDeadline(seconds);
    const timespec pause{0, 200'000}; // nanoseconds
    // A read-modify-write, so that it is ordered with the calls: those before it are counted, those after it
    // see what the waiter did before. A plain load could miss a call that hasn't seen that yet.
    while ((calls.fetch_add(0, std::memory_order_acq_rel) & ~closedFlag) != 0) {
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC, &now);
        if (now.tv_sec > deadline.tv_sec ||
            (now.tv_sec == deadline.tv_sec && now.tv_nsec >= deadline.tv_nsec))
            return false;
        nanosleep(&pause, nullptr);
    }
    return true;
}
