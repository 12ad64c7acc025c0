// If these fail, a reverb's tail is cut off, or a plug-in keeps the processor busy long after it fell silent.

#include "vst3-processing/Vst3ProcessingTest.h"

using namespace test_support;
using testing::Each;
using testing::ElementsAre;

namespace {

class Vst3Tail : public Vst3ProcessingTest {
protected:
    Vst3Tail() { addStereo(); }

    /// The results of blocks of 64 frames.
    std::vector<int32_t> run(int32_t blocks, bool keepActive = false) {
        std::vector<int32_t> results;
        for (int32_t i = 0; i < blocks; ++i)
            results.push_back(instance->process(64, keepActive, true));
        return results;
    }
};

} // namespace

TEST_F(Vst3Tail, ATailOf100AndALatencyOf28SoundForTwoBlocksOf64) {
    component.tail = 100;
    component.latency = 28;
    startProcessing();
    EXPECT_THAT(run(4), ElementsAre(2, 2, 0, 0));
}

TEST_F(Vst3Tail, ALatencyAloneIsNoTail) {
    component.latency = 1000;
    startProcessing();
    EXPECT_THAT(run(2), ElementsAre(0, 0));
}

TEST_F(Vst3Tail, InputBeginsTheTailAnew) {
    component.tail = 128;
    startProcessing();
    EXPECT_THAT(run(3), ElementsAre(2, 2, 0));
    EXPECT_THAT(run(2, true), ElementsAre(1, 1));
    EXPECT_THAT(run(3), ElementsAre(2, 2, 0));
}

TEST_F(Vst3Tail, AnInfiniteTailNeverEnds) {
    component.tail = Vst::kInfiniteTail;
    startProcessing();
    EXPECT_THAT(run(1000), Each(2));
    // Past what the count of silent frames can hold.
    for (int32_t i = 0; i < 4; ++i)
        EXPECT_EQ(instance->process(INT32_MAX, false, true), 2);
}

TEST_F(Vst3Tail, ATailAboveTheSignedNumbersIsInfinite) {
    component.tail = 0x80000000;
    startProcessing();
    EXPECT_THAT(run(100), Each(2));
}

TEST_F(Vst3Tail, TheLongestTailEndsAndDoesNotWrapAroundWithTheLatency) {
    component.tail = INT32_MAX;
    component.latency = 1000;
    startProcessing();
    EXPECT_THAT(run(100), Each(2));
}

TEST_F(Vst3Tail, AnOpenEditorKeepsThePluginRunningForAsLongAsItIsOpen) {
    startProcessing();
    instance->window = new TinyWindow(windowSizes);
    EXPECT_THAT(run(100), Each(1));
    delete instance->window;
    instance->window = nullptr;
    EXPECT_THAT(run(2), ElementsAre(0, 0));
}

TEST_F(Vst3Tail, FramesThatWereSilentBehindAnOpenEditorCount) {
    component.tail = 128;
    startProcessing();
    instance->window = new TinyWindow(windowSizes);
    EXPECT_THAT(run(2), ElementsAre(1, 1));
    delete instance->window;
    instance->window = nullptr;
    EXPECT_THAT(run(1), ElementsAre(0));
}

TEST_F(Vst3Tail, SilentFramesAreCountedWhilstThePluginDoesNotProcess) {
    component.tail = 128;
    startProcessing();
    instance->stopProcessing();
    EXPECT_THAT(run(3), ElementsAre(2, 2, 0));
    instance->startProcessing();
    EXPECT_THAT(run(1), ElementsAre(0));
}
