// Blocks of several instances together, on the wire. If these fail, an answer is taken for another block's,
// commands get stuck in a pipe that is full, or a plug-in that is late spoils the memory that it works on.

#include "AudioProxyTest.h"

#include "client/AudioCycle.h"
#include "support/Eventually.h"
#include "support/TestDirectory.h"

#include <gmock/gmock.h>

#include <ctime>
#include <fstream>
#include <vector>

using namespace test_support;
using State = WorkerBlock::State;
using testing::Each;
using testing::ElementsAre;

namespace {

constexpr timespec longPast{};
constexpr const char* command = "020100000000010000"
                                "0100";

/// Several contexts on one worker. They have one instance's number and block: what is sent and answered
/// is seen alone.
class AudioCycleTest : public AudioProxyTest {
protected:
    void begin(const std::string& script, size_t count) {
        AudioProxyTest::begin(script);
        for (size_t i = 0; i < count; ++i)
            instances.emplace_back(new RemotePluginAudioContextProxy(proxy, *reply));
        blocks.resize(count);
    }

    void TearDown() override {
        instances.clear();
        AudioProxyTest::TearDown();
    }

    void addAll(AudioCycle& cycle) {
        for (size_t i = 0; i < instances.size(); ++i)
            cycle.add(*instances[i], blocks[i], 256, true, false);
    }
    void play(AudioCycle& cycle, const timespec* deadline = nullptr) {
        addAll(cycle);
        cycle.send();
        cycle.finish(deadline);
    }

    std::vector<State> states() const {
        std::vector<State> all;
        for (const WorkerBlock& each : blocks)
            all.push_back(each.state);
        return all;
    }
    std::vector<int32_t> results() const {
        std::vector<int32_t> all;
        for (const WorkerBlock& each : blocks)
            all.push_back(each.result);
        return all;
    }
    static std::string commands(size_t count) {
        std::string all;
        for (size_t i = 0; i < count; ++i)
            all += command;
        return all;
    }
    static std::string answers(size_t count) {
        std::string all;
        for (size_t i = 0; i < count; ++i)
            all += "00000001";
        return all;
    }
    /// Waits until the stand-in has read so many commands.
    bool isSent(size_t count) const {
        return eventually([&] { return standIn->received("worker0") == commands(count); });
    }

    /// Waits until the stand-in has written so many answers that weren't taken.
    bool hasAnswered(size_t count) const {
        return eventually([&] {
            return proxy->getAudioThread(0).getPipe()->getPipe()->countUnreadInput() ==
                   count * sizeof(int32_t);
        });
    }
    void openGate() const { std::ofstream(gate) << '\n'; }

    const TestDirectory directory;
    const std::string gate = directory / "gate";
    std::vector<Ref<RemotePluginAudioContextProxy>> instances;
    std::vector<WorkerBlock> blocks;
};

} // namespace

TEST_F(AudioCycleTest, TheCommandsGoTogetherAndEachBlockHasItsOwnAnswer) {
    begin("read:worker0:33 write:worker0:000000010000000200000003", 3);
    AudioCycle cycle(3);
    play(cycle);
    EXPECT_THAT(states(), Each(State::done));
    EXPECT_THAT(results(), ElementsAre(1, 2, 3));
    EXPECT_EQ(standIn->received("worker0"), commands(3));
}

TEST_F(AudioCycleTest, NothingIsSentBeforeItIsSaidSo) {
    begin("read:worker0:5 read:worker0:22 write:worker0:0000000100000002", 2);
    AudioCycle cycle(2);
    addAll(cycle);
    // The command of another instance comes first.
    context->startProcessing();
    cycle.send();
    cycle.finish();
    EXPECT_THAT(states(), Each(State::done));
    EXPECT_EQ(standIn->received("worker0"), "0001000000" + commands(2));
}

TEST_F(AudioCycleTest, AnAnswerMayComeInPieces) {
    begin("read:worker0:22 write:worker0:0000 drained:worker0 write:worker0:00010000 drained:worker0 "
          "write:worker0:0002",
          2);
    AudioCycle cycle(2);
    play(cycle);
    EXPECT_THAT(states(), Each(State::done));
    EXPECT_THAT(results(), ElementsAre(1, 2));
}

TEST_F(AudioCycleTest, WhatHasNotAnsweredAtTheDeadlineIsLateAndSoIsWhatStandsBehindIt) {
    begin("read:worker0:33 write:worker0:00000001 read:main:1 exists:" + gate, 3);
    AudioCycle cycle(3);
    addAll(cycle);
    cycle.send();
    ASSERT_TRUE(hasAnswered(1));
    cycle.finish(&longPast);
    EXPECT_THAT(states(), ElementsAre(State::done, State::late, State::late));
}

TEST_F(AudioCycleTest, ALateOneTakesNoBlockBeforeItsAnswerWhichIsDropped) {
    begin("read:worker0:22 exists:" + gate + " write:worker0:0000000700000008 read:worker0:22 " +
              "write:worker0:0000000100000002",
          2);
    AudioCycle cycle(2);
    play(cycle, &longPast);
    EXPECT_THAT(states(), Each(State::late));
    *instances[0]->getRegions().outputEventCount = 5;
    play(cycle);
    EXPECT_THAT(states(), Each(State::late)) << "the worker has them still";
    EXPECT_EQ(*instances[0]->getRegions().outputEventCount, 5) << "the block is the worker's";
    EXPECT_FALSE(instances[0]->isAnswered());

    openGate();
    ASSERT_TRUE(hasAnswered(2));
    play(cycle);
    EXPECT_THAT(states(), Each(State::done));
    EXPECT_THAT(results(), ElementsAre(1, 2));
    EXPECT_EQ(*instances[0]->getRegions().outputEventCount, 0);
    EXPECT_EQ(standIn->received("worker0"), commands(4));
}

TEST_F(AudioCycleTest, ASingleBlockWaitsForTheLateAnswersBeforeIt) {
    begin("read:worker0:22 write:worker0:0000000700000008 read:worker0:11 write:worker0:00000009", 2);
    AudioCycle cycle(2);
    play(cycle, &longPast);
    EXPECT_EQ(instances[1]->process(256, true, false), 9);
}

TEST_F(AudioCycleTest, MoreThanAPipeHoldsGoesInPortions) {
    constexpr size_t count = 1100;
    constexpr size_t portion = 1024;
    begin("read:worker0:" + std::to_string(portion * 11) + " exists:" + gate + " write:worker0:" +
              answers(portion) + " read:worker0:" + std::to_string((count - portion) * 11) +
              " write:worker0:" + answers(count - portion),
          count);
    AudioCycle cycle(count);
    addAll(cycle);
    cycle.send();
    ASSERT_TRUE(isSent(portion));
    openGate();
    cycle.finish();
    EXPECT_THAT(states(), Each(State::done));
    EXPECT_EQ(standIn->received("worker0"), commands(count));
}

TEST_F(AudioCycleTest, ADeadlineEndsPortionsToo) {
    constexpr size_t count = 1100;
    constexpr size_t portion = 1024;
    begin("read:worker0:" + std::to_string(portion * 11) + " wait", count);
    AudioCycle cycle(count);
    play(cycle, &longPast);
    EXPECT_THAT(states(), Each(State::late));
    // What was never sent is free at once.
    EXPECT_FALSE(instances[0]->isAnswered());
    EXPECT_TRUE(instances[count - 1]->isAnswered());
}

TEST_F(AudioCycleTest, AWorkerThatEndsLosesItsBlocksAlone) {
    begin("read:worker0:22 write:worker0:00000001 close:worker0 read:main:1 write:main:01", 2);
    AudioCycle cycle(2);
    play(cycle);
    EXPECT_THAT(states(), ElementsAre(State::done, State::lost));
    play(cycle);
    EXPECT_THAT(states(), Each(State::lost));
    EXPECT_FALSE(proxy->isClosed());
}

TEST_F(AudioCycleTest, AnAnswerWithoutAQuestionEndsTheUseOfTheWorker) {
    begin("read:worker0:22 write:worker0:000000010000000200000003", 2);
    AudioCycle cycle(2);
    addAll(cycle);
    cycle.send();
    ASSERT_TRUE(hasAnswered(3));
    cycle.finish();
    play(cycle);
    EXPECT_THAT(states(), Each(State::lost));
    EXPECT_EQ(standIn->received("worker0"), commands(2));
}

TEST_F(AudioCycleTest, TheProgressOfAWorkerIsWhatItHasNotAnswered) {
    begin("read:worker0:11 exists:" + gate + " write:worker0:00000001", 1);
    const AudioThreadProxy& worker = proxy->getAudioThread(0);
    EXPECT_EQ(worker.getProgress().instanceId, 0);
    AudioCycle cycle(1);
    addAll(cycle);
    cycle.send();
    EXPECT_EQ(worker.getProgress().instanceId, 1);
    const int64_t earlier = worker.getProgress().time;
    EXPECT_TRUE(eventually([&] { return worker.getProgress().time > earlier; }));
    openGate();
    // Also before the answer is taken.
    EXPECT_TRUE(eventually([&] { return worker.getProgress().instanceId == 0; }));
    cycle.finish();
    EXPECT_EQ(worker.getProgress().instanceId, 0);
    EXPECT_THAT(states(), Each(State::done));
}
