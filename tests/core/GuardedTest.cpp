// A value with its lock. If these fail, threads meet in the queue of actions or in the tables of a proxy, and
// who waits for the other sleeps on.

#include "core/Guarded.h"

#include "support/Eventually.h"
#include "support/SleepingThread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <ctime>
#include <optional>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>

using base::core::Condition;
using base::core::Guarded;
using base::core::monotonicDeadline;
using namespace test_support;

namespace {

/// Starts a thread that takes the lock of a value and puts 1 into it.
class Contender {
public:
    explicit Contender(Guarded<int>& value)
        : thread([this, &value] {
              threadId = currentThreadId();
              *value.lock() = 1;
              isDone = true;
          }) {}
    ~Contender() { thread.join(); }
    Contender(const Contender&) = delete;
    Contender& operator=(const Contender&) = delete;

    bool isHeldUp() const {
        return eventually([this] { return isDone || (threadId != 0 && isAsleep(threadId)); }) && !isDone;
    }
    bool ends() const {
        return eventually([this] { return isDone.load(); });
    }

private:
    std::atomic<pid_t> threadId = 0;
    std::atomic<bool> isDone = false;
    std::thread thread;
};

} // namespace

TEST(GuardedTest, AnAccessExcludesOtherThreadsForAsLongAsItLives) {
    Guarded<int> number(5);
    std::optional<Contender> contender;
    {
        const auto access = number.lock();
        contender.emplace(number);
        EXPECT_TRUE(contender->isHeldUp());
        EXPECT_EQ(*access, 5);
    }
    EXPECT_TRUE(contender->ends());
    EXPECT_EQ(*number.lock(), 1);
}

TEST(GuardedTest, AnAccessThatIsUsedInPassingEndsWithItsExpression) {
    Guarded<std::string> text("some");
    text.lock()->append(" more");
    EXPECT_EQ(*text.lock(), "some more");
}

TEST(GuardedTest, AnAccessEndsWhereAnExceptionLeavesItsScope) {
    Guarded<std::string> text;
    EXPECT_ANY_THROW({
        const auto access = text.lock();
        access->at(7);
    });
    EXPECT_EQ(*text.lock(), "");
}

TEST(GuardedTest, AConstantGivesAnAccessThatChangesNothing) {
    using Text = Guarded<std::string>;
    EXPECT_TRUE((std::is_same_v<decltype(*std::declval<const Text&>().lock()), const std::string&>));
    EXPECT_TRUE(
        (std::is_same_v<decltype(std::declval<const Text&>().lock().operator->()), const std::string*>));
    EXPECT_TRUE((std::is_same_v<decltype(*std::declval<Text&>().lock()), std::string&>));
}

TEST(GuardedTest, TheAccessOfAConstantExcludesOtherThreadsToo) {
    Guarded<int> number(5);
    std::optional<Contender> contender;
    {
        const auto access = std::as_const(number).lock();
        contender.emplace(number);
        EXPECT_TRUE(contender->isHeldUp());
        EXPECT_EQ(*access, 5);
    }
    EXPECT_TRUE(contender->ends());
}

TEST(GuardedTest, AWaitLetsOthersInUntilItReturns) {
    Guarded<int> number(0);
    Condition changed;
    std::thread other;
    std::optional<Contender> contender;
    {
        const auto access = number.lock();
        other = std::thread([&] {
            *number.lock() = 7;
            changed.signal();
        });
        while (*access == 0)
            access.wait(changed);
        contender.emplace(number);
        EXPECT_TRUE(contender->isHeldUp());
        EXPECT_EQ(*access, 7);
    }
    other.join();
    EXPECT_TRUE(contender->ends());
}

TEST(GuardedTest, AWaitUntilADeadlineThatNothingMeetsIsFalse) {
    Guarded<int> number(0);
    Condition changed;
    const timespec deadline = monotonicDeadline(0.02);
    const auto access = number.lock();
    while (access.waitUntil(changed, deadline)) {
        // Woken for no reason, which a condition may do.
    }
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    EXPECT_TRUE(now.tv_sec > deadline.tv_sec ||
                (now.tv_sec == deadline.tv_sec && now.tv_nsec >= deadline.tv_nsec));
}

TEST(GuardedTest, AWaitUntilADeadlineIsTrueWhereASignalComesFirst) {
    Guarded<int> number(0);
    Condition changed;
    bool inTime = true;
    std::thread other;
    {
        const auto access = number.lock();
        other = std::thread([&] {
            *number.lock() = 1;
            changed.signal();
        });
        const timespec deadline = monotonicDeadline(4);
        while (*access == 0 && inTime)
            inTime = access.waitUntil(changed, deadline);
    }
    other.join();
    EXPECT_TRUE(inTime);
}
