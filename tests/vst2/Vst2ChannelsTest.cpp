// Effects that change their channels while they play. If these fail, such an effect writes through pointers
// that aren't there, into the host's memory.

#include "vst2/Vst2Fixture.h"

#include <algorithm>
#include <limits>
#include <malloc.h>

namespace {

class Vst2ChannelsOfABlock : public Vst2Test {
protected:
    void play(int32_t inputs, int32_t outputs) {
        effect.effect.numInputs = inputs;
        effect.effect.numOutputs = outputs;
        startProcessing();
        makeAudio();
        effect.onProcess = [this](float** ins, float** outs, VstInt32 frames) { render(ins, outs, frames); };
    }

    void processBlock() { instance->process(blockSize, true, true); }

    /// Reads and writes all that the effect claims.
    void render(float** ins, float** outs, VstInt32 frames) {
        ++blocks;
        inputSum = 0;
        for (int32_t channel = 0; channel < effect.effect.numInputs; ++channel) {
            for (int32_t frame = 0; frame < frames; ++frame) {
                inputSum += ins[channel][frame];
                ins[channel][frame] = 1; // as effects do that work in place
            }
        }
        outputSum = 0;
        for (int32_t channel = 0; channel < effect.effect.numOutputs; ++channel)
            outputSum += outs[channel][0];
        for (int32_t channel = 0; channel < effect.effect.numOutputs; ++channel)
            std::fill_n(outs[channel], frames, static_cast<float>(channel + 1));
    }

    float output(int32_t channel) const {
        return context->getRegions().outputAudio[channel * context->paddedBlockSize];
    }

    int32_t blocks = 0;
    float inputSum = 0;
    float outputSum = 0;
};

} // namespace

TEST_F(Vst2ChannelsOfABlock, FurtherOutputsOfAnEffectThatHasGrownAreLost) {
    play(2, 2);
    effect.effect.numOutputs = 32;
    processBlock();
    EXPECT_EQ(blocks, 1);
    EXPECT_EQ(output(0), 1);
    EXPECT_EQ(output(1), 2);
    EXPECT_TRUE(context->areGuardsIntact());
}

TEST_F(Vst2ChannelsOfABlock, AnyNumberOfChannelsIsThere) {
    play(2, 2);
    for (const int32_t count : {3, 255, 256, 257, 1000, Vst2Channels::limit}) {
        effect.effect.numInputs = count;
        effect.effect.numOutputs = count;
        processBlock();
        EXPECT_EQ(output(1), 2) << count;
    }
    EXPECT_EQ(blocks, 6);
    EXPECT_TRUE(context->areGuardsIntact());
}

TEST_F(Vst2ChannelsOfABlock, FurtherInputsAreSilentInEachBlock) {
    play(0, 1);
    effect.effect.numInputs = 4;
    for (int32_t i = 0; i < 3; ++i) {
        processBlock();
        // One channel in the place of all: the first that reads it fills it.
        EXPECT_EQ(inputSum, 3 * blockSize);
    }
    EXPECT_EQ(blocks, 3);
}

TEST_F(Vst2ChannelsOfABlock, ChannelsAreThereForAnEffectThatHadNone) {
    play(0, 0);
    effect.effect.numInputs = 2;
    effect.effect.numOutputs = 2;
    processBlock();
    EXPECT_EQ(blocks, 1);
    EXPECT_TRUE(context->areGuardsIntact());
}

TEST_F(Vst2ChannelsOfABlock, WithoutChannelsThereAreNoPointers) {
    play(0, 0);
    effect.onProcess = [&](float** ins, float** outs, VstInt32) {
        ++blocks;
        EXPECT_EQ(ins, nullptr);
        EXPECT_EQ(outs, nullptr);
    };
    processBlock();
    EXPECT_EQ(blocks, 1);
}

TEST(Vst2Channels, ChannelsBeyondTheBlockAreSilentFromTheStart) {
    constexpr int32_t frames = 4096;
    Vst2Channels channels;
    // The allocator hands out filled memory meanwhile; those of sanitizers do as they please.
    mallopt(M_PERTURB, 0x55);
    channels.connect(nullptr, 0, frames);
    mallopt(M_PERTURB, 0);
    const float* scratch = channels.reach(1)[0];
    EXPECT_EQ(std::count(scratch, scratch + frames, 0.0F), frames);
}

TEST_F(Vst2ChannelsOfABlock, ScratchOutputsOfAnEffectThatAddsAreSilentInEachBlock) {
    play(0, 1);
    effect.effect.flags = 0;
    effect.effect.numOutputs = 3;
    for (int32_t i = 0; i < 3; ++i) {
        processBlock();
        EXPECT_EQ(outputSum, 0);
    }
    EXPECT_EQ(output(0), 1);
}

TEST_F(Vst2ChannelsOfABlock, AnEffectThatGrowsInsideOfABlockFindsItsChannels) {
    play(1, 1);
    effect.onProcess = [&](float** ins, float** outs, VstInt32 frames) {
        effect.effect.numOutputs = Vst2Channels::alwaysThere;
        effect.effect.numInputs = Vst2Channels::alwaysThere;
        render(ins, outs, frames);
    };
    processBlock();
    EXPECT_EQ(output(0), 1);
    EXPECT_TRUE(context->areGuardsIntact());
}

TEST_F(Vst2ChannelsOfABlock, AnEffectThatClaimsNonsenseIsNotCalledAndSilent) {
    play(2, 2);
    processBlock();
    for (const int32_t count : {-1, Vst2Channels::limit + 1, std::numeric_limits<int32_t>::max(),
                                std::numeric_limits<int32_t>::min()}) {
        for (const bool isInput : {false, true}) {
            std::fill_n(context->getRegions().outputAudio, 2 * context->paddedBlockSize, 42.0F);
            effect.effect.numInputs = isInput ? count : 2;
            effect.effect.numOutputs = isInput ? 2 : count;
            processBlock();
            EXPECT_EQ(output(0), 0) << count;
            EXPECT_EQ(output(1), 0) << count;
        }
    }
    EXPECT_EQ(blocks, 1);
}

TEST_F(Vst2ChannelsOfABlock, AnEffectThatShrinksKeepsTheBlocksChannels) {
    play(2, 2);
    effect.effect.numOutputs = 1;
    processBlock();
    EXPECT_EQ(output(0), 1);
    EXPECT_EQ(output(1), 0);
}
