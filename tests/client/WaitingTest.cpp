// Who waits for a host, and what wakes them. If these fail, each shutdown costs two seconds, an answer that
// has come is seen only when its time is over, or the death of one host fails those who wait for another.

#include "ClientTest.h"

#include "plugin/PluginException.h"
#include "support/TurnedClock.h"

#include <csignal>
#include <thread>

using base::core::becomesTrue;

namespace {

/// Waits end when something wakes them, or when the test turns the clock.
class WaitingTest : public ClientTest {
protected:
    /// Whether a thread comes to its end although no time passes.
    template <class Condition>
    bool isWoken(const Condition& hasEnded) {
        const bool woken = becomesTrue(hasEnded);
        if (!woken)
            clock.turn(std::chrono::minutes(1));
        return woken;
    }

    TurnedClock clock;
};

/// Waits on a thread of its own.
class WaitingThread {
public:
    explicit WaitingThread(ReplyWaiter& waiter)
        : thread([this, &waiter] {
              try {
                  waiter.wait(patience);
                  outcome = "reply";
              } catch (const Exception& exception) {
                  outcome = exception.getMessage().toStdString();
              }
              ended = true;
          }) {}
    ~WaitingThread() { join(); }
    WaitingThread(const WaitingThread&) = delete;
    WaitingThread& operator=(const WaitingThread&) = delete;

    const std::string& join() {
        if (thread.joinable())
            thread.join();
        return outcome;
    }

    bool hasEnded() const { return ended; }

private:
    std::string outcome;
    std::atomic<bool> ended = false;
    std::thread thread;
};

} // namespace

TEST_F(WaitingTest, TheEndOfAHostWakesTheShutdownThatWaitsForIt) {
    // The ping is answered once the reply thread has begun a frame: one that comes to its first frame only after
    // the shutdown has nothing to read, and nobody would wait for it.
    const StandIn standIn("connect write:async-replies:00 drained:async-replies read:main:1 write:main:01 wait");
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    proxy->ping();
    std::atomic<bool> ended = false;
    std::thread shuttingDown([&] {
        proxy->shutdown();
        ended = true;
    });
    EXPECT_TRUE(clock.awaitSleeper());
    kill(proxy->getChildPid(), SIGKILL);
    EXPECT_TRUE(isWoken([&] { return ended.load(); }));
    shuttingDown.join();
    EXPECT_EQ(manager->count(), 0u);
}

TEST_F(WaitingTest, AReplyWakesItsWaiter) {
    const StandIn standIn("connect");
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    const Ref<ReplyWaiter> waiter(new ReplyWaiter(*proxy));
    WaitingThread waiting(*waiter);
    EXPECT_TRUE(clock.awaitSleeper());
    waiter->onReply(nullptr);
    EXPECT_TRUE(isWoken([&] { return waiting.hasEnded(); }));
    EXPECT_EQ(waiting.join(), "reply");
}

TEST_F(WaitingTest, AnErrorWakesItsWaiter) {
    const StandIn standIn("connect");
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    const Ref<ReplyWaiter> waiter(new ReplyWaiter(*proxy));
    WaitingThread waiting(*waiter);
    EXPECT_TRUE(clock.awaitSleeper());
    waiter->onError("it failed");
    EXPECT_TRUE(isWoken([&] { return waiting.hasEnded(); }));
    EXPECT_EQ(waiting.join(), "it failed");
}

TEST_F(WaitingTest, TheFirstOutcomeOfARequestCounts) {
    const StandIn standIn("connect");
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    const Ref<ReplyWaiter> answered(new ReplyWaiter(*proxy));
    answered->onReply(nullptr);
    answered->onError("it failed");
    EXPECT_EQ(WaitingThread(*answered).join(), "reply");
    const Ref<ReplyWaiter> failed(new ReplyWaiter(*proxy));
    failed->onError("it failed");
    failed->onReply(nullptr);
    EXPECT_EQ(WaitingThread(*failed).join(), "it failed");
}

TEST_F(WaitingTest, ADeathFailsThoseWhoWaitForThatHostAlone) {
    const Ref<RemotePluginHostProxy> dying = startHost();
    const Ref<RemotePluginHostProxy> living = startHost();
    const Ref<ReplyWaiter> lost(new ReplyWaiter(*dying));
    const Ref<ReplyWaiter> kept(new ReplyWaiter(*living));
    const Ref<WaitingProxyManager> told(new WaitingProxyManager);
    told->hostDied(*dying, "gone", false);
    kept->onReply(nullptr);
    EXPECT_EQ(WaitingThread(*lost).join(), lostText);
    EXPECT_EQ(WaitingThread(*kept).join(), "reply");
}

TEST_F(WaitingTest, AWaiterThatIsGoneHearsOfNoDeath) {
    const StandIn standIn("connect");
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    const Ref<WaitingProxyManager> told(new WaitingProxyManager);
    Ref<ReplyWaiter> gone(new ReplyWaiter(*proxy));
    const Ref<ReplyWaiter> there(new ReplyWaiter(*proxy));
    gone = nullptr;
    told->hostDied(*proxy, "gone", false);
    EXPECT_EQ(WaitingThread(*there).join(), lostText);
}

TEST_F(WaitingTest, AnErrorThatIsWholeOnlyAfterTheShutdownIsNotDelivered) {
    // The answer of the request 1: it failed, "words", of which two letters come late.
    const StandIn standIn(
        "connect read:main:9 write:async-replies:010000000000000005776f72 drained:async-replies"
        " read:main:1 write:main:01 read:main:1 write:async-replies:6473");
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    class Handler : public PluginHostAsyncReplyHandler {
    public:
        void onReply(PluginHostReply*) override { ++calls; }
        void onError(const String&) override { ++calls; }
        std::atomic<int> calls = 0;
    };
    const Ref<Handler> handler(new Handler);
    proxy->updateIO(1, handler);
    proxy->ping();
    proxy->shutdown();
    EXPECT_EQ(handler->calls, 0);
    EXPECT_EQ(manager->count(), 0u);
}
