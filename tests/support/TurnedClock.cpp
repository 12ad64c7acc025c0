#include "support/TurnedClock.h"

#include <cerrno>
#include <condition_variable>
#include <ctime>
#include <list>
#include <mutex>
#include <pthread.h>
#include <sys/time.h>
#include <utility>
#include <vector>

using namespace std::chrono_literals;

namespace test_support {
namespace {

using Nanoseconds = std::chrono::nanoseconds;

struct Sleeper {
    pthread_cond_t* condition;
    pthread_mutex_t* mutex;
    Nanoseconds deadline;
    bool expired = false;
};

struct Clocks {
    std::mutex lock;
    std::condition_variable sleepersChanged;
    bool inForce = false;
    Nanoseconds monotonic{};
    Nanoseconds wall{};
    std::list<Sleeper> sleepers;
    std::function<void()> atReading;
};

// Never destroyed: threads of the code under test may outlive the program's objects.
Clocks& clocks() {
    static auto& all = *new Clocks;
    return all;
}

timespec toTimespec(Nanoseconds time) {
    timespec converted{};
    converted.tv_sec = static_cast<time_t>(time / 1s);
    converted.tv_nsec = static_cast<long>((time % 1s).count());
    return converted;
}

Nanoseconds fromTimespec(const timespec& time) {
    return std::chrono::seconds(time.tv_sec) + Nanoseconds(time.tv_nsec);
}

// Wakes the sleepers that have expired. Each holds its mutex until it rests, so none misses this.
void wake(const std::vector<Sleeper>& expired) {
    for (const Sleeper& sleeper : expired) {
        pthread_mutex_lock(sleeper.mutex);
        pthread_cond_broadcast(sleeper.condition);
        pthread_mutex_unlock(sleeper.mutex);
    }
}

} // namespace

TurnedClock::TurnedClock() {
    const std::lock_guard lock(clocks().lock);
    clocks().inForce = true;
    clocks().monotonic = 1000s;
    clocks().wall = 1600000000s;
}

TurnedClock::~TurnedClock() {
    std::vector<Sleeper> left;
    {
        const std::lock_guard lock(clocks().lock);
        clocks().inForce = false;
        clocks().atReading = nullptr;
        left.assign(clocks().sleepers.begin(), clocks().sleepers.end());
    }
    wake(left);
}

void TurnedClock::turn(Duration by) {
    std::vector<Sleeper> expired;
    {
        const std::lock_guard lock(clocks().lock);
        clocks().monotonic += by;
        clocks().wall += by;
        for (Sleeper& sleeper : clocks().sleepers) {
            if (!sleeper.expired && sleeper.deadline <= clocks().monotonic) {
                sleeper.expired = true;
                expired.push_back(sleeper);
            }
        }
    }
    wake(expired);
}

void TurnedClock::setWallClock(Duration by) {
    const std::lock_guard lock(clocks().lock);
    clocks().wall += by;
}

std::optional<TurnedClock::Duration> TurnedClock::awaitSleeper() {
    std::unique_lock lock(clocks().lock);
    std::optional<Duration> left;
    clocks().sleepersChanged.wait_for(lock, 10s, [&] {
        for (const Sleeper& sleeper : clocks().sleepers) {
            // Deadlines are rounded to nanoseconds from fractions of a second.
            if (!sleeper.expired)
                left = std::chrono::round<Duration>(sleeper.deadline - clocks().monotonic);
        }
        return left.has_value();
    });
    return left;
}

void TurnedClock::atNextReading(std::function<void()> action) {
    const std::lock_guard lock(clocks().lock);
    clocks().atReading = std::move(action);
}

} // namespace test_support

using namespace test_support;

extern "C" {

int __real_gettimeofday(timeval* time, void* zone);
int __wrap_gettimeofday(timeval* time, void* zone) {
    const std::lock_guard lock(clocks().lock);
    if (!clocks().inForce)
        return __real_gettimeofday(time, zone);
    time->tv_sec = static_cast<time_t>(clocks().wall / 1s);
    time->tv_usec = static_cast<suseconds_t>(clocks().wall % 1s / 1us);
    return 0;
}

int __real_clock_gettime(clockid_t clock, timespec* time);
int __wrap_clock_gettime(clockid_t clock, timespec* time) {
    std::function<void()> action;
    if (clock == CLOCK_MONOTONIC) {
        const std::lock_guard lock(clocks().lock);
        action = std::exchange(clocks().atReading, nullptr);
    }
    if (action)
        action();
    const std::lock_guard lock(clocks().lock);
    if (!clocks().inForce || clock != CLOCK_MONOTONIC)
        return __real_clock_gettime(clock, time);
    *time = toTimespec(clocks().monotonic);
    return 0;
}

int __real_pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                  const timespec* deadline);
int __wrap_pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                  const timespec* deadline) {
    std::optional<std::list<Sleeper>::iterator> self;
    {
        const std::lock_guard lock(clocks().lock);
        if (clocks().inForce) {
            if (fromTimespec(*deadline) <= clocks().monotonic)
                return ETIMEDOUT;
            self = clocks().sleepers.insert(clocks().sleepers.end(),
                                            {condition, mutex, fromTimespec(*deadline)});
            clocks().sleepersChanged.notify_all();
        }
    }
    if (!self)
        return __real_pthread_cond_timedwait(condition, mutex, deadline);
    pthread_cond_wait(condition, mutex);
    const std::lock_guard lock(clocks().lock);
    const bool expired = (*self)->expired;
    clocks().sleepers.erase(*self);
    return expired ? ETIMEDOUT : 0;
}
}
