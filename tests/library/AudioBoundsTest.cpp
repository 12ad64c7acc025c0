// What the calls of audio refuse, and how small and large a block may be. If these fail, an application's
// mistake ends in memory that isn't its own, or a block size or rate that works elsewhere is silent here.

#include "library/AudioTest.h"

#include <limits>
#include <span>
#include <utility>

using testing::Each;

namespace {

plugin_host_event midiEvent() {
    plugin_host_event event{};
    event.size = sizeof event;
    event.data[0] = 0x90;
    event.data_size = 3;
    return event;
}

class AudioBoundsTest : public ShowingTest {
protected:
    plugin_host_status add(const plugin_host_event& event) {
        return plugin_host_plugin_add_event(plugin.get(), &event);
    }
    plugin_host_status process(uint32_t frames) {
        return plugin_host_plugin_process(plugin.get(), frames, 0, nullptr);
    }
};

class AudioSizesTest : public PluginTest, public testing::WithParamInterface<std::pair<int, int>> {};

} // namespace

TEST_F(AudioBoundsTest, ABlockTakes256Events) {
    plugin.begin();
    for (int i = 0; i < 256; ++i)
        ASSERT_EQ(add(midiEvent()), PLUGIN_HOST_OK) << i;
    EXPECT_EQ(add(midiEvent()), PLUGIN_HOST_FULL);
    EXPECT_EQ(plugin_host_plugin_add_midi(plugin.get(), 0, 0x90, 1, 1), PLUGIN_HOST_FULL);
    EXPECT_FALSE(plugin.add_midi(0, 0x90, 1, 1));
    const plugin_host::output output = plugin.process(256);
    EXPECT_EQ(output.channels[0][shownEventCount], 256);
    EXPECT_EQ(output.event_count, 256U);
    plugin.begin();
    EXPECT_EQ(add(midiEvent()), PLUGIN_HOST_OK);
}

TEST_F(AudioBoundsTest, ABlockTakes4096Changes) {
    plugin.begin();
    for (int i = 0; i < 4096; ++i)
        ASSERT_EQ(plugin_host_plugin_add_change(plugin.get(), 0, 0.5F, 0), PLUGIN_HOST_OK) << i;
    EXPECT_EQ(plugin_host_plugin_add_change(plugin.get(), 0, 1, 0), PLUGIN_HOST_FULL);
    EXPECT_FALSE(plugin.add_change(0, 1));
    const float* shown = plugin.process(256).channels[0];
    EXPECT_EQ(shown[shownChangeCount], 4096);
    EXPECT_EQ(shown[shownFirstParameter], 0.5F);
}

TEST_F(AudioBoundsTest, FramesAreOneToTheBlockSize) {
    EXPECT_EQ(process(0), PLUGIN_HOST_INVALID_ARGUMENT);
    EXPECT_EQ(process(257), PLUGIN_HOST_INVALID_ARGUMENT);
    EXPECT_EQ(process(std::numeric_limits<uint32_t>::max()), PLUGIN_HOST_INVALID_ARGUMENT);
    EXPECT_EQ(process(1), PLUGIN_HOST_OK);
    EXPECT_EQ(process(256), PLUGIN_HOST_OK);
}

TEST_F(AudioBoundsTest, EventsOutsideOfTheBlockAreRefused) {
    plugin_host_event event = midiEvent();
    event.frame = 256;
    EXPECT_EQ(add(event), PLUGIN_HOST_INVALID_ARGUMENT);
    EXPECT_EQ(plugin_host_plugin_add_midi(plugin.get(), 256, 0x90, 1, 1), PLUGIN_HOST_INVALID_ARGUMENT);
    EXPECT_EQ(plugin_host_plugin_add_midi(plugin.get(), 65536, 0x90, 1, 1), PLUGIN_HOST_INVALID_ARGUMENT);
    EXPECT_EQ(plugin_host_plugin_add_change(plugin.get(), 0, 0.5F, 256), PLUGIN_HOST_INVALID_ARGUMENT);
    event.frame = 255;
    EXPECT_EQ(add(event), PLUGIN_HOST_OK);
}

TEST_F(AudioBoundsTest, EventsThatCannotBeAreRefused) {
    EXPECT_EQ(plugin_host_plugin_add_event(plugin.get(), nullptr), PLUGIN_HOST_INVALID_ARGUMENT);
    plugin_host_event event = midiEvent();
    for (const uint32_t size : {0U, 4U, 1000U}) {
        event.data_size = size;
        EXPECT_EQ(add(event), PLUGIN_HOST_INVALID_ARGUMENT) << size;
    }
    event.kind = PLUGIN_HOST_SYSTEM_EXCLUSIVE;
    for (const uint32_t size : {0U, 17U, 0xFFFFFFFFU}) {
        event.data_size = size;
        EXPECT_EQ(add(event), PLUGIN_HOST_INVALID_ARGUMENT) << size;
    }
    event.data_size = 3;
    event.kind = static_cast<plugin_host_event_kind>(3);
    EXPECT_EQ(add(event), PLUGIN_HOST_INVALID_ARGUMENT);
    event.kind = PLUGIN_HOST_NOTE_EXPRESSION;
    event.channel = 0x10000;
    EXPECT_EQ(add(event), PLUGIN_HOST_INVALID_ARGUMENT);
    event = midiEvent();
    event.size = 0;
    EXPECT_EQ(add(event), PLUGIN_HOST_INVALID_ARGUMENT);
    EXPECT_EQ(plugin.process(256).channels[0][shownEventCount], 0);
}

TEST_F(AudioBoundsTest, ChangesThatCannotBeAreRefused) {
    const auto add = [&](uint32_t index, float value) {
        return plugin_host_plugin_add_change(plugin.get(), index, value, 0);
    };
    EXPECT_EQ(add(4, 0.5F), PLUGIN_HOST_NOT_FOUND);
    EXPECT_EQ(add(65536, 0.5F), PLUGIN_HOST_NOT_FOUND);
    EXPECT_EQ(add(0, 1.5F), PLUGIN_HOST_INVALID_ARGUMENT);
    EXPECT_EQ(add(0, -0.5F), PLUGIN_HOST_INVALID_ARGUMENT);
    EXPECT_EQ(add(0, std::numeric_limits<float>::quiet_NaN()), PLUGIN_HOST_INVALID_ARGUMENT);
    EXPECT_EQ(plugin.process(256).channels[0][shownChangeCount], 0);
}

TEST_F(AudioBoundsTest, OnlyEventsThatWereSentCanBeRead) {
    plugin.begin();
    plugin.add_midi(0, 0x90, 1, 1);
    plugin.process(256);
    plugin_host_event event{};
    event.size = sizeof event;
    EXPECT_EQ(plugin_host_plugin_get_event(plugin.get(), 0, &event), PLUGIN_HOST_OK);
    EXPECT_EQ(plugin_host_plugin_get_event(plugin.get(), 1, &event), PLUGIN_HOST_NOT_FOUND);
    EXPECT_EQ(plugin_host_plugin_get_event(plugin.get(), 0, nullptr), PLUGIN_HOST_INVALID_ARGUMENT);
}

TEST_F(AudioBoundsTest, AShortStructureIsFilledAsFarAsItGoes) {
    struct {
        plugin_host_output output;
    } given{};
    given.output.size = offsetof(plugin_host_output, channels);
    EXPECT_EQ(plugin_host_plugin_process(plugin.get(), 256, PLUGIN_HOST_KEEP_ACTIVE, &given.output),
              PLUGIN_HOST_OK);
    EXPECT_EQ(given.output.size, offsetof(plugin_host_output, channels));
    EXPECT_EQ(given.output.tail, PLUGIN_HOST_SOUNDING);
    EXPECT_EQ(given.output.channels, nullptr);
    EXPECT_EQ(given.output.channel_count, 0U);
}

TEST_F(AudioBoundsTest, StartsAndStopsMayBeRepeated) {
    EXPECT_EQ(plugin_host_plugin_start(plugin.get()), PLUGIN_HOST_OK);
    EXPECT_EQ(process(256), PLUGIN_HOST_OK);
    EXPECT_EQ(plugin_host_plugin_stop(plugin.get()), PLUGIN_HOST_OK);
    EXPECT_EQ(plugin_host_plugin_stop(plugin.get()), PLUGIN_HOST_OK);
    EXPECT_EQ(process(256), PLUGIN_HOST_INVALID_STATE);
    EXPECT_EQ(plugin_host_plugin_start(plugin.get()), PLUGIN_HOST_OK);
    EXPECT_EQ(process(256), PLUGIN_HOST_OK);
}

TEST_F(AudioBoundsTest, APlugInThatWasNotStartedRendersNothing) {
    plugin_host::plugin other(session, {.path = examplePlugin("echo.so")});
    EXPECT_EQ(plugin_host_plugin_process(other.get(), 256, 0, nullptr), PLUGIN_HOST_INVALID_STATE);
    EXPECT_EQ(plugin_host_plugin_stop(other.get()), PLUGIN_HOST_OK);
    // A block may be prepared before.
    EXPECT_EQ(other.begin().channels.size(), 2U);
}

TEST_F(AudioBoundsTest, TheErrorTextStaysAsItIs) {
    EXPECT_EQ(plugin_host_plugin_set_program(plugin.get(), 17), PLUGIN_HOST_NOT_FOUND);
    const std::string text = plugin_host_error();
    EXPECT_EQ(process(0), PLUGIN_HOST_INVALID_ARGUMENT);
    EXPECT_EQ(plugin_host_plugin_start(nullptr), PLUGIN_HOST_INVALID_HANDLE);
    EXPECT_EQ(plugin_host_error(), text);
}

TEST_F(AudioBoundsTest, HandlesOfOtherKindsAreRefused) {
    auto* wrong = reinterpret_cast<plugin_host_plugin*>(session.get());
    plugin_host_event event = midiEvent();
    plugin_host_transport transport{};
    transport.size = sizeof transport;
    EXPECT_EQ(plugin_host_plugin_start(wrong), PLUGIN_HOST_INVALID_HANDLE);
    EXPECT_EQ(plugin_host_plugin_stop(wrong), PLUGIN_HOST_INVALID_HANDLE);
    EXPECT_EQ(plugin_host_plugin_begin(wrong, nullptr), PLUGIN_HOST_INVALID_HANDLE);
    EXPECT_EQ(plugin_host_plugin_add_event(wrong, &event), PLUGIN_HOST_INVALID_HANDLE);
    EXPECT_EQ(plugin_host_plugin_add_midi(wrong, 0, 0, 0, 0), PLUGIN_HOST_INVALID_HANDLE);
    EXPECT_EQ(plugin_host_plugin_add_change(wrong, 0, 0, 0), PLUGIN_HOST_INVALID_HANDLE);
    EXPECT_EQ(plugin_host_plugin_set_transport(wrong, &transport), PLUGIN_HOST_INVALID_HANDLE);
    EXPECT_EQ(plugin_host_plugin_process(wrong, 1, 0, nullptr), PLUGIN_HOST_INVALID_HANDLE);
    EXPECT_EQ(plugin_host_plugin_get_event(wrong, 0, &event), PLUGIN_HOST_INVALID_HANDLE);
}

INSTANTIATE_TEST_SUITE_P(Sizes, AudioSizesTest,
                         testing::Values(std::pair(1, 44100), std::pair(333, 192000), std::pair(65536, 48000),
                                         std::pair(8192, 1)),
                         [](const auto& each) {
                             return std::to_string(each.param.first) + "at" +
                                    std::to_string(each.param.second);
                         });

TEST_P(AudioSizesTest, TheWholeBlockIsRenderedAtTheRate) {
    const auto [blockSize, sampleRate] = GetParam();
    plugin_host::session_options sized = options();
    sized.block_size = blockSize;
    sized.sample_rate = sampleRate;
    plugin_host::session session(sized);
    plugin_host::plugin plugin(session, {.path = testPlugin("shows-its-block.so")});
    EXPECT_EQ(plugin.host_info().block_size, blockSize);
    EXPECT_EQ(plugin.host_info().sample_rate, sampleRate);
    plugin.start();
    const auto frames = static_cast<uint32_t>(blockSize);
    std::fill_n(plugin.begin().channels[0], frames, 0.5F);
    EXPECT_TRUE(plugin.add_midi(frames - 1, 0x90, 60, 100));
    const plugin_host::output output = plugin.process(frames);
    EXPECT_THAT(std::span(output.channels[1], frames), Each(0.5F));
    ASSERT_EQ(output.event_count, 1U);
    EXPECT_EQ(plugin.event(0).frame, frames - 1);
    if (blockSize > shownSampleRate) {
        EXPECT_EQ(output.channels[0][shownSampleRate], static_cast<float>(sampleRate));
    }
    EXPECT_EQ(plugin_host_plugin_process(plugin.get(), frames + 1, 0, nullptr), PLUGIN_HOST_INVALID_ARGUMENT);
}

namespace {

class AudioTailTest : public PluginTest, public testing::WithParamInterface<const char*> {};

} // namespace

INSTANTIATE_TEST_SUITE_P(Formats, AudioTailTest, testing::Values("echo.so", "echo.vst3"),
                         [](const auto& each) {
                             return std::string(each.param).ends_with("vst3") ? "Vst3" : "Vst2";
                         });

TEST_P(AudioTailTest, ATailEndsInSilence) {
    plugin_host::session session(options());
    plugin_host::plugin plugin(session, {.path = examplePlugin(GetParam())});
    plugin.start();
    plugin.begin().channels[0][0] = 1;
    EXPECT_EQ(plugin.process(256, PLUGIN_HOST_KEEP_ACTIVE).tail, PLUGIN_HOST_SOUNDING);
    plugin.begin().channels[0][0] = 0;
    EXPECT_EQ(plugin.process(256).tail, PLUGIN_HOST_TAIL);
    plugin_host_tail last = PLUGIN_HOST_TAIL;
    // The echoes of a second or so.
    for (int block = 0; block < 2000 && last == PLUGIN_HOST_TAIL; ++block)
        last = plugin.process(256).tail;
    EXPECT_EQ(last, PLUGIN_HOST_SILENT);
}

TEST_F(AudioBoundsTest, APlugInWithoutChannelsHasBlocksToo) {
    plugin_host::plugin nothing(session, {.path = testPlugin("without-audio-and-notes.so")});
    nothing.start();
    EXPECT_EQ(nothing.begin().channels.size(), 0U);
    const plugin_host::output output = nothing.process(256);
    EXPECT_EQ(output.channels.size(), 0U);
    EXPECT_EQ(output.event_count, 0U);
    EXPECT_EQ(nothing.describe().input_channels, 0U);
    plugin_host::plugin tone(session, {.path = examplePlugin("tone.so")});
    tone.start();
    EXPECT_EQ(tone.begin().channels.size(), 0U);
    EXPECT_EQ(tone.process(256).channels.size(), 2U);
}
