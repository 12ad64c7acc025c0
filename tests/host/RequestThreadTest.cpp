// The thread that reads requests, when its pipe is lost. If this fails, a host whose client has gone while a
// plug-in keeps the main thread fills the memory with requests to end.

#include "host/RemotePluginHostProxyHandler.h"
#include "support/Eventually.h"
#include "support/RunningHost.h"

#include <gtest/gtest.h>

#include <semaphore>

using namespace test_support;

namespace {

/// Ends at once; a second reader waits until the stream is closed.
class LostStream : public InputStream {
public:
    size_t read(void*, size_t) override {
        if (++reads > 1)
            closed.acquire();
        return 0;
    }
    void close() override { closed.release(); }

    std::atomic<int> reads = 0;

private:
    std::binary_semaphore closed{0};
};

/// Ends no process.
class SurvivingHandler : public RemotePluginHostProxyHandler {
public:
    using RemotePluginHostProxyHandler::RemotePluginHostProxyHandler;

    void shutdown() override { ++shutdowns; }

    std::atomic<int> shutdowns = 0;
};

class NotedThread : public RemotePluginHostProxyHandlerThread {
public:
    using RemotePluginHostProxyHandlerThread::RemotePluginHostProxyHandlerThread;

    std::atomic<bool> hasEnded = false;

protected:
    void run() override {
        RemotePluginHostProxyHandlerThread::run();
        hasEnded = true;
    }
};

} // namespace

TEST(RequestThreadTest, TheLossOfThePipeEndsTheThreadAndAsksForOneShutdown) {
    RunningHost running;
    const Ref<SurvivingHandler> handler(new SurvivingHandler(&running.host(), 7));
    const Ref<LostStream> stream(new LostStream);
    NotedThread thread(handler.get(), &running.host(), stream);
    thread.start();
    EXPECT_TRUE(eventually([&] { return thread.hasEnded || stream->reads > 1; }));
    EXPECT_EQ(stream->reads, 1) << "the thread reads on";
    thread.shutDown();
    EXPECT_TRUE(running.call([] {})) << "the main loop has ended";
    EXPECT_EQ(handler->shutdowns, 1);
    handler->host = nullptr;
}
