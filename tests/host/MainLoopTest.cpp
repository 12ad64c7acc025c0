// The main loop and its queue. If these fail, editors freeze or flicker, notifications are sent on a
// plug-in's thread, or requests are lost or run out of order.

#include "plugin/PluginHostNotifications.h"
#include "support/RunningHost.h"
#include "support/TurnedClock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <map>
#include <stdexcept>
#include <string>
#include <sys/prctl.h>
#include <unistd.h>

using namespace std::chrono_literals;
using namespace test_support;
using testing::ElementsAre;

namespace {

constexpr auto idleInterval = 40ms;

} // namespace

TEST(MainLoopTest, WithoutActionsEveryInstanceIdlesEachFortyMilliseconds) {
    TurnedClock clock;
    std::atomic<int> first = 0;
    std::atomic<int> second = 0;
    RunningHost running([&](TestHost& test) {
        test.addInstance(1)->onIdle = [&] { ++first; };
        test.addInstance(2)->onIdle = [&] { ++second; };
    });
    for (int round = 1; round <= 26; ++round) {
        ASSERT_EQ(clock.awaitSleeper(), idleInterval) << "after " << round << " rounds";
        clock.turn(idleInterval - 1ms);
        ASSERT_EQ(clock.awaitSleeper(), 1ms) << "after " << round << " rounds";
        ASSERT_EQ(first, round);
        ASSERT_EQ(second, round);
        clock.turn(1ms);
    }
}

TEST(MainLoopTest, TheFirstRoundIdlesAtOnceEvenWithActionsWaiting) {
    TurnedClock clock;
    RunningHost running([](TestHost& test) {
        FakePluginInstance* instance = test.addInstance(1).get();
        instance->onIdle = [instance] { instance->log.add("idle"); };
        for (int i = 0; i < 3; ++i)
            test.host->post(
                new FunctionAction([&log = test.log, i] { log.add("action " + std::to_string(i)); }));
    });
    ASSERT_EQ(clock.awaitSleeper(), idleInterval);
    EXPECT_THAT(running.log().all(), ElementsAre("action 0", "idle", "action 1", "action 2"));
}

TEST(MainLoopTest, ASignalBeforeTheTimeoutLosesNoIdleRoundAndAddsNone) {
    TurnedClock clock;
    std::atomic<int> idles = 0;
    RunningHost running([&](TestHost& test) { test.addInstance(1)->onIdle = [&] { ++idles; }; });
    for (int round = 1; round <= 5; ++round) {
        // Each wake-up leaves only the rest of the interval to be waited for.
        for (auto left = idleInterval; left > 0ms; left -= 10ms) {
            ASSERT_TRUE(running.call([] {}));
            ASSERT_EQ(clock.awaitSleeper(), left) << "in round " << round;
            ASSERT_EQ(idles, round);
            clock.turn(10ms);
        }
        ASSERT_EQ(clock.awaitSleeper(), idleInterval) << "after round " << round;
    }
}

TEST(MainLoopTest, AWallClockThatIsSetBackOrAheadGivesAnIdleRoundAtOnceAndThenTheUsualOnes) {
    TurnedClock clock;
    std::atomic<int> idles = 0;
    RunningHost running([&](TestHost& test) { test.addInstance(1)->onIdle = [&] { ++idles; }; });
    int expected = 1;
    for (const auto change : {-1h, 1h}) {
        ASSERT_EQ(clock.awaitSleeper(), idleInterval);
        ASSERT_EQ(idles, expected);
        clock.setWallClock(change);
        ASSERT_TRUE(running.call([] {}));
        ASSERT_EQ(clock.awaitSleeper(), idleInterval);
        EXPECT_EQ(idles, ++expected);
        clock.turn(idleInterval);
        ASSERT_EQ(clock.awaitSleeper(), idleInterval);
        EXPECT_EQ(idles, ++expected);
    }
}

TEST(MainLoopTest, WhetherAnActionIsFollowedByIdleIsDecidedBeforeItRuns) {
    TurnedClock clock;
    std::string order;
    RunningHost running([&](TestHost& test) {
        test.addInstance(1)->onIdle = [&] { order += 'i'; };
        for (int i = 0; i < 12; ++i) {
            test.host->post(new FunctionAction([&] {
                order += 'a';
                clock.turn(idleInterval + 5ms);
            }));
        }
    });
    ASSERT_EQ(clock.awaitSleeper(), idleInterval);
    // The first round is always late. From then on an action finds an idle round behind it, the next one
    // finds that the one before it took long.
    EXPECT_EQ(order, "ai"
                     "aai"
                     "aai"
                     "aai"
                     "aai"
                     "aai"
                     "ai");
}

TEST(MainLoopTest, AnActionThatIsNotLateIsNotFollowedByIdle) {
    TurnedClock clock;
    std::string order;
    RunningHost running([&](TestHost& test) {
        test.addInstance(1)->onIdle = [&] { order += 'i'; };
        for (int i = 0; i < 9; ++i) {
            test.host->post(new FunctionAction([&] {
                order += 'a';
                clock.turn(10ms);
            }));
        }
    });
    ASSERT_TRUE(running.call([] {}));
    // After the first, four actions take the interval, and the one that starts behind it is late.
    EXPECT_EQ(order, "ai"
                     "aaaaai"
                     "aaa");
}

TEST(MainLoopTest, ActionsOfManyThreadsAllRunOnTheMainThreadInEachThreadsOrder) {
    constexpr int threadCount = 6;
    constexpr int actionCount = 500;
    RunningHost running;
    std::map<int, std::vector<int>> ran;
    int onOtherThreads = 0;
    std::vector<std::thread> posters;
    for (int poster = 0; poster < threadCount; ++poster) {
        posters.emplace_back([&, poster] {
            for (int i = 0; i < actionCount; ++i) {
                running.post([&, poster, i] {
                    ran[poster].push_back(i);
                    onOtherThreads += running.host().isMainThread() ? 0 : 1;
                });
            }
        });
    }
    for (std::thread& poster : posters)
        poster.join();
    ASSERT_TRUE(running.call([] {}));
    ASSERT_EQ(ran.size(), static_cast<size_t>(threadCount));
    for (const auto& [poster, order] : ran) {
        ASSERT_EQ(order.size(), static_cast<size_t>(actionCount)) << "of thread " << poster;
        EXPECT_TRUE(std::is_sorted(order.begin(), order.end())) << "of thread " << poster;
    }
    EXPECT_EQ(onOtherThreads, 0);
}

TEST(MainLoopTest, AnActionMayPostAnother) {
    RunningHost running;
    std::atomic<bool> second = false;
    ASSERT_TRUE(running.call([&] { running.post([&] { second = true; }); }));
    EXPECT_TRUE(eventually([&] { return second.load(); }));
}

TEST(MainLoopTest, AnActionIsHeldUntilItHasRunAndNotLonger) {
    const Ref<PluginHostAction> action(new FunctionAction([] {}));
    RunningHost running;
    running.host().post(action);
    ASSERT_TRUE(running.call([] {}));
    EXPECT_TRUE(eventually([&] {
        const int32_t count = retain(action.get());
        release(action.get());
        return count == 2;
    })) << "the queue still holds an action that has run";
}

TEST(MainLoopTest, RunOnMainThreadRunsAtOnceOnTheMainThread) {
    TestHost test;
    bool ran = false;
    test.host->runOnMainThread(new FunctionAction([&] { ran = true; }));
    EXPECT_TRUE(ran);
}

TEST(MainLoopTest, RunOnMainThreadRunsAtOnceInsideOfAnAction) {
    RunningHost running;
    bool ranAtOnce = false;
    ASSERT_TRUE(running.call([&] {
        bool ran = false;
        running.host().runOnMainThread(new FunctionAction([&] { ran = true; }));
        ranAtOnce = ran;
    }));
    EXPECT_TRUE(ranAtOnce);
}

TEST(MainLoopTest, RunOnMainThreadHandsOverFromAnyOtherThread) {
    RunningHost running;
    std::atomic<int> ranOnMainThread = -1;
    running.host().runOnMainThread(
        new FunctionAction([&] { ranOnMainThread = running.host().isMainThread() ? 1 : 0; }));
    ASSERT_TRUE(eventually([&] { return ranOnMainThread != -1; })) << "the action did not run";
    EXPECT_EQ(ranOnMainThread, 1);
}

TEST(MainLoopTest, WhatAPluginsThreadReportsIsSentByTheMainThread) {
    FakePluginInstance* instance = nullptr;
    RunningHost running([&](TestHost& test) { instance = test.addInstance(2).get(); });
    instance->notifyParameterChanged(3, 0.5F);
    instance->beginParameterEdit(3);
    const std::string value = "notification: " + golden("00 02 00 00 00 03 00 00 00 00 00 00 3F");
    const std::string edit = "notification: " + golden("03 02 00 00 00 03 00 00 00 01");
    ASSERT_TRUE(running.call([] {}));
    EXPECT_THAT(running.log().all(), ElementsAre(value, edit));
}

TEST(MainLoopTest, OnlyTheConstructingThreadIsTheMainThread) {
    const TestHost test;
    EXPECT_TRUE(test.host->isMainThread());
    bool other = true;
    std::thread([&] { other = test.host->isMainThread(); }).join();
    EXPECT_FALSE(other);
}

TEST(MainLoopTest, AStopThatCameBeforeEndsTheLoopWithoutARound) {
    TestHost test;
    test.addInstance(1)->onIdle = [&] { test.log.add("idle"); };
    test.host->post(new FunctionAction([&] { test.log.add("action"); }));
    test.host->stopRequested = true;
    test.host->run();
    EXPECT_TRUE(test.log.all().empty());
}

TEST(MainLoopTest, AnInstanceThatLeavesTheTableInItsIdleIsHeldUntilItReturns) {
    std::atomic<bool> done = false;
    size_t destroyedInside = 99;
    RunningHost running([&](TestHost& test) {
        test.addInstance(1)->onIdle = [&] {
            test.host->instances.remove(1);
            destroyedInside = test.log.count("~instance 1");
            done = true;
        };
    });
    ASSERT_TRUE(eventually([&] { return done.load(); })) << "idle did not run";
    ASSERT_TRUE(running.call([] {}));
    EXPECT_EQ(destroyedInside, 0U);
    EXPECT_EQ(running.log().count("~instance 1"), 1U);
}

TEST(MainLoopTest, ARemovedInstanceIdlesNoMore) {
    std::atomic<int> removed = 0;
    std::atomic<int> kept = 0;
    RunningHost running([&](TestHost& test) {
        test.addInstance(1)->onIdle = [&] { ++removed; };
        test.addInstance(2)->onIdle = [&] { ++kept; };
    });
    ASSERT_TRUE(eventually([&] { return removed > 0; }));
    ASSERT_TRUE(running.call([&] { running.host().instances.remove(1); }));
    const int removedThen = removed;
    const int keptThen = kept;
    ASSERT_TRUE(eventually([&] { return kept > keptThen + 2; })) << "the other instance idles no more";
    EXPECT_EQ(removed, removedThen);
}

TEST(MainLoopTest, TheRunThreadRunsTheLoopAndIsNotTheMainThread) {
    Ref<PluginHost> host(new PluginHost(44100, 256));
    std::atomic<bool> ran = false;
    std::atomic<bool> wasHandedOver = false;
    bool isMainThread = true;
    char threadName[32] = {};
    host->post(new FunctionAction([&] {
        isMainThread = host->isMainThread();
        prctl(PR_GET_NAME, threadName);
        host->runOnMainThread(new FunctionAction([&] { wasHandedOver = ran.load(); }));
        ran = true;
    }));
    host->startRunThread();
    EXPECT_TRUE(host->isMainThread());
    EXPECT_TRUE(eventually([&] { return wasHandedOver.load(); }))
        << "an action of the run thread was not queued behind the one that gave it";
    host->stopRequested = true;
    host = nullptr;
    EXPECT_FALSE(isMainThread);
    EXPECT_STREQ(threadName, "PluginHost Main");
}

TEST(MainLoopTest, TheHostIsKnownProcessWideAsLongAsItLives) {
    Ref<PluginHost> host(new PluginHost(48000, 128));
    EXPECT_EQ(PluginHost::getCurrent(), host.get());
    EXPECT_EQ(host->sampleRate, 48000);
    EXPECT_EQ(host->blockSize, 128);
    host = nullptr;
    EXPECT_EQ(PluginHost::getCurrent(), nullptr);
}

// A loop that an exception has left can't be taken up or destroyed any more: the process ends. So these run
// in a process of their own.

TEST(MainLoopDeathTest, AnExceptionOfAnActionLeavesTheLoop) {
    const auto run = [] {
        alarm(10);
        TestHost test;
        test.host->post(new FunctionAction([] { throw IOException("it broke"); }));
        try {
            test.host->run();
        } catch (const IOException&) {
            _exit(7);
        }
        _exit(8);
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(7), "");
}

TEST(MainLoopDeathTest, AnExceptionOfIdleLeavesTheLoop) {
    const auto run = [] {
        alarm(10);
        TestHost test;
        test.addInstance(1)->onIdle = [] { throw std::runtime_error("it broke"); };
        try {
            test.host->run();
        } catch (const std::runtime_error&) {
            _exit(7);
        }
        _exit(8);
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(7), "");
}

namespace {

/// Tells whether it has gone, and whether it has run.
class WatchedAction : public PluginHostAction {
public:
    explicit WatchedAction(CallLog& log) : log(log) {}
    ~WatchedAction() override { log.add("~action"); }

    void run() override { log.add("action"); }

private:
    CallLog& log;
};

/// Reports as it ends, as a plug-in does that calls back from its own end.
class ReportingInstance : public FakePluginInstance {
public:
    using FakePluginInstance::FakePluginInstance;
    ~ReportingInstance() override { host->post(new WatchedAction(log)); }
};

} // namespace

TEST(MainLoopTest, InstancesOfAHostThatEndsFindItsQueueAndNothingOfItRuns) {
    CallLog log;
    {
        const Ref<PluginHost> host(new PluginHost(44100, 256));
        host->instances.insert(1, new ReportingInstance(host.get(), 1, log));
    }
    EXPECT_THAT(log.all(), ElementsAre("~instance 1", "~action"));
}

TEST(MainLoopTest, AnInstanceThatAnActionHoldsFindsTheQueueToo) {
    CallLog log;
    {
        const Ref<PluginHost> host(new PluginHost(44100, 256));
        Ref<PluginInstance> instance(new ReportingInstance(host.get(), 1, log));
        host->post(new UpdateAllParametersNotification(*instance, nullptr));
    }
    EXPECT_THAT(log.all(), ElementsAre("~instance 1", "~action"));
}
