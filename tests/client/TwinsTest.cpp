// The examples exist in both formats, on the same sound. If these fail, a project sounds different with the
// other format of a plug-in, or a client has to know which one it drives.

#include "RealHost.h"

#include "plugin/PluginInstance.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr float tolerance = 1e-6F;
constexpr int32_t blockSize = 256;

float greatestDifference(const PlayingInstance& one, const PlayingInstance& other) {
    float greatest = 0;
    for (int32_t channel = 0; channel < one.context->outputChannelCount; ++channel) {
        for (int32_t frame = 0; frame < blockSize; ++frame)
            greatest = std::max(greatest, std::abs(one.context->outputChannel(channel)[frame] -
                                                   other.context->outputChannel(channel)[frame]));
    }
    return greatest;
}

bool isSounding(const PlayingInstance& instance) {
    const float* output = instance.context->outputChannel(0);
    return std::any_of(output, output + blockSize, [](float sample) { return sample != 0; });
}

class TwinsTest : public RealHost {
protected:
    void TearDown() override {
        vst2.letGo(*proxy);
        vst3.letGo(*proxy);
        EXPECT_EQ(manager->count(), 0u);
        RealHost::TearDown();
    }

    void load(const std::string& name, const char* vst2Identifier = "", const char* vst3Identifier = "") {
        vst2.play(proxy, createInstance(*proxy, plugin(name), vst2Identifier));
        vst3.play(proxy, createInstance(*proxy, plugin(name, ".vst3"), vst3Identifier));
    }

    template <class Action>
    void both(const Action& action) {
        action(vst2);
        action(vst3);
    }

    void change(uint16_t parameter, float value) {
        both([&](PlayingInstance& twin) { twin.change(parameter, value); });
    }

    void midi(uint8_t status, uint8_t data1, uint8_t data2, uint16_t offset) {
        both([&](PlayingInstance& twin) { twin.midi(status, data1, data2, offset); });
    }

    void playNoise() {
        for (int32_t frame = 0; frame < blockSize; ++frame) {
            random = random * 1664525 + 1013904223;
            const float sample = static_cast<float>(random >> 8) / 8388608.0F - 1.0F;
            both([&](PlayingInstance& twin) {
                twin.context->inputChannel(0)[frame] = sample;
                twin.context->inputChannel(1)[frame] = sample * 0.25F;
            });
        }
    }

    void playSilence() {
        both([&](PlayingInstance& twin) {
            for (int32_t channel = 0; channel < twin.context->inputChannelCount; ++channel)
                std::fill_n(twin.context->inputChannel(channel), blockSize, 0.0F);
        });
    }

    /// A block of both, which are to sound the same. Each format has tail rules of its own.
    void renderBoth(bool keepActive = true) {
        both([&](PlayingInstance& twin) {
            const int32_t result = twin.render(keepActive);
            EXPECT_EQ(result == processActive, keepActive) << "in block " << blocks;
        });
        EXPECT_LE(greatestDifference(vst2, vst3), tolerance) << "in block " << blocks;
        soundingBlocks += isSounding(vst3) ? 1 : 0;
        ++blocks;
    }

    PlayingInstance vst2;
    PlayingInstance vst3;
    uint32_t random = 1;
    int blocks = 0;
    int soundingBlocks = 0;
};

INSTANTIATE_TEST_SUITE_P(TheHost, TwinsTest, testing::ValuesIn(hostPrograms), hostProgramName);

TEST_P(TwinsTest, AnEffectIsToldOfInTheSameWords) {
    load("echo");
    EXPECT_EQ(vst3.reply->inputChannelCount, vst2.reply->inputChannelCount);
    EXPECT_EQ(vst3.reply->outputChannelCount, vst2.reply->outputChannelCount);
    EXPECT_EQ(vst3.reply->latency, vst2.reply->latency);
    const auto& expected = vst2.reply->state->parameters;
    const auto& found = vst3.reply->state->parameters;
    ASSERT_EQ(expected.size(), 3u);
    ASSERT_EQ(found.size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(found[i]->name.toStdString(), expected[i]->name.toStdString());
        EXPECT_EQ(found[i]->label.toStdString(), expected[i]->label.toStdString());
        EXPECT_EQ(found[i]->display.toStdString(), expected[i]->display.toStdString());
        EXPECT_EQ(found[i]->value, expected[i]->value);
    }
}

TEST_P(TwinsTest, AnEffectSoundsTheSameWithChangesAndInItsTail) {
    load("echo");
    change(0, 0.01F);
    for (int i = 0; i < 40; ++i) {
        playNoise();
        if (i % 8 == 3)
            change(static_cast<uint16_t>(i / 8 % 3), 0.003F + 0.02F * static_cast<float>(i));
        renderBoth();
    }
    EXPECT_EQ(soundingBlocks, 40);
    change(0, 0.02F);
    change(1, 0.7F);
    playSilence();
    for (int i = 0; i < 100; ++i)
        renderBoth(false);
    EXPECT_GT(soundingBlocks, 50) << "there was no tail";
}

TEST_P(TwinsTest, AnInstrumentPlaysTheSameNotes) {
    load("tone");
    EXPECT_EQ(vst3.reply->inputChannelCount, 0);
    EXPECT_EQ(vst3.reply->outputChannelCount, 2);
    change(1, 0.05F);
    renderBoth();
    EXPECT_EQ(soundingBlocks, 0);
    constexpr uint8_t chord[] = {57, 61, 64, 69, 73, 76};
    for (const uint8_t key : chord) {
        midi(0x90, key, static_cast<uint8_t>(key + 40), key);
        renderBoth();
    }
    change(0, 0.8F);
    for (const uint8_t key : chord) {
        midi(0x80, key, 64, static_cast<uint16_t>(2 * key));
        midi(0x90, static_cast<uint8_t>(key + 3), 100, static_cast<uint16_t>(2 * key + 1));
        renderBoth();
        // A note that begins with no strength is an end.
        midi(0x90, static_cast<uint8_t>(key + 3), 0, 7);
        renderBoth();
    }
    EXPECT_EQ(soundingBlocks, blocks - 1);
    for (int i = 0; i < 40; ++i)
        renderBoth(false);
    EXPECT_LT(soundingBlocks, blocks) << "the notes never end";
}

TEST_P(TwinsTest, AnInstrumentFollowsTheSameControllers) {
    load("tone");
    midi(0x90, 69, 127, 0);
    renderBoth();
    const float before = vst3.context->outputChannel(0)[0];
    for (uint8_t step = 0; step < 10; ++step) {
        midi(0xE0, static_cast<uint8_t>(step * 3), static_cast<uint8_t>(step * 12), 0);
        midi(0xB0, 7, static_cast<uint8_t>(120 - step * 10), 0);
        renderBoth();
    }
    // At the wheel's end a note is two semitones higher: 493.88 Hz go through zero once in 89.3 frames.
    midi(0xE0, 0x7F, 0x7F, 0);
    midi(0xB0, 7, 64, 0);
    renderBoth();
    const float* output = vst3.context->outputChannel(0);
    int rises = 0;
    for (int32_t frame = 1; frame < blockSize; ++frame)
        rises += output[frame - 1] < 0 && output[frame] >= 0 ? 1 : 0;
    EXPECT_GE(rises, 2);
    EXPECT_LE(rises, 3);
    EXPECT_EQ(soundingBlocks, blocks);
    EXPECT_EQ(before, 0.0F);
}

TEST_P(TwinsTest, EachOfThreeSoundsTheSame) {
    constexpr const char* identifiers[][2] = {
        {"1416776815", "4578616D706C6520576F726B54724C6F"},
        {"1416779120", "4578616D706C6520576F726B54725570"},
        {"1416778615", "4578616D706C6520576F726B54725377"},
    };
    for (const auto& [vst2Identifier, vst3Identifier] : identifiers) {
        load("trio", vst2Identifier, vst3Identifier);
        if (!vst2.reply->state->parameters.empty())
            change(0, 0.7F);
        for (int i = 0; i < 4; ++i) {
            playNoise();
            renderBoth();
        }
        both([&](PlayingInstance& twin) { twin.letGo(*proxy); });
    }
    EXPECT_EQ(soundingBlocks, 12);
}

// The limiter looks ahead by so many frames, and then keeps what comes out within full scale.
TEST_P(TwinsTest, AnEffectThatComesLateSaysByHowMuchInBoth) {
    constexpr int32_t latency = 64;
    load("trio", "1416776815", "4578616D706C6520576F726B54724C6F");
    EXPECT_EQ(vst2.reply->latency, latency);
    EXPECT_EQ(vst3.reply->latency, latency);
    change(0, 1.0F);
    both([](PlayingInstance& twin) {
        twin.context->inputChannel(0)[0] = 0.25F;
        twin.context->inputChannel(0)[100] = 0.75F;
    });
    renderBoth();
    const float* output = vst3.context->outputChannel(0);
    EXPECT_EQ(output[latency - 1], 0.0F);
    EXPECT_EQ(output[latency], 0.5F);
    EXPECT_FLOAT_EQ(output[100 + latency], 1.0F);
}

/// A note of the VST 3 instrument moves as its expression says: what the other instance plays tells how.
class NoteExpressionTest : public RealHost {
protected:
    void SetUp() override {
        RealHost::SetUp();
        for (PlayingInstance* instance : {&moved, &plain})
            instance->play(proxy, createInstance(*proxy, plugin("tone", ".vst3")));
    }

    void TearDown() override {
        moved.letGo(*proxy);
        plain.letGo(*proxy);
        RealHost::TearDown();
    }

    static EventRecord expression(uint8_t kind, uint16_t channel, uint16_t key, float value) {
        EventRecord event{};
        event.kind = EventKind::noteExpression;
        event.noteExpression.kind = kind;
        event.noteExpression.channel = channel;
        event.noteExpression.key = key;
        event.noteExpression.value = value;
        return event;
    }

    PlayingInstance moved;
    PlayingInstance plain;
};

INSTANTIATE_TEST_SUITE_P(TheHost, NoteExpressionTest, testing::ValuesIn(hostPrograms), hostProgramName);

TEST_P(NoteExpressionTest, ANoteThatIsTunedAnOctaveUpIsTheOneAnOctaveHigher) {
    moved.midi(0x92, 57, 100, 0);
    moved.add(expression(2, 2, 57, 12));
    plain.midi(0x90, 69, 100, 0);
    moved.render();
    plain.render();
    EXPECT_TRUE(isSounding(moved));
    EXPECT_LE(greatestDifference(moved, plain), 1e-5F);
}

TEST_P(NoteExpressionTest, ANoteWithoutVolumeLeavesTheOthersAlone) {
    moved.midi(0x90, 57, 100, 0);
    moved.midi(0x90, 69, 100, 0);
    moved.add(expression(0, 0, 57, 0));
    plain.midi(0x90, 69, 100, 0);
    moved.render();
    plain.render();
    EXPECT_TRUE(isSounding(moved));
    EXPECT_EQ(greatestDifference(moved, plain), 0.0F);
}

TEST_P(NoteExpressionTest, AVolumeOfOneIsTheNoteAsItWasPlayed) {
    for (PlayingInstance* instance : {&moved, &plain})
        instance->midi(0x90, 69, 100, 0);
    moved.add(expression(0, 0, 69, 1));
    moved.render();
    plain.render();
    EXPECT_TRUE(isSounding(moved));
    EXPECT_EQ(greatestDifference(moved, plain), 0.0F);
}

} // namespace
