// Who waits for an outcome, whether the host is a child process or lives in its client's. If these fail, a
// client sleeps for ever once its host is gone.

#include "client/ReplyWaiter.h"

#include "app/TestProxyProvider.h"
#include "client/RemotePluginHostProxy.h"
#include "plugin/PluginException.h"
#include "plugin/PluginHostReplies.h"
#include "support/CapturedOutput.h"
#include "support/Eventually.h"
#include "support/SleepingThread.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>

using namespace test_support;

namespace {

constexpr double patience = 4; // seconds

struct Kind {
    const char* name;
    Ref<PluginHostProxy> (*makeProxy)();
};

void PrintTo(const Kind& kind, std::ostream* stream) {
    *stream << kind.name;
}

constexpr Kind inAChild = {
    "AHostInAChild", [] { return Ref<PluginHostProxy>(new RemotePluginHostProxy(PLUGIN_HOST_EXECUTABLE)); }};
constexpr Kind inThisProcess = {"AHostInThisProcess", [] {
                                    const Ref<LocalTestProxyProvider> provider(new LocalTestProxyProvider);
                                    return provider->createProxy();
                                }};

/// What a wait comes to: "reply", "error: " or "loss: " with the words.
template <class... Arguments>
std::string outcomeOf(ReplyWaiter& waiter, Arguments... arguments) {
    try {
        waiter.wait(arguments...);
        return "reply";
    } catch (const PluginException& exception) {
        return "error: " + exception.getMessage().toStdString();
    } catch (const IOException& exception) {
        return "loss: " + exception.getMessage().toStdString();
    }
}

const std::string lost = std::string("loss: ") + PluginHostProxy::lostMessage;

/// A wait without a limit, on a thread of its own that sleeps once this is made.
class WaitingThread {
public:
    explicit WaitingThread(ReplyWaiter& waiter)
        : waiter(waiter), thread([this] {
              threadId = currentThreadId();
              outcome = outcomeOf(this->waiter);
              isOver = true;
          }) {
        EXPECT_TRUE(eventually([this] { return threadId != 0 && isAsleep(threadId); }));
    }
    ~WaitingThread() { wake(); }
    WaitingThread(const WaitingThread&) = delete;
    WaitingThread& operator=(const WaitingThread&) = delete;

    bool isWaiting() const { return !isOver; }
    /// The outcome, which is there or comes by itself.
    std::string result() {
        EXPECT_TRUE(eventually([this] { return isOver.load(); })) << "the waiter sleeps on";
        wake();
        return outcome;
    }

private:
    void wake() {
        if (!thread.joinable())
            return;
        waiter.onError("woken by the test");
        thread.join();
    }

    ReplyWaiter& waiter;
    std::string outcome;
    std::atomic<pid_t> threadId = 0;
    std::atomic<bool> isOver = false;
    std::thread thread;
};

/// Loads a plug-in whose host ends by itself when its program is set.
void loadDying(PluginHostProxy& proxy) {
    const Ref<ReplyWaiter> created(new ReplyWaiter(proxy));
    proxy.createPluginInstance(TEST_PLUGIN_DIRECTORY "/dies-when-asked.so", {}, "34", false, nullptr,
                               created);
    created->wait();
}

class ReplyWaiterTest : public testing::TestWithParam<Kind> {
protected:
    const CapturedOutput errors{STDERR_FILENO};
    Ref<PluginHostProxy> proxy = GetParam().makeProxy();
};

} // namespace

TEST_P(ReplyWaiterTest, GivesTheReply) {
    const Ref<ReplyWaiter> created(new ReplyWaiter(*proxy));
    const int32_t id =
        proxy->createPluginInstance(EXAMPLE_PLUGIN_DIRECTORY "/echo.so", {}, "0", false, nullptr, created);
    EXPECT_EQ(created->waitFor<CreatePluginInstanceReply>(patience)->instanceId, id);
    const Ref<ReplyWaiter> updated(new ReplyWaiter(*proxy));
    proxy->updateIO(id, updated);
    EXPECT_EQ(outcomeOf(*updated), "reply");
    proxy->shutdown();
}

TEST_P(ReplyWaiterTest, ThrowsTheWordsOfAFailure) {
    const Ref<ReplyWaiter> created(new ReplyWaiter(*proxy));
    proxy->createPluginInstance("/no/such/plug-in.so", {}, "0", false, nullptr, created);
    EXPECT_THAT(outcomeOf(*created),
                testing::StartsWith("error: Failed to load VST plug-in /no/such/plug-in.so"));
    EXPECT_FALSE(proxy->isClosed());
    proxy->shutdown();
}

TEST_P(ReplyWaiterTest, AHostThatEndsByItselfFailsWhoWaitsForIt) {
    loadDying(*proxy);
    const Ref<ReplyWaiter> waiter(new ReplyWaiter(*proxy));
    WaitingThread waiting(*waiter);
    EXPECT_TRUE(waiting.isWaiting());
    proxy->setCurrentProgram(1, 0);
    EXPECT_EQ(waiting.result(), lost);
    EXPECT_TRUE(proxy->isClosed());
}

TEST_P(ReplyWaiterTest, TheOutcomeOfAnUnansweredRequestIsALossToo) {
    loadDying(*proxy);
    const Ref<ReplyWaiter> waiter(new ReplyWaiter(*proxy));
    WaitingThread waiting(*waiter);
    proxy->setCurrentProgram(1, 0);
    try {
        proxy->updateIO(1, waiter);
    } catch (const IOException&) {
        // The host has been faster.
    }
    EXPECT_EQ(waiting.result(), lost);
}

TEST_P(ReplyWaiterTest, AShutdownFailsWhoWaitsForTheHost) {
    proxy->ping();
    const Ref<ReplyWaiter> waiter(new ReplyWaiter(*proxy));
    WaitingThread waiting(*waiter);
    EXPECT_TRUE(waiting.isWaiting());
    proxy->shutdown();
    EXPECT_EQ(waiting.result(), lost);
}

TEST_P(ReplyWaiterTest, AWaiterThatComesAfterTheLossDoesNotWait) {
    proxy->shutdown();
    EXPECT_TRUE(proxy->isClosed());
    const Ref<ReplyWaiter> late(new ReplyWaiter(*proxy));
    EXPECT_EQ(outcomeOf(*late, patience), lost);
}

TEST_P(ReplyWaiterTest, AnOutcomeThatCameBeforeTheLossStays) {
    const Ref<ReplyWaiter> answered(new ReplyWaiter(*proxy));
    answered->onReply(nullptr);
    proxy->shutdown();
    EXPECT_EQ(outcomeOf(*answered, patience), "reply");
}

INSTANTIATE_TEST_SUITE_P(Kinds, ReplyWaiterTest, testing::Values(inAChild, inThisProcess),
                         [](const auto& instance) { return instance.param.name; });

TEST(ReplyWaiterOfOneHostTest, TheLossOfAnotherHostFailsNobody) {
    const CapturedOutput errors(STDERR_FILENO);
    const Ref<PluginHostProxy> local = inThisProcess.makeProxy();
    const Ref<PluginHostProxy> child = inAChild.makeProxy();
    const Ref<ReplyWaiter> waiterOfLocal(new ReplyWaiter(*local));
    const Ref<ReplyWaiter> waiterOfChild(new ReplyWaiter(*child));
    WaitingThread waitingForLocal(*waiterOfLocal);
    WaitingThread waitingForChild(*waiterOfChild);
    local->shutdown();
    EXPECT_EQ(waitingForLocal.result(), lost);
    waiterOfChild->onReply(nullptr);
    EXPECT_EQ(waitingForChild.result(), "reply");
    child->shutdown();
}
