// The live program with a real server and real hosts. If these fail, a musician hears other notes than the
// plug-in plays, or nothing at all, as soon as the server or a plug-in does what it may do.

#include "live/LiveTest.h"

#include <cmath>
#include <sndfile.h>

using namespace test_support;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr size_t noteFrames = 12000;
constexpr uint8_t phrase[] = {60, 64, 67, 72, 76, 72, 67, 64, 60};

/// The notes of examples/render.
std::vector<SentMidi> makePhrase() {
    std::vector<SentMidi> messages;
    for (size_t i = 0; i <= std::size(phrase); ++i) {
        if (i > 0)
            messages.push_back({i * noteFrames, {0x80, phrase[i - 1], 100}});
        if (i < std::size(phrase))
            messages.push_back({i * noteFrames, {0x90, phrase[i], 100}});
    }
    return messages;
}

std::vector<float> readLeft(const std::string& path) {
    SF_INFO info{};
    SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
    if (file == nullptr)
        return {};
    std::vector<float> both(static_cast<size_t>(info.frames * info.channels));
    sf_readf_float(file, both.data(), info.frames);
    sf_close(file);
    std::vector<float> left;
    for (size_t i = 0; i < both.size(); i += static_cast<size_t>(info.channels))
        left.push_back(both[i]);
    return left;
}

/// From the first sound on.
std::vector<float> trim(const std::vector<float>& samples) {
    return {std::find_if(samples.begin(), samples.end(), [](float sample) { return sample != 0; }),
            samples.end()};
}

class PlayTest : public LiveTest {
protected:
    std::vector<float> renderPhrase(const std::string& plugin) {
        const ProgramResult result = runProgram({"--rate", "48000", "--block", "128", plugin, "", "out.wav"},
                                                environment(), directory.path, RENDER_EXECUTABLE);
        EXPECT_EQ(result.status, 0) << result.error;
        return trim(readLeft(directory / "out.wav"));
    }

    std::vector<float> playPhrase(const std::vector<std::string>& arguments) {
        startServer(128);
        startLive(arguments);
        EXPECT_TRUE(connect("peer:midi_send", "plugin-host-live:midi_input"));
        // As fast as it renders, so that no block is late.
        jack_set_freewheel(peer->get(), 1);
        peer->record((std::size(phrase) + 2) * noteFrames, makePhrase());
        EXPECT_TRUE(eventually([&] { return peer->hasRecorded(); }, longBound));
        jack_set_freewheel(peer->get(), 0);
        EXPECT_EQ(endLive(), 0) << live->error;
        return trim(peer->getRecording());
    }

    void expectSame(const std::vector<float>& played, const std::vector<float>& rendered) {
        ASSERT_GT(rendered.size(), std::size(phrase) * noteFrames);
        ASSERT_GE(played.size(), rendered.size());
        const float step = 1.0F / (1 << 23); // of the file
        for (size_t i = 0; i < rendered.size(); ++i)
            ASSERT_NEAR(played[i], rendered[i], step) << "at frame " << i;
    }
};

} // namespace

TEST_F(PlayTest, AnInstrumentOfVst2SoundsLikeItsRenderingSampleBySample) {
    expectSame(playPhrase({"--midi", examplePlugin("tone.so")}), renderPhrase(examplePlugin("tone.so")));
}

TEST_F(PlayTest, AnInstrumentOfVst3SoundsLikeItsRenderingSampleBySample) {
    expectSame(playPhrase({"--midi", examplePlugin("tone.vst3")}), renderPhrase(examplePlugin("tone.vst3")));
}

TEST_F(PlayTest, APluginOfTheOtherWidthGoesOnFromAnInstrument) {
    if (!std::filesystem::exists(PLUGIN_HOST_I386_EXECUTABLE)) {
        std::printf("not run: there is no host of 32 bits, which scripts/build i386 makes\n");
        GTEST_SKIP();
    }
    const std::vector<float> played = playPhrase({"--midi", examplePlugin("tone.so"), "--identifier",
                                                  upsideDown, EXAMPLE_PLUGIN_I386_DIRECTORY "/trio.so"});
    std::vector<float> rendered = renderPhrase(examplePlugin("tone.so"));
    std::ranges::transform(rendered, rendered.begin(), std::negate());
    expectSame(played, rendered);
}

TEST_F(PlayTest, PortsAreThoseOfTheFirstAndTheLastPlugin) {
    startServer();
    startLive({examplePlugin("tone.so"), examplePlugin("echo.so")});
    EXPECT_EQ(peer->countPorts("plugin-host-live:input_"), 0u);
    EXPECT_EQ(peer->countPorts("plugin-host-live:output_"), 2u);
    EXPECT_EQ(peer->countPorts("plugin-host-live:midi_"), 0u);
    EXPECT_EQ(endLive(), 0);
}

TEST_F(PlayTest, AnotherBufferSizeIsOneBlockAlsoIfItIsLongerThanBlocksWereAtTheStart) {
    startServer();
    startUpsideDownTwice({"--pipeline"});
    const auto latency = [&] { return peer->latencyOf("plugin-host-live:output_1", JackCaptureLatency); };
    EXPECT_TRUE(eventually([&] { return latency() == 1024; })) << latency();
    for (const jack_nframes_t size : {4096U, 256U, 8192U}) {
        peer->sent = 0.5F;
        ASSERT_EQ(jack_set_buffer_size(peer->get(), size), 0);
        EXPECT_TRUE(eventually([&] { return latency() == size; })) << latency() << " of " << size;
        EXPECT_TRUE(hears(0.5F)) << size;
        peer->sent = -0.25F;
        EXPECT_TRUE(hears(-0.25F)) << size;
    }
    EXPECT_EQ(endLive(), 0);
    EXPECT_THAT(live->error,
                HasSubstr("The plug-ins play at 48000 Hz now, in blocks of up to 4096 frames\n"));
    EXPECT_THAT(live->error,
                HasSubstr("The plug-ins play at 48000 Hz now, in blocks of up to 8192 frames\n"));
    EXPECT_THAT(live->error, Not(HasSubstr("up to 256 frames")));
    EXPECT_THAT(live->error, Not(HasSubstr("bypassed")));
}

TEST_F(PlayTest, ThePluginsOwnLatencyIsReportedToTheServer) {
    startServer();
    startLive({"--identifier", "54724c6f", examplePlugin("trio.so")});
    EXPECT_TRUE(eventually([&] {
        return peer->latencyOf("plugin-host-live:output_1", JackCaptureLatency) == 64 &&
               peer->latencyOf("plugin-host-live:input_1", JackPlaybackLatency) >= 64;
    }));
    EXPECT_EQ(endLive(), 0);
}

TEST_F(PlayTest, WhatThePluginSendsGoesToTheMidiOutput) {
    startServer();
    startLive({"--midi", TEST_PLUGIN_DIRECTORY "/shows-its-block.so"});
    ASSERT_TRUE(connect("peer:midi_send", "plugin-host-live:midi_input"));
    ASSERT_TRUE(connect("plugin-host-live:midi_output", "peer:midi_receive"));
    peer->record(48000, {{0, {0x90, 60, 100}}, {5, {0xC0, 1, 0}}, {30000, {0x80, 60, 0}}});
    EXPECT_TRUE(eventually([&] { return peer->messages == 3; })) << peer->messages;
    EXPECT_EQ(endLive(), 0);
}

TEST_F(PlayTest, AtTheEndThereIsOneLineWithTheCounts) {
    startServer();
    startUpsideDownTwice();
    EXPECT_EQ(endLive(SIGINT), 0);
    EXPECT_THAT(
        live->output,
        testing::MatchesRegex("[1-9][0-9]* periods, [0-9]+ late blocks, [0-9]+ xruns, peak -6\\.0 dBFS\n"));
}
