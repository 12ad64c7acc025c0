// The parts that the self-test is made of. If these fail, it waits for ever on a plug-in that never answers,
// takes one failure for another, or keeps quiet about what the plug-in told.

#include "app/StepWatchdog.h"
#include "app/TestProxyProvider.h"
#include "app/TestRemotePluginHostProxyManager.h"
#include "app/TestReplyHandler.h"
#include "app/TestingNotificationListener.h"
#include "client/RemotePluginHostProxy.h"
#include "plugin/Frames.h"
#include "plugin/PluginException.h"
#include "plugin/PluginHostNotifications.h"
#include "plugin/PluginHostReplies.h"
#include "support/CapturedOutput.h"
#include "support/Eventually.h"
#include "support/FileBytes.h"
#include "support/SleepingThread.h"
#include "support/StateBytes.h"
#include "support/TestDirectory.h"
#include "support/WireBytes.h"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <filesystem>
#include <string>
#include <thread>
#include <unistd.h>
#include <utility>

using namespace test_support;

namespace {

std::string outcomeOf(TestReplyHandler& handler) {
    try {
        handler.wait();
        return "reply";
    } catch (const PluginException& exception) {
        return exception.getMessage().toStdString();
    }
}

/// What the listener prints about a notification, whose frame is given from its type on.
std::string printed(const std::string& frame) {
    const CapturedOutput output(STDOUT_FILENO);
    GoldenStream stream(frame);
    TestingNotificationListener listener;
    readNotification(stream, nullptr)->deliver(listener);
    EXPECT_EQ(stream.available(), 0u);
    return output.text();
}

} // namespace

TEST(TestReplyHandler, GivesTheReply) {
    const Ref<TestReplyHandler> handler(new TestReplyHandler);
    const Ref<SavePresetReply> reply(new SavePresetReply(1, "/a"));
    handler->onReply(reply.get());
    EXPECT_EQ(handler->wait().get(), reply.get());
}

TEST(TestReplyHandler, ThrowsTheWordsOfAFailure) {
    const Ref<TestReplyHandler> handler(new TestReplyHandler);
    handler->onError("No such plug-in");
    EXPECT_EQ(outcomeOf(*handler), "No such plug-in");
}

TEST(TestReplyHandler, WaitsForAnOutcomeThatComesOnAnotherThread) {
    const Ref<TestReplyHandler> handler(new TestReplyHandler);
    std::atomic<pid_t> waiter = 0;
    std::thread other([&] {
        EXPECT_TRUE(eventually([&] { return waiter != 0 && isAsleep(waiter); }));
        handler->onError("late");
    });
    waiter = currentThreadId();
    EXPECT_EQ(outcomeOf(*handler), "late");
    other.join();
}

TEST(TestReplyHandler, KeepsTheFirstOutcome) {
    const Ref<TestReplyHandler> answered(new TestReplyHandler);
    answered->onReply(nullptr);
    answered->onError("too late");
    EXPECT_EQ(answered->wait(), nullptr);

    const Ref<TestReplyHandler> failed(new TestReplyHandler);
    failed->onError("first");
    failed->onError("second");
    failed->onReply(nullptr);
    EXPECT_EQ(outcomeOf(*failed), "first");
}

TEST(TestReplyHandler, FailingAllFailsThoseWithoutAnOutcomeAndNoOthers) {
    const Ref<TestReplyHandler> answered(new TestReplyHandler);
    const Ref<TestReplyHandler> failed(new TestReplyHandler);
    const Ref<TestReplyHandler> waiting(new TestReplyHandler);
    const Ref<TestReplyHandler> waitingToo(new TestReplyHandler);
    Ref<TestReplyHandler> gone(new TestReplyHandler);
    gone = nullptr;
    answered->onReply(nullptr);
    failed->onError("of its own");
    TestReplyHandler::failAll("The host died");
    EXPECT_EQ(outcomeOf(*answered), "reply");
    EXPECT_EQ(outcomeOf(*failed), "of its own");
    EXPECT_EQ(outcomeOf(*waiting), "The host died");
    EXPECT_EQ(outcomeOf(*waitingToo), "The host died");

    const Ref<TestReplyHandler> later(new TestReplyHandler);
    later->onReply(nullptr);
    EXPECT_EQ(outcomeOf(*later), "reply");
}

TEST(TestRemotePluginHostProxyManager, TellsWhichThreadSawTheDeathAndFailsThoseWhoWait) {
    // Becomes the manager of the process with it.
    SandboxedTestProxyProvider provider(PLUGIN_HOST_EXECUTABLE);
    const Ref<RemotePluginHostProxy> proxy =
        static_cast<RemotePluginHostProxy*>(provider.createProxy().get());
    const CapturedOutput error(STDERR_FILENO);

    const Ref<TestReplyHandler> waitingOnMain(new TestReplyHandler);
    TestRemotePluginHostProxyManager().hostDied(*proxy, "Seen while asking", false);
    EXPECT_EQ(error.text(), "Remote plugin process died on main thread: Seen while asking\n");
    EXPECT_EQ(outcomeOf(*waitingOnMain), "Seen while asking");

    const Ref<TestReplyHandler> waiting(new TestReplyHandler);
    ASSERT_EQ(kill(proxy->getChildPid(), SIGKILL), 0);
    EXPECT_EQ(outcomeOf(*waiting), "End of stream");
    EXPECT_TRUE(error.text().ends_with(
        "\nRemote plugin process died on a different thread to the main thread: End of stream\n"))
        << error.text();
}

namespace {

/// What this process does on a signal, for a scope.
class SignalAction {
public:
    SignalAction(int signal, void (*handler)(int)) : signal(signal) {
        struct sigaction action {};
        action.sa_handler = handler;
        sigaction(signal, &action, &former);
    }
    ~SignalAction() { sigaction(signal, &former, nullptr); }
    SignalAction(const SignalAction&) = delete;
    SignalAction& operator=(const SignalAction&) = delete;

private:
    int signal;
    struct sigaction former {};
};

void (*handlerOf(int signal))(int) {
    struct sigaction action {};
    sigaction(signal, nullptr, &action);
    return action.sa_handler;
}

} // namespace

TEST(SandboxedTestProxyProvider, AHostThatDoesNotComeUpLeavesSignalsAndAlarmAsTheyWere) {
    constexpr auto onChild = [](int) {};
    constexpr auto onAlarm = [](int) { ADD_FAILURE() << "an alarm is left"; };
    const SignalAction child(SIGCHLD, onChild);
    const SignalAction alarms(SIGALRM, onAlarm);
    const TestDirectory directory;
    const std::string host = directory / "opens-no-pipes";
    // The signal ends the wait for its pipes; that of its own end, by force, comes while the proxy goes.
    writeFile(host, "#!/bin/sh\nkill -CHLD $PPID\nexec sleep 60\n");
    std::filesystem::permissions(host, std::filesystem::perms::owner_all);
    SandboxedTestProxyProvider provider(host.c_str());
    EXPECT_THROW(provider.createProxy(), IOException);
    EXPECT_EQ(alarm(0), 0u);
    EXPECT_EQ(handlerOf(SIGCHLD), +onChild);
    EXPECT_EQ(handlerOf(SIGALRM), +onAlarm);
}

TEST(LocalTestProxyProvider, HostsThatAreShutDownAreNotReportedAsDead) {
    const CapturedOutput error(STDERR_FILENO);
    LocalTestProxyProvider provider;
    constexpr int hosts = 200;
    for (int host = 0; host < hosts; ++host) {
        const Ref<PluginHostProxy> proxy = provider.createProxy();
        proxy->ping();
        proxy->shutdown();
    }
    EXPECT_EQ(error.text(), "");
}

TEST(TestingNotificationListener, PrintsTheBeginAndTheEndOfAnEdit) {
    EXPECT_EQ(printed("03 05 00 00 00  07 00 00 00  01"), "Begin Edit Parameter 7\n");
    EXPECT_EQ(printed("03 05 00 00 00  07 00 00 00  00"), "End Edit Parameter 7\n");
}

TEST(TestingNotificationListener, PrintsAValueInItsShortestForm) {
    EXPECT_EQ(printed("00 02 00 00 00  03 00 00 00  00 00 00 3F"), "Parameter 3 value: 0.5\n");
    EXPECT_EQ(printed("00 02 00 00 00  03 00 00 00  AB AA AA 3E"), "Parameter 3 value: 0.333333\n");
    EXPECT_EQ(printed("00 02 00 00 00  03 00 00 00  AC C5 27 37"), "Parameter 3 value: 1e-05\n");
}

TEST(TestingNotificationListener, PrintsALineForEachOtherKindOfNotification) {
    EXPECT_EQ(printed("01 02 00 00 00  03 00 00 00  00 00 00 04 'Gain'  00 00 00 04 '-6.0'"),
              "Parameter 3 reads Gain: -6.0\n");
    EXPECT_EQ(printed("02 02 00 00 00" + richState()), "All parameters changed, of which there are 2\n");
    EXPECT_EQ(printed("04 05 00 00 00"), "Plug-in window closed\n");
    EXPECT_EQ(printed("05 01 00 00 00  00 00 00 0A  00 00 00 14  00 00 01 2C  00 00 00 C8"),
              "Plug-in window moved to 10, 20 with a size of 300 by 200\n");
}

TEST(StepBound, AStepIsOverdueOnceItsBoundHasPassedAndNotBefore) {
    StepBound step(10);
    step.begin(100);
    EXPECT_FALSE(step.isOverdueAt(100));
    EXPECT_FALSE(step.isOverdueAt(109.9));
    EXPECT_FALSE(step.wasOverdue());
    EXPECT_TRUE(step.isOverdueAt(110));
    EXPECT_TRUE(step.isOverdueAt(1000));
    EXPECT_TRUE(step.wasOverdue());
}

TEST(StepBound, TheBoundCountsFromTheBeginningOfTheLatestStep) {
    StepBound step(10);
    step.begin(100);
    step.begin(108);
    EXPECT_FALSE(step.isOverdueAt(111));
    EXPECT_TRUE(step.isOverdueAt(118));
}

TEST(StepBound, AStepStaysOverdueAfterItsEndUntilAnotherBegins) {
    StepBound step(10);
    step.begin(100);
    EXPECT_TRUE(step.isOverdueAt(110));
    step.end();
    EXPECT_TRUE(step.wasOverdue());
    step.begin(111);
    EXPECT_FALSE(step.wasOverdue());
}

TEST(StepBound, NoStepIsOverdueBeforeTheFirstOrOnceItHasEnded) {
    StepBound step(10);
    EXPECT_FALSE(step.isInStep());
    EXPECT_FALSE(step.isOverdueAt(1000));
    step.begin(1000);
    EXPECT_TRUE(step.isInStep());
    step.end();
    EXPECT_FALSE(step.isInStep());
    EXPECT_FALSE(step.isOverdueAt(2000));
    EXPECT_FALSE(step.wasOverdue());
}

namespace {

/// The time of the test's own.
struct TurnedClock {
    std::atomic<double> now = 0;

    StepWatchdog::Clock asClock() {
        return [this](const char*) { return now.load(); };
    }
};

} // namespace

TEST(StepWatchdog, CallsAgainWhileTheStepIsOverdueByItsClock) {
    TurnedClock clock;
    std::atomic<int> calls = 0;
    std::atomic<bool> calledEarly = false;
    const Ref<StepWatchdog> watchdog(new StepWatchdog(
        10,
        [&] {
            calledEarly = calledEarly || clock.now < 10;
            ++calls;
        },
        clock.asClock()));
    watchdog->start();
    watchdog->beginStep("a turn");
    EXPECT_FALSE(watchdog->wasOverdue());
    clock.now = 10;
    EXPECT_TRUE(eventually([&] { return calls >= 2; }));
    EXPECT_FALSE(calledEarly);
    EXPECT_TRUE(watchdog->wasOverdue());
}

TEST(StepWatchdog, AStepWakesTheThreadThatRests) {
    std::atomic<int> calls = 0;
    std::atomic<pid_t> thread = 0;
    TurnedClock clock;
    const Ref<StepWatchdog> watchdog(new StepWatchdog(
        10,
        [&] {
            thread = currentThreadId();
            ++calls;
        },
        clock.asClock()));
    watchdog->start();
    watchdog->beginStep("a turn");
    clock.now = 10;
    ASSERT_TRUE(eventually([&] { return calls >= 1; }));
    watchdog->endStep();
    const int callsBefore = calls;
    ASSERT_TRUE(eventually([&] { return isAsleep(thread); }));
    watchdog->beginStep("another turn");
    clock.now = 20;
    EXPECT_TRUE(eventually([&] { return calls > callsBefore; }));
}

TEST(StepWatchdog, TheClockIsToldWhatTheStepWaitsFor) {
    std::atomic<int> calls = 0;
    const Ref<StepWatchdog> watchdog(new StepWatchdog(
        10, [&] { ++calls; },
        [begun = false](const char* subject) mutable {
            const bool isFirst = !std::exchange(begun, true);
            return isFirst || subject != std::string("the host") ? 0.0 : 10.0;
        }));
    watchdog->start();
    watchdog->beginStep("the host");
    EXPECT_TRUE(eventually([&] { return calls >= 1; }));
}

TEST(StepWatchdog, EndsWhileItRests) {
    class WatchedWatchdog : public StepWatchdog {
    public:
        using StepWatchdog::StepWatchdog;
        std::atomic<pid_t> thread = 0;

    protected:
        void onThreadStart() override {
            StepWatchdog::onThreadStart();
            thread = currentThreadId();
        }
    };
    TurnedClock clock;
    const Ref<WatchedWatchdog> watchdog(new WatchedWatchdog(
        10, [] { ADD_FAILURE() << "There is no step"; }, clock.asClock()));
    watchdog->start();
    ASSERT_TRUE(eventually([&] { return watchdog->thread != 0 && isAsleep(watchdog->thread); }));
    std::atomic<bool> ended = false;
    std::thread owner([&] {
        watchdog->prepareForDeletion();
        ended = true;
    });
    EXPECT_TRUE(eventually([&] { return ended.load(); })) << "it sleeps on";
    watchdog->beginStep("a turn"); // wakes one that sleeps on
    owner.join();
}

TEST(StepWatchdog, EndsWithItsOwnerInTheMiddleOfAStep) {
    TurnedClock clock;
    Ref<StepWatchdog> watchdog(new StepWatchdog(
        10, [] { ADD_FAILURE() << "The step has time"; }, clock.asClock()));
    watchdog->start();
    watchdog->beginStep("a turn");
    watchdog = nullptr;
}
