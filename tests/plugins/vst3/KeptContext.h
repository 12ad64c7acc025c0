#pragma once

#include "vst3/Vst3Names.h"

#include <atomic>
#include <cstdint>

/// What the module `keeps-its-context` and the test that has loaded it know of each other; found by
/// `keptContext`. The module's thread calls the hosts of all plug-ins that were ever made.
struct KeptContext {
    static constexpr uint32_t parameterId = 700;

    std::atomic<int32_t> made = 0;
    /// The plug-in that has been accepted last, by its place among those made.
    std::atomic<int32_t> lastAccepted = -1;
    /// Calls by their answers: success, the refusals of a host without an instance, and anything else.
    std::atomic<int64_t> accepted = 0;
    std::atomic<int64_t> refused = 0;
    std::atomic<int64_t> others = 0;

    /// Starts the thread and ends it.
    void (*start)() = nullptr;
    void (*stop)() = nullptr;
    /// Calls the host of the latest plug-in on a thread of its own, which it awaits.
    void (*callLatest)() = nullptr;
};
