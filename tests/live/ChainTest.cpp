// The chain of the live program, with real hosts and without a server. If these fail, plug-ins get other
// notes, another place in the song or other channels than a musician plays, or the callback waits for the
// allocator or a lock.

#include "live/ChainTest.h"
#include "plugins/library/BlockShown.h"
#include "support/CountedCalls.h"

#include <csignal>

using test_support::CountedCalls;
using test_support::countedCalls;
using testing::Each;
using testing::ElementsAre;

TEST(CopyAudio, TakesMonoToBothSidesAndTheMeanOfBothSidesToMono) {
    const float one[] = {9, 1, 2};
    const float other[] = {9, 3, 6};
    const float* const both[] = {one, other};
    float target[3][3] = {};
    float* const targets[] = {target[0], target[1], target[2]};
    copyAudio({std::span(both, 1), 1}, targets, 1, 2);
    EXPECT_THAT(target[0], ElementsAre(0, 1, 2));
    EXPECT_THAT(target[1], ElementsAre(0, 1, 2));
    EXPECT_THAT(target[2], Each(0));
    copyAudio({both, 1}, std::span(targets, 1), 0, 2);
    EXPECT_THAT(target[0], ElementsAre(2, 4, 2));
    copyAudio({both, 0}, targets, 0, 3);
    EXPECT_THAT(target[1], ElementsAre(9, 3, 6));
    copyAudio({}, targets, 0, 3);
    EXPECT_THAT(target[1], Each(0));
}

TEST_F(ChainTest, EachPluginGetsWhatTheOneBeforeItGivesInTheSamePeriod) {
    makeUpsideDown(3, false);
    render(level(0.5F, blockSize));
    EXPECT_THAT(left, Each(-0.5F));
    EXPECT_THAT(right, Each(-0.5F));
    EXPECT_EQ(chain->getAudioLatency(), 0u);
}

TEST_F(ChainTest, SideBySideEachGetsItAPeriodLater) {
    makeUpsideDown(3, true);
    std::vector<float> click = level(0, 32);
    click[5] = 1;
    std::vector<float> heard;
    for (int i = 0; i < 4; ++i) {
        render(i == 0 ? click : level(0, 32));
        heard.insert(heard.end(), left.begin(), left.end());
    }
    EXPECT_EQ(chain->getAudioLatency(), 64u);
    EXPECT_EQ(std::find(heard.begin(), heard.end(), -1.0F) - heard.begin(), 64 + 5);
    EXPECT_EQ(std::count(heard.begin(), heard.end(), 0.0F), 4 * 32 - 1);
}

TEST_F(ChainTest, ALongPeriodIsRenderedInPortionsWithTheLatencyOfOne) {
    makeUpsideDown(2, true);
    std::vector<float> ramp(150);
    for (size_t i = 0; i < ramp.size(); ++i)
        ramp[i] = static_cast<float>(i + 1);
    render(ramp);
    EXPECT_EQ(chain->getAudioLatency(), 50u);
    EXPECT_THAT(std::span(left).first(50), Each(0));
    EXPECT_EQ(left[50], 1);
    EXPECT_EQ(left[149], 100);
}

TEST_F(ChainTest, TheTransportGoesOnFromPortionToPortion) {
    make({{testPlugin("shows-its-block.so"), "", ""}});
    period.transport = {};
    period.transport.size = sizeof period.transport;
    period.transport.flags = PLUGIN_HOST_PLAYING;
    period.transport.tempo = 60;
    period.transport.frame = 96000;
    period.transport.position = 3.999;
    period.transport.time_signature_numerator = 4;
    period.transport.time_signature_denominator = 4;
    render(level(0, 128));
    EXPECT_EQ(left[shownFrame], 96000);
    EXPECT_FLOAT_EQ(left[shownPosition], 3.999F);
    EXPECT_EQ(left[shownBarStart], 0);
    EXPECT_EQ(left[64 + shownFrame], 96064);
    EXPECT_FLOAT_EQ(left[64 + shownPosition], 3.999F + 64.0F / 48000);
    EXPECT_EQ(left[64 + shownBarStart], 4);
    period.transport.flags = 0;
    render(level(0, 128));
    EXPECT_EQ(left[64 + shownFrame], 96000);
}

TEST_F(ChainTest, MessagesReachTheirFramesInEachPortionAndComeBack) {
    make({{testPlugin("shows-its-block.so"), "", ""}});
    render(level(0, 128), {note(0), note(63), note(64), {127, 2, {0xC1, 9, 0}}});
    EXPECT_THAT(sentFrames(), ElementsAre(0, 63, 64, 127));
    EXPECT_EQ(chain->getMidiOutput()[3].size, 2u);
    EXPECT_EQ(chain->getMidiOutput()[3].bytes[1], 9);
    EXPECT_EQ(left[shownEventCount], 2);
    EXPECT_EQ(left[64 + shownEventCount], 2);
}

TEST_F(ChainTest, SystemExclusiveMessagesReachThePluginToo) {
    make({{testPlugin("shows-its-block.so"), "", ""}});
    render(level(0, 64), {{12, 5, {0xF0, 1, 2, 3, 0xF7}}});
    EXPECT_EQ(left[shownDumpSize], 5);
    EXPECT_EQ(left[shownDumpFirst], 0xF0);
    EXPECT_EQ(left[shownDumpFrame], 12);
}

TEST_F(ChainTest, WhatABlockHasNoRoomForComesWithTheNext) {
    make({{testPlugin("shows-its-block.so"), "", ""}});
    std::vector<MidiMessage> many(300, note(10));
    render(level(0, 64), many);
    EXPECT_EQ(left[shownEventCount], 256);
    render(level(0, 64), {note(20)});
    EXPECT_EQ(left[shownEventCount], 45);
    EXPECT_EQ(sentFrames().front(), 0u);
    EXPECT_EQ(sentFrames().back(), 20u);
    EXPECT_EQ(chain->getLostMidi(), 0u);
}

TEST_F(ChainTest, AfterAFloodAllNotesEnd) {
    make({{testPlugin("shows-its-block.so"), "", ""}});
    render(level(0, 64), std::vector<MidiMessage>(2000, note(10)));
    EXPECT_EQ(chain->getLostMidi(), 2000u - 1024u);
    size_t ended = 0;
    for (int i = 0; i < 5; ++i) {
        render(level(0, 64));
        for (const MidiMessage& message : chain->getMidiOutput())
            ended += message.bytes[0] >> 4 == 0xB && message.bytes[1] == 123 ? 1 : 0;
    }
    EXPECT_EQ(ended, 16u);
}

TEST_F(ChainTest, MessagesGoToTheFirstPluginThatTakesNotes) {
    make({{examplePlugin("trio.so"), "54725570", ""}, {examplePlugin("tone.so"), "", ""}});
    render(level(0, 64), {note(0)});
    EXPECT_NE(left[63], 0);
    EXPECT_EQ(chain->getMidiLatency(), 0u);
}

TEST_F(ChainTest, ADeadEffectPassesItsInputOn) {
    for (const bool pipeline : {false, true}) {
        makeUpsideDown(1, pipeline);
        render(level(0.5F, blockSize));
        EXPECT_THAT(left, Each(-0.5F));
        kill(hostOf(0), SIGKILL);
        EXPECT_TRUE(test_support::eventually([&] {
            render(level(0.5F, blockSize));
            return left[0] == 0.5F;
        }));
        EXPECT_THAT(left, Each(0.5F));
        EXPECT_EQ(plugin(0).getStatus(), PLUGIN_HOST_DEAD);
    }
}

TEST_F(ChainTest, ADeadInstrumentIsSilent) {
    make({{examplePlugin("tone.so"), "", ""}});
    kill(hostOf(0), SIGKILL);
    EXPECT_TRUE(test_support::eventually([&] {
        render(level(0.5F, blockSize), {note(0)});
        return plugin(0).getStatus() == PLUGIN_HOST_DEAD;
    }));
    EXPECT_THAT(left, Each(0));
    EXPECT_THAT(right, Each(0));
}

TEST_F(ChainTest, AMessageForALatePluginComesAsItRendersAgain) {
    make({{testPlugin("shows-its-block.so"), "", ""}}, false, std::chrono::milliseconds(100));
    const pid_t host = hostOf(0);
    stop(host);
    render(level(0.5F, blockSize));
    EXPECT_THAT(right, Each(0.5F));
    render(level(0, blockSize), {note(5)});
    EXPECT_EQ(chain->getLateBlocks(), 2u);
    kill(host, SIGCONT);
    EXPECT_TRUE(test_support::eventually([&] {
        render(level(0, blockSize));
        return plugin(0).getStatus() == PLUGIN_HOST_OK;
    }));
    EXPECT_THAT(sentFrames(), ElementsAre(0));
}

TEST_F(ChainTest, ALatePluginLeavesTimeToThoseBehindIt) {
    make(std::vector<PluginChoice>(2, {examplePlugin("trio.so"), "54725570", ""}), false,
         std::chrono::seconds(2));
    const pid_t host = hostOf(0);
    stop(host);
    render(level(0.5F, blockSize));
    EXPECT_THAT(left, Each(-0.5F));
    EXPECT_EQ(chain->getLateBlocks(), 1u);
    kill(host, SIGCONT);
}

// The counts are of the plain program: a sanitizer has its own allocator and its own calls.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST_F(ChainTest, RenderingAllocatesNothingAndTakesNoLock) {
    for (const bool pipeline : {false, true}) {
        make({{testPlugin("shows-its-block.so"), "", ""}, {examplePlugin("echo.vst3"), "", ""}}, pipeline);
        const std::vector<MidiMessage> midi{note(1), {2, 3, {0xF0, 1, 0xF7}}};
        const std::vector<float> input = level(0.5F, 100);
        std::vector<float> output = input;
        const float* const inputs[] = {input.data(), input.data()};
        float* const outputs[] = {output.data(), output.data()};
        period.inputs = inputs;
        period.outputs = outputs;
        period.midi = midi;
        CountedCalls counted;
        for (int i = 0; i < 110; ++i) {
            if (i == 10)
                countedCalls = {};
            period.frames = i % 10 == 0 ? 50 : 100;
            period.begin = ChainPlugin::Clock::now();
            chain->render(period);
        }
        counted = countedCalls;
        EXPECT_EQ(counted.allocations, 0);
        EXPECT_EQ(counted.locks, 0);
        EXPECT_NE(output[99], 0);
    }
}
#endif
