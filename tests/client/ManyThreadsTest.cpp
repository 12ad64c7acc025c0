// A client's calls while the thread that reads replies is at work. If these fail, a client that is busy loses
// replies, or crashes by the order in which its host answers.

#include "ClientTest.h"
#include "support/Eventually.h"
#include "support/Meeting.h"

#include <atomic>
#include <thread>
#include <vector>

using namespace test_support;

namespace {

/// Counts its replies.
class CountingHandler : public PluginHostAsyncReplyHandler {
public:
    void onReply(PluginHostReply*) override { ++replies; }
    void onError(const String& message) override { ADD_FAILURE() << message.toStdString(); }

    std::atomic<int> replies = 0;
};

using ManyThreadsTest = ClientTest;

} // namespace

TEST_F(ManyThreadsTest, RequestsAreSentWhileRepliesToEarlierOnesAreRead) {
    for (const bool looksThrough : {false, true}) {
        Ref<RemotePluginHostProxy> proxy = startHost();
        const int32_t id = createInstance(*proxy, examplePlugin("echo"))->instanceId;
        const Ref<CountingHandler> handler(new CountingHandler);
        constexpr int requests = 300;
        constexpr int32_t noInstance = 1000;
        constexpr int mostUnanswered = 10;
        for (int sent = 0; sent < requests;) {
            // Seen, and not waited for: it orders nothing between the two threads.
            if (sent - handler->replies.load(std::memory_order_relaxed) >= mostUnanswered)
                continue;
            proxy->updateIO(id, handler);
            ++sent;
            // Looks through what is pending.
            if (looksThrough)
                proxy->removePluginInstance(noInstance);
        }
        EXPECT_TRUE(eventually([&] { return handler->replies == requests; }))
            << handler->replies << " replies";
        end(proxy);
    }
}

TEST_F(ManyThreadsTest, InstancesComeAndGoWhileNotificationsAreRead) {
    constexpr size_t notifications = 300;
    std::string script = "connect read:main:22";
    for (size_t i = 0; i < notifications; ++i)
        script += " write:async-replies:00000000030100000009000000"
                  "00"; // an end of an edit of instance 1
    const StandIn standIn(script);
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    const Ref<RecordingListener> listener(new RecordingListener);
    proxy->createPluginInstance("", "", "", false, listener, nullptr);
    // The stand-in takes them all once it is done, and the pipe holds them until then.
    constexpr int instances = 400;
    for (int i = 0; i < instances; ++i)
        proxy->removePluginInstance(proxy->createPluginInstance("", "", "", false, nullptr, nullptr));
    EXPECT_EQ(listener->waitForLines(notifications).size(), notifications);
    shutDown(*proxy);
}

TEST_F(ManyThreadsTest, WaitersComeAndGoOnSeveralThreads) {
    Ref<RemotePluginHostProxy> proxy = startHost();
    constexpr int threadCount = 2;
    Meeting meeting(threadCount);
    std::vector<std::thread> threads;
    for (int i = 0; i < threadCount; ++i) {
        threads.emplace_back([&] {
            constexpr int rounds = 500;
            for (int round = 0; round < rounds; ++round) {
                meeting.arrive();
                const Ref<ReplyWaiter> waiter(new ReplyWaiter(*proxy));
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    proxy->ping();
    end(proxy);
}
