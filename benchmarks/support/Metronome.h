#pragma once

#include <cstdint>
#include <ctime>

/// Sleeps until the next block is due.
class Metronome {
public:
    /// `interval` in nanoseconds.
    explicit Metronome(int64_t interval) : interval(interval) { clock_gettime(CLOCK_MONOTONIC, &due); }

    void wait() {
        constexpr int64_t second = 1'000'000'000;
        const int64_t next = due.tv_nsec + interval;
        due.tv_sec += static_cast<time_t>(next / second);
        due.tv_nsec = static_cast<long>(next % second);
        clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &due, nullptr);
    }

private:
    const int64_t interval;
    timespec due{};
};
