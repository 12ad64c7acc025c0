// If these fail, a plug-in that calls its host while its instance goes reaches memory that is free already.

#include "plugin/CallGate.h"
#include "support/Eventually.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

using namespace test_support;

namespace {

constexpr double generous = 4; // seconds
constexpr int32_t rounds = 50;

/// What calls touch, and who takes it away frees.
struct Touched {
    std::atomic<int32_t> alive{1};
    int32_t freedBy = 0;
    ~Touched() { alive = 0; }
};

} // namespace

TEST(CallGateTest, ACallIsRefusedOnceTheGateIsClosed) {
    CallGate gate;
    {
        const CallGate::Call call(gate);
        EXPECT_TRUE(call);
    }
    gate.close();
    gate.close();
    const CallGate::Call call(gate);
    EXPECT_FALSE(call);
}

TEST(CallGateTest, NothingIsWaitedForWithoutACallInside) {
    CallGate gate;
    { const CallGate::Call call(gate); }
    EXPECT_TRUE(gate.waitForCalls(0));
    gate.close();
    { const CallGate::Call refused(gate); }
    EXPECT_TRUE(gate.waitForCalls(0));
}

TEST(CallGateTest, AWaitGivesUpWhileACallStaysInside) {
    CallGate gate;
    const CallGate::Call first(gate);
    {
        const CallGate::Call second(gate);
        EXPECT_FALSE(gate.waitForCalls(0));
    }
    gate.close();
    EXPECT_FALSE(gate.waitForCalls(0.001));
}

TEST(CallGateTest, AWaitEndsWithTheLastCall) {
    CallGate gate;
    std::atomic<bool> inside{false};
    int32_t leftBehind = 0; // by the caller, for whoever has waited
    std::thread caller([&] {
        const CallGate::Call call(gate);
        inside = true;
        leftBehind = 1;
    });
    EXPECT_TRUE(eventually([&] { return inside.load(); }));
    gate.close();
    EXPECT_TRUE(gate.waitForCalls(generous));
    EXPECT_EQ(leftBehind, 1);
    caller.join();
}

TEST(CallGateTest, NoCallTouchesWhatIsTakenAwayBehindAClosedGate) {
    std::atomic<int32_t> touches{0};
    for (int32_t round = 0; round < rounds; ++round) {
        CallGate gate;
        auto touched = std::make_unique<Touched>();
        const int32_t before = touches;
        std::vector<std::thread> callers;
        for (int32_t i = 0; i < 2; ++i) {
            callers.emplace_back([&, object = touched.get()] {
                for (;;) {
                    const CallGate::Call call(gate);
                    if (!call)
                        return;
                    touches += object->alive;
                }
            });
        }
        EXPECT_TRUE(eventually([&] { return touches != before; }));
        gate.close();
        ASSERT_TRUE(gate.waitForCalls(generous));
        touched->freedBy = 1; // seen as a race if a call were still inside
        touched = nullptr;
        for (std::thread& caller : callers)
            caller.join();
    }
    EXPECT_GE(touches, rounds);
}

TEST(CallGateTest, NoCallFindsAPointerThatWasTakenOutBeforeTheWait) {
    std::atomic<int32_t> touches{0};
    CallGate gate; // stays open: a later call finds no pointer
    std::atomic<Touched*> pointer{nullptr};
    std::atomic<bool> stop{false};
    std::vector<std::thread> callers;
    for (int32_t i = 0; i < 2; ++i) {
        callers.emplace_back([&] {
            while (!stop) {
                const CallGate::Call call(gate);
                if (const Touched* object = pointer.load(std::memory_order_acquire))
                    touches += object->alive;
            }
        });
    }
    for (int32_t round = 0; round < rounds; ++round) {
        auto touched = std::make_unique<Touched>();
        const int32_t before = touches;
        pointer.store(touched.get(), std::memory_order_release);
        EXPECT_TRUE(eventually([&] { return touches != before; }));
        pointer.store(nullptr, std::memory_order_relaxed);
        if (!gate.waitForCalls(generous)) {
            ADD_FAILURE() << "a call never left";
            touched.release(); // NOLINT(bugprone-unused-return-value): a caller is still in it
            break;
        }
        touched->freedBy = 1;
    }
    stop = true;
    for (std::thread& caller : callers)
        caller.join();
    EXPECT_GE(touches, rounds);
}
