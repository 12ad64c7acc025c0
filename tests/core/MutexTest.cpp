// Locks: one that isn't released stops the host for ever, one that isn't taken corrupts its queue.

#include "core/Mutex.h"

#include "FailingCalls.h"
#include "support/CapturedOutput.h"

#include "core/StdStreams.h"
#include "support/Eventually.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <unistd.h>
#include <vector>

using namespace base::core;
using namespace core_tests;
using namespace test_support;

namespace {

/// Whether another thread gets the lock at once; gives it back.
bool isFreeForOthers(Mutex& mutex) {
    bool taken = false;
    std::thread([&] {
        taken = mutex.tryLock();
        if (taken)
            mutex.unlock();
    }).join();
    return taken;
}

bool isFreeForOthers(RecursiveMutex& mutex) {
    bool taken = false;
    std::thread([&] {
        taken = !mutex.tryLock();
        if (taken)
            mutex.unlock();
    }).join();
    return taken;
}

void expectFatalAssertion(const std::string& report, const std::string& message) {
    EXPECT_NE(report.find("Assertion failed in process "), std::string::npos) << report;
    EXPECT_NE(report.find("\n\nCondition: false\nFatal state: " + message + "\n\nFile: "), std::string::npos)
        << report;
}

template <class Lock>
std::string reportOfMaking(LibraryCall call) {
    standardError(); // has a mutex of its own, which must not be the one that fails
    const CapturedOutput captured(STDERR_FILENO);
    {
        const FailingCall failing(call);
        const Lock lock;
    }
    return captured.text();
}

TEST(MutexTest, ARecursiveLockTakenTwiceNeedsTwoUnlocks) {
    RecursiveMutex mutex;
    mutex.lock();
    mutex.lock();
    EXPECT_FALSE(isFreeForOthers(mutex));
    mutex.unlock();
    EXPECT_FALSE(isFreeForOthers(mutex));
    mutex.unlock();
    EXPECT_TRUE(isFreeForOthers(mutex));
}

// Deliberate, and the opposite of the plain mutex: callers of old builds test for it.
TEST(MutexTest, TryLockOfARecursiveMutexSaysFalseWhenItTakesTheLock) {
    RecursiveMutex mutex;
    EXPECT_FALSE(mutex.tryLock());
    EXPECT_FALSE(mutex.tryLock());
    bool refused = false;
    std::thread([&] { refused = mutex.tryLock(); }).join();
    EXPECT_TRUE(refused);
    mutex.unlock();
    mutex.unlock();
    EXPECT_TRUE(isFreeForOthers(mutex));
}

TEST(MutexTest, TryLockOfAPlainMutexSaysTrueWhenItTakesTheLock) {
    Mutex mutex;
    EXPECT_TRUE(mutex.tryLock());
    EXPECT_FALSE(isFreeForOthers(mutex));
    mutex.unlock();
    EXPECT_TRUE(isFreeForOthers(mutex));
}

TEST(MutexTest, AMutexKnowsWhetherItIsRecursive) {
    const Mutex plain;
    const RecursiveMutex recursive;
    EXPECT_FALSE(static_cast<const AbstractMutex&>(plain).isRecursive());
    EXPECT_TRUE(static_cast<const AbstractMutex&>(recursive).isRecursive());
    EXPECT_TRUE((std::is_base_of_v<NonCopyable, AbstractMutex>));
}

TEST(MutexTest, AMutexExcludesOtherThreads) {
    constexpr int rounds = 5000;
    Mutex mutex;
    int count = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (int round = 0; round < rounds; ++round) {
                const ScopedLock lock(mutex);
                ++count;
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(count, 4 * rounds);
}

TEST(MutexTest, AScopedLockIsReleasedWhereAnExceptionLeavesTheScope) {
    Mutex mutex;
    RecursiveMutex recursive;
    try {
        const ScopedLock lock(mutex);
        const ScopedLock second(recursive);
        EXPECT_FALSE(isFreeForOthers(mutex));
        EXPECT_FALSE(isFreeForOthers(recursive));
        throw std::runtime_error("leave");
    } catch (const std::runtime_error&) {
    }
    EXPECT_TRUE(isFreeForOthers(mutex));
    EXPECT_TRUE(isFreeForOthers(recursive));
}

TEST(MutexTest, AMutexThatCannotBeMadeIsAFatalAssertion) {
    expectFatalAssertion(reportOfMaking<Mutex>(LibraryCall::mutexInit), "pthread_mutex_init failed");
}

TEST(MutexTest, ARecursiveMutexThatCannotBeMadeIsAFatalAssertion) {
    expectFatalAssertion(reportOfMaking<RecursiveMutex>(LibraryCall::mutexAttributesInit),
                         "pthread_mutexattr_init() failed");
    expectFatalAssertion(reportOfMaking<RecursiveMutex>(LibraryCall::mutexInit),
                         "pthread_mutex_init() failed");
}

TEST(ConditionTest, AConditionThatCannotBeMadeIsAFatalAssertion) {
    expectFatalAssertion(reportOfMaking<Condition>(LibraryCall::conditionAttributesInit),
                         "pthread_condattr_init() failed");
    expectFatalAssertion(reportOfMaking<Condition>(LibraryCall::conditionInit), "pthread_cond_init() failed");
}

TEST(ConditionTest, AWaiterIsWokenByASignal) {
    Mutex mutex;
    Condition condition;
    bool ready = false;
    bool seen = false;
    std::thread waiter([&] {
        const ScopedLock lock(mutex);
        while (!ready)
            condition.wait(mutex);
        seen = true;
    });
    {
        const ScopedLock lock(mutex);
        ready = true;
        condition.signal();
    }
    waiter.join();
    EXPECT_TRUE(seen);
}

TEST(ConditionTest, ABroadcastWakesEveryWaiter) {
    constexpr int waiterCount = 4;
    Mutex mutex;
    Condition condition;
    bool ready = false;
    int waiting = 0;
    std::vector<std::thread> waiters;
    for (int i = 0; i < waiterCount; ++i)
        waiters.emplace_back([&] {
            const ScopedLock lock(mutex);
            ++waiting;
            while (!ready)
                condition.wait(mutex);
        });
    // A waiter gives the mutex back only by waiting.
    EXPECT_TRUE(eventually([&] {
        const ScopedLock lock(mutex);
        return waiting == waiterCount;
    }));
    {
        const ScopedLock lock(mutex);
        ready = true;
    }
    condition.broadcast();
    for (std::thread& waiter : waiters)
        waiter.join();
}

TEST(ConditionTest, AWaitUntilADeadlineThatNothingMeetsIsFalse) {
    Mutex mutex;
    Condition condition;
    const timespec deadline = monotonicDeadline(0.02);
    const ScopedLock lock(mutex);
    while (condition.waitUntil(mutex, deadline)) {
        // Woken for no reason, which a condition may do.
    }
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    EXPECT_TRUE(now.tv_sec > deadline.tv_sec ||
                (now.tv_sec == deadline.tv_sec && now.tv_nsec >= deadline.tv_nsec));
}

TEST(ConditionTest, AWaitUntilADeadlineIsTrueWhereASignalComesFirst) {
    Mutex mutex;
    Condition condition;
    bool ready = false;
    bool inTime = true;
    std::thread waiter([&] {
        const timespec deadline = monotonicDeadline(4);
        const ScopedLock lock(mutex);
        while (!ready && inTime)
            inTime = condition.waitUntil(mutex, deadline);
    });
    {
        const ScopedLock lock(mutex);
        ready = true;
    }
    condition.signal();
    waiter.join();
    EXPECT_TRUE(inTime);
}

TEST(ConditionTest, ADeadlineLiesAheadOnTheMonotonicClock) {
    timespec before{};
    clock_gettime(CLOCK_MONOTONIC, &before);
    const timespec deadline = monotonicDeadline(1.75);
    timespec after{};
    clock_gettime(CLOCK_MONOTONIC, &after);
    const auto seconds = [](const timespec& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
    };
    EXPECT_GE(seconds(deadline), seconds(before) + 1.75 - 1e-6);
    EXPECT_LE(seconds(deadline), seconds(after) + 1.75 + 1e-6);
    EXPECT_GE(deadline.tv_nsec, 0);
    EXPECT_LT(deadline.tv_nsec, 1000000000);
}

} // namespace
