// Who waits for a host, and what wakes them. If these fail, each shutdown costs two seconds, an answer that
// has come is seen only when its time is over, or the death of one host fails those who wait for another.

#include "ClientTest.h"

#include "plugin/PluginException.h"
#include "support/Eventually.h"
#include "support/SleepingThread.h"
#include "support/TurnedClock.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <semaphore>
#include <thread>

using namespace test_support;

namespace {

// A begin of an edit of parameter 7 of instance 1.
constexpr const char* editFrame = "00000000"
                                  "03"
                                  "01000000"
                                  "07000000"
                                  "01";

/// Waits end when something wakes them, or when the test turns the clock.
class WaitingTest : public ClientTest {
protected:
    /// Whether a thread comes to its end although no time passes.
    template <class Condition>
    bool isWoken(const Condition& hasEnded) {
        const bool woken = eventually(hasEnded);
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
    // The ping is answered once the reply thread has begun a frame: one that comes to its first frame only
    // after the shutdown has nothing to read, and nobody would wait for it.
    const StandIn standIn(
        "connect write:async-replies:00 drained:async-replies read:main:1 write:main:01 wait");
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

/// Shuts the host down from the thread that reads its notifications.
class ShuttingListener : public RecordingListener {
public:
    explicit ShuttingListener(RemotePluginHostProxy& proxy) : proxy(&proxy) {}

    /// Released once no other thread calls the proxy.
    std::binary_semaphore turn{0};
    std::atomic<bool> done = false;

protected:
    void add(const std::string& line) override {
        turn.acquire();
        proxy->shutdown();
        done = true;
        RecordingListener::add(line);
    }

private:
    RemotePluginHostProxy* proxy;
};

TEST_F(WaitingTest, AShutdownOnTheThreadThatReadsRepliesDoesNotWaitForItself) {
    const StandIn standIn(std::string("connect read:main:22 write:async-replies:") + editFrame);
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    const Ref<ShuttingListener> listener(new ShuttingListener(*proxy));
    proxy->createPluginInstance("", "", "", false, listener, nullptr);
    listener->turn.release();
    EXPECT_TRUE(isWoken([&] { return listener->done.load(); }));
    EXPECT_EQ(listener->waitForLines(1), std::vector<std::string>{"1: begin 7"});
    EXPECT_TRUE(proxy->isClosed());
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
    ReplyWaiter::hostLost(*dying);
    kept->onReply(nullptr);
    EXPECT_EQ(WaitingThread(*lost).join(), lostText);
    EXPECT_EQ(WaitingThread(*kept).join(), "reply");
}

TEST_F(WaitingTest, AWaiterThatIsGoneHearsOfNoDeath) {
    const StandIn standIn("connect");
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    Ref<ReplyWaiter> gone(new ReplyWaiter(*proxy));
    const Ref<ReplyWaiter> there(new ReplyWaiter(*proxy));
    gone = nullptr;
    ReplyWaiter::hostLost(*proxy);
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

TEST_F(WaitingTest, ANotificationThatIsWholeOnlyAfterTheShutdownIsNotDelivered) {
    const std::string base = std::string("/tmp/") + std::getenv("USER");
    const std::string isClosed = base + "-closed", isRead = base + "-read";
    // The reply thread is inside of its frame when the ping is answered. The pipe of requests holds a page
    // and is not read meanwhile, so that the shutdown rests in its write.
    const StandIn standIn(std::string("connect read:main:22 write:async-replies:00 drained:async-replies"
                                      " shrink:main read:main:1 write:main:01 exists:") +
                          isClosed + " write:async-replies:" + (editFrame + 2) + " exists:" + isRead);
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    const Ref<RecordingListener> listener(new RecordingListener);
    proxy->createPluginInstance("", "", "", false, listener, nullptr);
    proxy->ping();
    constexpr size_t page = 4096, frame = 1 + 4 + 4;
    proxy->setWindowTitle(1, std::string(page - frame, 'x').c_str());
    std::atomic<pid_t> threadId = 0;
    std::thread shuttingDown([&] {
        threadId = currentThreadId();
        proxy->shutdown();
    });
    EXPECT_TRUE(eventually([&] { return proxy->isClosed() && isAsleep(threadId); }));
    EXPECT_TRUE(proxy->findInstance(1));
    const size_t threads = Footprint::now().threads;
    std::ofstream(isClosed) << "closed";
    EXPECT_TRUE(eventually([&] { return Footprint::now().threads < threads; })) << "the frame is not read";
    EXPECT_TRUE(proxy->findInstance(1)) << "the shutdown did not rest";
    std::ofstream(isRead) << "read";
    shuttingDown.join();
    for (const std::string& file : {isClosed, isRead})
        std::filesystem::remove(file);
    EXPECT_EQ(listener->getLines(), std::vector<std::string>{});
    EXPECT_EQ(manager->count(), 0u);
}
