// What an audio worker takes from its pipe, and how it ends. If these fail, a plug-in writes past its
// buffers, a worker renders beside a process that takes itself down, or a client waits for an answer that
// never comes.

#include "host/RemoteAudioThread.h"
#include "core/NamedPipe.h"
#include "plugin/Channels.h"
#include "plugin/Extensions.h"
#include "plugin/WorkerCommands.h"
#include "support/Eventually.h"
#include "support/TestHost.h"
#include "support/TurnedClock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <limits>
#include <string>
#include <vector>

using namespace test_support;
using testing::ElementsAre;

namespace {

constexpr int32_t hostId = 7;
constexpr int32_t instanceId = 3;

void appendProcess(OutputStream& stream, int32_t instance, int32_t frames = 16) {
    stream.writeByte(static_cast<uint8_t>(WorkerCommand::process));
    stream.writeNativeInt32(instance);
    stream.writeNativeInt32(frames);
    stream.writeByte(true);
    stream.writeByte(true);
}

void sendProcess(OutputStream& stream, int32_t frames = 16) {
    appendProcess(stream, instanceId, frames);
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

/// Blocks of two instances that come together. Each notes which answers have left when it renders.
class AnswersTest : public testing::Test {
protected:
    explicit AnswersTest(ExtensionSet enabled = {}) : extensions(enabled) {
        std::signal(SIGPIPE, SIG_IGN);
        for (const Ref<FakePluginInstance>& instance : {first, second})
            instance->onProcess = [this] { note(); };
        worker = new RemoteAudioThread(test.host.get(), hostId, 0);
        worker->start();
        pipe = server->open();
    }
    ~AnswersTest() override { worker->shutDown(); }

    /// So many blocks of each in turn, and takes the answers once all are rendered. How many had left at each
    /// block's beginning.
    std::vector<size_t> play(int times = 1) {
        left.clear();
        rendered = 0;
        for (int i = 0; i < times; ++i) {
            appendProcess(*pipe->getOutput(), 1);
            appendProcess(*pipe->getOutput(), 2);
        }
        pipe->getOutput()->flush();
        EXPECT_TRUE(eventually([&] { return rendered == 2 * times; }));
        for (int i = 0; i < 2 * times; ++i)
            EXPECT_EQ(pipe->getInput()->readInt32(), processTail);
        return left;
    }

    TurnedClock clock;
    TestHost test;
    const Ref<FakePluginInstance> first = test.addInstance(1);
    const Ref<FakePluginInstance> second = test.addInstance(2);
    /// What a block takes.
    TurnedClock::Duration time{};
    Ref<base::core::NamedPipe> pipe;

private:
    void note() {
        left.push_back(pipe->countUnreadInput() / sizeof(int32_t));
        clock.turn(time);
        ++rendered;
    }

    const ScopedExtensions extensions;
    const Ref<base::core::NamedServerPipe> server =
        base::core::NamedServerPipe::create(workerChannelName(hostId, 0), true);
    Ref<RemoteAudioThread> worker;
    std::vector<size_t> left;
    std::atomic<int> rendered = 0;
};

class TogetherTest : public AnswersTest {
protected:
    TogetherTest() : AnswersTest({Extension::cycles}) {}
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
    EXPECT_THAT(test.log.all(), ElementsAre("process 16 keepActive realtime"));
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
                ElementsAre("process 0 keepActive realtime", "process 256 keepActive realtime",
                            "process 256 keepActive realtime", "process 256 keepActive realtime",
                            "process 0 keepActive realtime", "process 0 keepActive realtime"));
}

// Of commands that come together, each 94th lies across two fillings of the worker's buffer.
TEST_F(RemoteAudioThreadTest, CommandsThatComeTogetherAreReadAsIfEachCameByItself) {
    const Ref<base::core::NamedPipe> pipe = server->open();
    constexpr int32_t count = 200;
    std::vector<uint8_t> bytes(count * processCommandSize);
    std::vector<std::string> expected;
    uint8_t* end = bytes.data();
    for (int32_t i = 0; i < count; ++i) {
        end = appendProcess(end, {instanceId, i, i % 2 == 0, i % 3 == 0});
        expected.push_back("process " + std::to_string(i) + (i % 2 == 0 ? " keepActive" : "") +
                           (i % 3 == 0 ? " realtime" : ""));
    }
    pipe->getOutput()->write(bytes.data(), bytes.size());
    pipe->getOutput()->flush();
    for (int32_t i = 0; i < count; ++i)
        ASSERT_EQ(pipe->getInput()->readInt32(), processTail) << i;
    worker->shutDown();
    EXPECT_EQ(test.log.all(), expected);
}

TEST_F(AnswersTest, EachLeavesBeforeTheNextBlock) {
    for (int i = 0; i < 3; ++i)
        EXPECT_THAT(play(), ElementsAre(0, 1));
}

TEST_F(TogetherTest, ThoseOfQuickBlocksLeaveTogether) {
    play();
    EXPECT_THAT(play(3), ElementsAre(0, 0, 0, 0, 0, 0));
}

TEST_F(TogetherTest, AllLeaveBeforeAnInstanceThatHasNotRenderedYet) {
    EXPECT_THAT(play(), ElementsAre(0, 1));
    EXPECT_THAT(play(), ElementsAre(0, 0));
}

TEST_F(TogetherTest, AllLeaveBeforeAnInstanceThatTookItsTime) {
    play();
    time = std::chrono::microseconds(60);
    EXPECT_THAT(play(), ElementsAre(0, 0));
    time = {};
    EXPECT_THAT(play(), ElementsAre(0, 1));
    EXPECT_THAT(play(), ElementsAre(0, 0));
}

TEST_F(TogetherTest, NoneIsHeldForLong) {
    play();
    time = std::chrono::microseconds(30);
    EXPECT_THAT(play(5), ElementsAre(0, 0, 0, 0, 0, 0, 0, 0, 8, 8));
}

TEST_F(TogetherTest, AllLeaveBeforeACommandWithoutAnAnswer) {
    play();
    size_t leftBefore = 0;
    std::atomic<bool> hasStarted = false;
    second->onCall = [&](const std::string& call) {
        if (call != "startProcessing")
            return;
        leftBefore = pipe->countUnreadInput() / sizeof(int32_t);
        hasStarted = true;
    };
    appendProcess(*pipe->getOutput(), 1);
    pipe->getOutput()->writeByte(static_cast<uint8_t>(WorkerCommand::startProcessing));
    pipe->getOutput()->writeNativeInt32(2);
    pipe->getOutput()->flush();
    ASSERT_TRUE(eventually([&] { return hasStarted.load(); }));
    EXPECT_EQ(leftBefore, 1U);
    EXPECT_EQ(pipe->getInput()->readInt32(), processTail);
}
