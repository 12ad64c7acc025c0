// What wakes the main loop, and what it lets go of, by a clock that stands. If these fail, a request is up to
// 40 ms late, editors stand still while much is asked for, or a host grows with each instance that a client
// has had.

#include "support/HeapInUse.h"
#include "support/RunningHost.h"
#include "support/TurnedClock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace test_support;
using std::chrono::milliseconds;
using testing::ElementsAre;

namespace {

/// A running host that rests until it is woken. An instance notes each idle round but the first.
class LoopWakeTest : public testing::Test {
protected:
    LoopWakeTest() {
        EXPECT_TRUE(clock.awaitSleeper());
        isNoted = true;
    }

    void post(const std::string& name, const std::function<void()>& body = {}) {
        running.post([this, name, body] {
            running.log().add(name);
            if (body)
                body();
        });
    }

    bool hasNoted(const std::string& name) {
        return eventually([&] { return running.log().count(name) > 0; });
    }

    TurnedClock clock;
    std::atomic<bool> isNoted = false;
    RunningHost running{[this](TestHost& test) {
        test.addInstance(1)->onIdle = [this, &test] {
            if (isNoted)
                test.log.add("idle");
        };
    }};
};

} // namespace

TEST_F(LoopWakeTest, AnActionWakesTheLoop) {
    post("action");
    EXPECT_TRUE(hasNoted("action"));
}

TEST_F(LoopWakeTest, AnActionThatComesBetweenTheLookAtTheQueueAndTheWaitIsNotSleptOver) {
    post("first", [this] { clock.atNextReading([this] { post("between"); }); });
    EXPECT_TRUE(hasNoted("between"));
}

TEST_F(LoopWakeTest, ALateRoundIdlesBehindOneActionAlsoWhereMoreAreWaiting) {
    post("first", [this] {
        clock.turn(milliseconds(39));
        post("second", [this] {
            clock.turn(milliseconds(1));
            post("third", [this] { post("fourth"); });
        });
    });
    EXPECT_TRUE(hasNoted("fourth"));
    EXPECT_THAT(running.log().all(), ElementsAre("first", "second", "third", "idle", "fourth"));
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

// On this thread, whose arena is the one that is counted.
TEST(LoopMemoryTest, RemovedInstancesLeaveNothingBehindAfterTwoIdleRounds) {
    constexpr int instances = 1000;
    constexpr ptrdiff_t smallestNode = 4 * sizeof(void*);
    TurnedClock clock;
    const auto growth = [&] {
        TestHost test;
        const auto before = static_cast<ptrdiff_t>(heapInUse());
        test.host->post(new FunctionAction([&] {
            for (int i = 0; i < instances; ++i) {
                test.addInstance(i);
                test.host->instances.remove(i);
            }
        }));
        for (int round = 0; round < 4; ++round)
            test.host->post(new FunctionAction([&] { clock.turn(milliseconds(40)); }));
        test.host->post(new FunctionAction([&] {
            test.log.clear();
            test.host->stopRequested = true;
        }));
        test.host->run();
        return static_cast<ptrdiff_t>(heapInUse()) - before;
    };
    growth();
    EXPECT_LT(growth(), instances * smallestNode);
}

#endif
