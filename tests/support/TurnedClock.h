#pragma once

#include <chrono>
#include <functional>
#include <optional>

namespace test_support {

/// The clocks of the code under test, which stand still until the test turns them: the wall clock, the
/// monotonic clock and the timed waits of conditions that measure by it. In force for a scope, one at a time;
/// the test's own clocks go on. A program of tests that has this source leads the calls here:
/// `turned_clock_in`, in the CMakeLists.txt of the tests.
class TurnedClock {
public:
    using Duration = std::chrono::microseconds;

    TurnedClock();
    ~TurnedClock();
    TurnedClock(const TurnedClock&) = delete;
    TurnedClock& operator=(const TurnedClock&) = delete;

    /// Moves both clocks on. Waits whose deadline is reached end by time.
    void turn(Duration by);
    /// Moves the wall clock alone, also back, as a user does who sets it.
    void setWallClock(Duration by);
    /// Waits until a thread of the code under test rests in a timed wait, and returns how long that one has
    /// left; nothing if none does within 10 s.
    std::optional<Duration> awaitSleeper();
    /// Called once, on the next thread that reads the monotonic clock, before that gets its answer.
    void atNextReading(std::function<void()> action);
};

} // namespace test_support
