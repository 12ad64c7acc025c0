// The main loop and its queue. If these fail, editors freeze or flicker, notifications are sent on a
// plug-in's thread, or requests are lost or run out of order.

#include "tests/host/RunningHost.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <mutex>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/time.h>
#include <unistd.h>

using testing::ElementsAre;

namespace {

constexpr auto idleInterval = std::chrono::milliseconds(40);

/// The wall clock, by which the loop measures.
std::chrono::microseconds wallClock() {
    timeval now{};
    gettimeofday(&now, nullptr);
    return std::chrono::seconds(now.tv_sec) + std::chrono::microseconds(now.tv_usec);
}

/// The times at which an instance was called.
class IdleTimes {
public:
    void note() {
        const std::lock_guard lock(mutex);
        times.push_back(wallClock());
    }
    std::vector<std::chrono::microseconds> all() const {
        const std::lock_guard lock(mutex);
        return times;
    }

private:
    mutable std::mutex mutex;
    std::vector<std::chrono::microseconds> times;
};

// A note that came late makes the next one look early, so the rate counts and not each interval. The loop
// measures in whole milliseconds.
void expectNotTooOften(const std::vector<std::chrono::microseconds>& times) {
    const auto shortest = idleInterval - std::chrono::milliseconds(2);
    EXPECT_GE(times.back() - times.front(), shortest * (times.size() - 2)) << times.size() << " idle rounds";
}

// Keeps the main thread for a time.
void keepBusy(std::chrono::microseconds time) {
    const auto end = wallClock() + time;
    while (wallClock() < end)
        std::this_thread::yield();
}

} // namespace

TEST(MainLoopTest, WithoutActionsEveryInstanceIdlesAboutTwentyFiveTimesASecond) {
    IdleTimes first;
    IdleTimes second;
    RunningHost running([&](TestHost& test) {
        test.addInstance(1)->onIdle = [&] { first.note(); };
        test.addInstance(2)->onIdle = [&] { second.note(); };
    });
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_TRUE(eventually([&] { return second.all().size() >= 26; })) << "fewer than 26 idle rounds";
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(4)) << "idle comes too rarely";
    running.stop();
    expectNotTooOften(first.all());
    expectNotTooOften(second.all());
    EXPECT_LE(first.all().size() - second.all().size(), 1U);
}

TEST(MainLoopTest, TheFirstRoundIdlesAtOnceEvenWithActionsWaiting) {
    RunningHost running([](TestHost& test) {
        FakePluginInstance* instance = test.addInstance(1).get();
        instance->onIdle = [instance] { instance->log.add("idle"); };
        for (int i = 0; i < 3; ++i)
            test.host->post(
                new FunctionAction([&log = test.log, i] { log.add("action " + std::to_string(i)); }));
    });
    ASSERT_TRUE(eventually([&] { return running.log().count("action 2") == 1; }));
    std::vector<std::string> entries = running.log().all();
    entries.resize(3);
    EXPECT_THAT(entries, ElementsAre("action 0", "idle", "action 1"));
}

TEST(MainLoopTest, ASignalBeforeTheTimeoutLosesNoIdleRound) {
    IdleTimes times;
    RunningHost running([&](TestHost& test) { test.addInstance(1)->onIdle = [&] { times.note(); }; });
    // Many wake-ups within each interval: each must leave only the rest of it to be waited for.
    std::atomic<int> ran = 0;
    int posted = 0;
    const auto begin = std::chrono::steady_clock::now();
    while (times.all().size() < 13 && std::chrono::steady_clock::now() - begin < std::chrono::seconds(8)) {
        running.post([&] { ++ran; });
        ++posted;
        std::this_thread::sleep_for(std::chrono::milliseconds(3));
    }
    EXPECT_GE(times.all().size(), 13U) << "wake-ups put the idle rounds off";
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(4));
    running.stop();
    EXPECT_EQ(ran, posted);
    EXPECT_GT(posted, 50);
    expectNotTooOften(times.all());
}

TEST(MainLoopTest, WhetherAnActionIsFollowedByIdleIsDecidedBeforeItRuns) {
    struct Mark {
        bool isIdle;
        std::chrono::microseconds begin;
        std::chrono::microseconds end;
    };
    std::vector<Mark> marks;
    RunningHost running([&](TestHost& test) {
        test.addInstance(1)->onIdle = [&] { marks.push_back({true, wallClock(), wallClock()}); };
        for (int i = 0; i < 12; ++i) {
            test.host->post(new FunctionAction([&] {
                const auto begin = wallClock();
                keepBusy(std::chrono::milliseconds(45));
                marks.push_back({false, begin, wallClock()});
            }));
        }
    });
    running.stop();
    const auto isAction = [](const Mark& mark) { return !mark.isIdle; };
    ASSERT_EQ(std::count_if(marks.begin(), marks.end(), isAction), 12);
    int followed = 0;
    int notFollowed = 0;
    // The last action is left out: the one that stops the loop has no mark.
    const auto last = std::find_if(marks.rbegin(), marks.rend(), isAction).base() - 1;
    for (size_t i = 2; i < static_cast<size_t>(last - marks.begin()); ++i) {
        EXPECT_FALSE(marks[i].isIdle && marks[i - 1].isIdle) << "no action between two idle rounds";
        if (marks[i].isIdle)
            continue;
        const size_t lastIdle = marks[i - 1].isIdle ? i - 1 : i - 2;
        ASSERT_TRUE(marks[lastIdle].isIdle) << "a late round did not idle";
        if (marks[i - 1].end - marks[lastIdle].end > idleInterval + std::chrono::milliseconds(2)) {
            EXPECT_TRUE(marks[i + 1].isIdle) << "a late round did not idle";
            ++followed;
        } else if (marks[i].begin - marks[lastIdle].begin < idleInterval / 2) {
            EXPECT_FALSE(marks[i + 1].isIdle) << "the time of the action itself was counted";
            ++notFollowed;
        }
    }
    EXPECT_GT(followed, 0);
    EXPECT_GT(notFollowed, 0);
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
