// What an audio worker takes from its pipe, and how it ends. If these fail, a plug-in writes past its
// buffers, a worker renders beside a process that takes itself down, or a client waits for an answer that
// never comes.

#include "host/RemoteAudioThread.h"
#include "core/NamedPipe.h"
#include "plugin/Channels.h"
#include "plugin/WorkerCommands.h"
#include "support/TestHost.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <limits>

using namespace test_support;

namespace {

constexpr int32_t hostId = 7;
constexpr int32_t instanceId = 3;

void sendProcess(OutputStream& stream, int32_t frames = 16) {
    stream.writeByte(static_cast<uint8_t>(WorkerCommand::process));
    stream.writeNativeInt32(instanceId);
    stream.writeNativeInt32(frames);
    stream.writeByte(true);
    stream.writeByte(true);
    stream.flush();
}

/// A worker that waits for the client's end of its pipe.
class RemoteAudioThreadTest : public testing::Test {
protected:
    RemoteAudioThreadTest() {
        std::signal(SIGPIPE, SIG_IGN);
        test.addInstance(instanceId);
        worker->start();
    }

    TestHost test;
    const Ref<base::core::NamedServerPipe> server =
        base::core::NamedServerPipe::create(workerChannelName(hostId, 0), true);
    Ref<RemoteAudioThread> worker{new RemoteAudioThread(test.host.get(), hostId, 0)};
};

} // namespace

TEST_F(RemoteAudioThreadTest, AWorkerWhosePipeOpensAfterItWasToEndServesNothing) {
    worker->shutDown(); // the pipe has no other end yet
    Ref<base::core::NamedPipe> pipe = server->open();
    try {
        sendProcess(*pipe->getOutput());
    } catch (const IOException&) {
        // The worker has closed its end already.
    }
    EXPECT_THROW(pipe->getInput()->readByte(), EOSException) << "the worker answers, or keeps its pipe";
    pipe->getOutput()->close();
    worker = nullptr;
    EXPECT_THAT(test.log.all(), testing::IsEmpty());
}

TEST_F(RemoteAudioThreadTest, AWorkerServesUntilItIsToEnd) {
    const Ref<base::core::NamedPipe> pipe = server->open();
    sendProcess(*pipe->getOutput());
    EXPECT_EQ(pipe->getInput()->readInt32(), processTail);
    worker->shutDown();
    EXPECT_THROW(pipe->getInput()->readByte(), EOSException);
    EXPECT_THAT(test.log.all(), testing::ElementsAre("process 16 keepActive realtime"));
}

TEST_F(RemoteAudioThreadTest, ABlockIsLimitedToTheFramesThatItsBuffersHold) {
    const Ref<base::core::NamedPipe> pipe = server->open();
    constexpr int32_t most = std::numeric_limits<int32_t>::max();
    for (const int32_t frames : {0, 256, 257, most, -1, -most - 1}) {
        sendProcess(*pipe->getOutput(), frames);
        EXPECT_EQ(pipe->getInput()->readInt32(), processTail) << frames;
    }
    worker->shutDown();
    EXPECT_THAT(test.log.all(),
                testing::ElementsAre("process 0 keepActive realtime", "process 256 keepActive realtime",
                                     "process 256 keepActive realtime", "process 256 keepActive realtime",
                                     "process 0 keepActive realtime", "process 0 keepActive realtime"));
}
