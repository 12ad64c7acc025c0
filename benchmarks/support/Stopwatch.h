#pragma once

#include <chrono>

/// The time since its construction.
class Stopwatch {
public:
    double microseconds() const {
        return std::chrono::duration<double, std::micro>(Clock::now() - start).count();
    }
    double milliseconds() const { return microseconds() / 1000; }

private:
    using Clock = std::chrono::steady_clock;
    Clock::time_point start = Clock::now();
};
