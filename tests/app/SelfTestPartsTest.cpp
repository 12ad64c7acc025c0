// The parts that the self-test is made of. If these fail, it waits for ever on a plug-in that never answers,
// takes one failure for another, or keeps quiet about what the plug-in told.

#include "app/StepWatchdog.h"
#include "app/TestProxyProvider.h"
#include "app/TestRemotePluginHostProxyManager.h"
#include "app/TestReplyHandler.h"
#include "app/TestingNotificationListener.h"
#include "client/RemotePluginHostProxy.h"
#include "core/CapturedOutput.h"
#include "core/Waiting.h"
#include "plugin/PluginException.h"
#include "plugin/PluginHostNotifications.h"
#include "plugin/PluginHostReplies.h"
#include "plugin/StateBytes.h"
#include "plugin/WireBytes.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <thread>
#include <unistd.h>

using base::core::becomesTrue;
using base::core::CapturedOutput;

namespace {

using Clock = std::chrono::steady_clock;

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
        EXPECT_TRUE(becomesTrue([&] { return waiter != 0 && base::core::isAsleep(waiter); }));
        handler->onError("late");
    });
    waiter = base::core::currentThreadId();
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

TEST(StepWatchdog, CallsAgainWhileTheStepIsOverdue) {
    std::atomic<int> calls = 0;
    const Ref<StepWatchdog> watchdog(new StepWatchdog(0.001, [&] { ++calls; }));
    watchdog->start();
    watchdog->beginStep();
    EXPECT_TRUE(becomesTrue([&] { return calls >= 2; }));
    EXPECT_TRUE(watchdog->wasOverdue());
}

TEST(StepWatchdog, AStepStaysOverdueAfterItsEndUntilAnotherBegins) {
    std::atomic<bool> called = false;
    const Ref<StepWatchdog> watchdog(new StepWatchdog(1, [&] { called = true; }));
    watchdog->start();
    watchdog->beginStep();
    ASSERT_TRUE(becomesTrue([&] { return called.load(); }));
    watchdog->endStep();
    EXPECT_TRUE(watchdog->wasOverdue());
    watchdog->beginStep();
    EXPECT_FALSE(watchdog->wasOverdue());
    watchdog->endStep();
}

TEST(StepWatchdog, TheBoundCountsFromTheBeginningOfTheLatestStep) {
    constexpr auto bound = std::chrono::milliseconds(400);
    std::atomic<int> step = 0;
    std::atomic<Clock::rep> overdueAt = 0;
    const Ref<StepWatchdog> watchdog(new StepWatchdog(0.4, [&] {
        if (step == 2 && overdueAt == 0)
            overdueAt = Clock::now().time_since_epoch().count();
    }));
    watchdog->start();
    step = 1;
    const auto firstBegun = Clock::now();
    watchdog->beginStep();
    ASSERT_TRUE(becomesTrue([&] { return Clock::now() > firstBegun + bound / 2; }));
    step = 2;
    const auto secondBegun = Clock::now();
    watchdog->beginStep();
    ASSERT_TRUE(becomesTrue([&] { return overdueAt != 0; }));
    EXPECT_GE(overdueAt, (secondBegun + bound).time_since_epoch().count());
}

TEST(StepWatchdog, NoStepIsOverdueOnceItHasEnded) {
    std::atomic<int> step = 0;
    std::atomic<int> overdue = 0; // the step
    const Ref<StepWatchdog> watchdog(new StepWatchdog(0.2, [&] { overdue = step.load(); }));
    watchdog->start();
    for (step = 1; step <= 3; ++step) {
        watchdog->beginStep();
        watchdog->endStep();
    }
    const auto ended = Clock::now();
    ASSERT_TRUE(becomesTrue([&] { return Clock::now() > ended + std::chrono::milliseconds(300); }));
    EXPECT_EQ(overdue, 0);
    watchdog->beginStep();
    ASSERT_TRUE(becomesTrue([&] { return overdue != 0; }));
}

TEST(StepWatchdog, EndsWithItsOwnerInTheMiddleOfAStep) {
    const auto start = Clock::now();
    Ref<StepWatchdog> watchdog(new StepWatchdog(60, [] { ADD_FAILURE() << "The step has time"; }));
    watchdog->start();
    watchdog->beginStep();
    watchdog = nullptr;
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(4));
}
