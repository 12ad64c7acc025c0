// What an application hears of a plug-in through the library. If these fail, blocks have other samples than
// the plug-in has rendered, or the plug-in plays other notes, values and places than the application has
// sent.

#include "library/AudioTest.h"

#include "client/RemotePluginAudioContextProxy.h"
#include "client/RemotePluginHostProxy.h"
#include "client/ReplyWaiter.h"
#include "plugin/PluginHostReplies.h"

using namespace test_support;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::Eq;

namespace {

constexpr int32_t sampleRate = 96000;
constexpr int32_t blockSize = 333;
constexpr double patience = 10;
constexpr float expression = 0.4F;

/// A plug-in of a file.
struct Example {
    const char* file;
    /// Of a description, and as hosts take it.
    const char* identifier;
    const char* wireIdentifier;
};

void PrintTo(const Example& example, std::ostream* stream) {
    *stream << example.file << " " << example.identifier;
}

/// The same plug-in driven by the classes that the library is made of.
class Reference {
public:
    Reference(const std::string& path, const char* identifier) {
        HostOptions options(PLUGIN_HOST_EXECUTABLE);
        options.sampleRate = sampleRate;
        options.blockSize = blockSize;
        proxy = new RemotePluginHostProxy(options);
        const Ref<ReplyWaiter> created(new ReplyWaiter(*proxy));
        proxy->createPluginInstance(path.c_str(), "", identifier, false, nullptr, created);
        const auto reply = created->waitFor<CreatePluginInstanceReply>(patience);
        context = new RemotePluginAudioContextProxy(proxy, *reply);
        context->getTransport().sampleRate = sampleRate;
        context->startProcessing();
    }
    ~Reference() {
        context->stopProcessing();
        context->drain();
    }

    Ref<RemotePluginHostProxy> proxy;
    Ref<RemotePluginAudioContextProxy> context;
};

class AudioSamplesTest : public PluginTest, public testing::WithParamInterface<Example> {
protected:
    plugin_host::session_options smallBlocks() {
        plugin_host::session_options result = options();
        result.sample_rate = sampleRate;
        result.block_size = blockSize;
        return result;
    }
};

plugin_host_event noteExpression(uint32_t kind) {
    plugin_host_event event{};
    event.size = sizeof event;
    event.kind = PLUGIN_HOST_NOTE_EXPRESSION;
    event.frame = 2;
    event.key = 64;
    event.expression = kind;
    event.value = expression;
    return event;
}

EventRecord expressionRecord(uint8_t kind) {
    EventRecord record{};
    record.kind = EventKind::noteExpression;
    record.sampleOffset = 2;
    record.noteExpression = {.channel = 0, .key = 64, .value = expression, .kind = kind};
    return record;
}

std::string exampleName(const testing::TestParamInfo<Example>& each) {
    std::string name = std::string(each.param.file) + each.param.identifier;
    std::erase_if(name, [](char c) { return isalnum(c) == 0; });
    return name;
}

} // namespace

INSTANTIATE_TEST_SUITE_P(Examples, AudioSamplesTest,
                         testing::Values(Example{"echo.so", "", ""}, Example{"tone.so", "", ""},
                                         Example{"trio.so", "54724c6f", "1416776815"},
                                         Example{"trio.so", "54725377", "1416778615"},
                                         Example{"echo.vst3", "", ""}, Example{"tone.vst3", "", ""},
                                         Example{"trio.vst3", "", "4578616D706C6520576F726B54724C6F"}),
                         exampleName);

TEST_P(AudioSamplesTest, SamplesAndTailsAreThoseOfTheProxy) {
    const std::string path = examplePlugin(GetParam().file);
    plugin_host::session session(smallBlocks());
    plugin_host::plugin plugin(session, {.path = path, .identifier = GetParam().identifier});
    const Reference reference(path, GetParam().wireIdentifier);
    RemotePluginAudioContextProxy& context = *reference.context;
    plugin.start();
    Noise noise;
    bool hasSounded = false;
    for (uint32_t block = 0; block < 40; ++block) {
        const plugin_host::input input = plugin.begin();
        context.beginBlock();
        ASSERT_EQ(input.channels.size(), static_cast<size_t>(context.inputChannelCount));
        for (int32_t channel = 0; channel < context.inputChannelCount; ++channel) {
            for (int32_t frame = 0; frame < blockSize; ++frame) {
                const float sample = block < 10 ? noise.next() : 0.0F;
                input.channels[static_cast<size_t>(channel)][frame] = sample;
                context.inputChannel(channel)[frame] = sample;
            }
        }
        if (block == 1 || block == 5) {
            const auto status = static_cast<uint8_t>(block == 1 ? 0x90 : 0x80);
            plugin.add_midi(1, status, 64, 100);
            context.addMidiEvent(1, status, 64, 100);
        }
        if (block == 2) {
            plugin.add(noteExpression(0));
            context.addEvent(expressionRecord(0));
        }
        if (block == 3 && context.parameterCount > 0) {
            plugin.add_change(0, 0.125F, 7);
            context.addParameterChange(0, 0.125F, 7);
        }
        const uint32_t frames = block % 2 == 0 ? blockSize : 1 + block * 3;
        const plugin_host::output output = plugin.process(frames);
        const int32_t tail = context.process(static_cast<int32_t>(frames), false, true);
        ASSERT_EQ(static_cast<int32_t>(output.tail), tail) << "block " << block;
        ASSERT_EQ(output.channels.size(), static_cast<size_t>(context.outputChannelCount));
        for (int32_t channel = 0; channel < context.outputChannelCount; ++channel) {
            const std::span<const float> expected(context.outputChannel(channel), frames);
            const std::span<const float> rendered(output.channels[static_cast<size_t>(channel)], frames);
            ASSERT_TRUE(std::equal(rendered.begin(), rendered.end(), expected.begin())) << "block " << block;
            hasSounded |= std::any_of(rendered.begin(), rendered.end(), [](float s) { return s != 0; });
        }
    }
    EXPECT_TRUE(hasSounded);
    plugin.stop();
}

namespace {

plugin_host_transport someTransport() {
    plugin_host_transport transport{};
    transport.size = sizeof transport;
    transport.tempo = 135;
    transport.position = 7.5;
    transport.bar_start = 4;
    transport.loop_start = 2;
    transport.loop_end = 18;
    transport.frame = 147000;
    transport.system_time = 1048576;
    transport.time_signature_numerator = 7;
    transport.time_signature_denominator = 8;
    transport.input_latency = 111;
    transport.output_latency = 222;
    return transport;
}

// What a VST 2 plug-in sees of the flags; the rest is always set.
constexpr int seenChanged = 1;
constexpr int seenPlaying = 1 << 1;
constexpr int seenLooping = 1 << 2;
constexpr int seenRecording = 1 << 3;
constexpr int seenWriting = 1 << 6;
constexpr int seenFlags = seenChanged | seenPlaying | seenLooping | seenRecording | seenWriting;

class TransportTest : public ShowingTest {
protected:
    int flagsSeenFor(uint32_t flags) {
        plugin_host_transport transport = someTransport();
        transport.flags = flags;
        plugin.begin();
        plugin.set_transport(transport);
        return static_cast<int>(plugin.process(256).channels[0][shownFlags]) & seenFlags;
    }
};

} // namespace

TEST_F(TransportTest, EachNumberArrivesUnderItsName) {
    plugin.begin();
    plugin.set_transport(someTransport());
    const float* shown = plugin.process(256).channels[0];
    EXPECT_EQ(shown[shownTempo], 135);
    EXPECT_EQ(shown[shownPosition], 7.5F);
    EXPECT_EQ(shown[shownBarStart], 4);
    EXPECT_EQ(shown[shownLoopStart], 2);
    EXPECT_EQ(shown[shownLoopEnd], 18);
    EXPECT_EQ(shown[shownFrame], 147000);
    EXPECT_EQ(shown[shownSystemTime], 1048576);
    EXPECT_EQ(shown[shownNumerator], 7);
    EXPECT_EQ(shown[shownDenominator], 8);
    EXPECT_EQ(shown[shownInputLatency], 111);
    EXPECT_EQ(shown[shownOutputLatency], 222);
    EXPECT_EQ(shown[shownSampleRate], 44100);
}

TEST_F(TransportTest, EachFlagArrivesUnderItsName) {
    EXPECT_EQ(flagsSeenFor(0), 0);
    EXPECT_EQ(flagsSeenFor(PLUGIN_HOST_PLAYING), seenPlaying);
    EXPECT_EQ(flagsSeenFor(PLUGIN_HOST_RECORDING), seenRecording);
    EXPECT_EQ(flagsSeenFor(PLUGIN_HOST_LOOPING), seenLooping);
    EXPECT_EQ(flagsSeenFor(PLUGIN_HOST_WRITING_AUTOMATION), seenWriting);
    EXPECT_EQ(flagsSeenFor(PLUGIN_HOST_TRANSPORT_CHANGED), seenChanged);
}

TEST_F(TransportTest, ATransportStaysUntilItIsSetAgain) {
    plugin.begin();
    plugin.set_transport(someTransport());
    plugin.process(256);
    plugin.begin();
    EXPECT_EQ(plugin.process(256).channels[0][shownTempo], 135);
}

TEST_F(TransportTest, AnOlderApplicationsTransportIsTakenAsFarAsItGoes) {
    plugin_host_transport transport = someTransport();
    transport.size = offsetof(plugin_host_transport, bar_start);
    plugin.begin();
    plugin.set_transport(transport);
    const float* shown = plugin.process(256).channels[0];
    EXPECT_EQ(shown[shownPosition], 7.5F);
    EXPECT_EQ(shown[shownBarStart], 0);
}

TEST_F(ShowingTest, ABlockIsLiveUnlessItIsOffline) {
    constexpr float live = 2;
    constexpr float offline = 4;
    EXPECT_EQ(plugin.process(256).channels[0][shownProcessLevel], live);
    EXPECT_EQ(plugin.process(256, PLUGIN_HOST_OFFLINE).channels[0][shownProcessLevel], offline);
}

TEST_F(ShowingTest, ThePlugInGetsTheFramesOfTheCall) {
    EXPECT_EQ(plugin.process(256).channels[0][shownFrameCount], 256);
    EXPECT_EQ(plugin.process(100).channels[0][shownFrameCount], 100);
}

TEST_F(ShowingTest, EventsKeepTheirOrderAndComeBack) {
    plugin.begin();
    EXPECT_TRUE(plugin.add_midi(0, 0x90, 60, 100));
    EXPECT_TRUE(plugin.add_midi(17, 0xB1, 7, 99));
    plugin_host_event bend{};
    bend.size = sizeof bend;
    bend.frame = 255;
    bend.data[0] = 0xE2;
    bend.data[1] = 1;
    bend.data[2] = 2;
    bend.data_size = 3;
    EXPECT_TRUE(plugin.add(bend));
    const plugin_host::output output = plugin.process(256);
    EXPECT_EQ(output.channels[0][shownEventCount], 3);
    ASSERT_EQ(output.event_count, 3U);
    std::vector<std::vector<int>> found;
    for (size_t index = 0; index < 3; ++index) {
        const plugin_host_event event = plugin.event(index);
        EXPECT_EQ(event.size, sizeof event);
        EXPECT_EQ(event.kind, PLUGIN_HOST_MIDI);
        EXPECT_EQ(event.data_size, 3U);
        found.push_back({static_cast<int>(event.frame), event.data[0], event.data[1], event.data[2]});
    }
    EXPECT_THAT(found, ElementsAre(ElementsAre(0, 0x90, 60, 100), ElementsAre(17, 0xB1, 7, 99),
                                   ElementsAre(255, 0xE2, 1, 2)));
}

TEST_F(ShowingTest, ABeginningForgetsTheEventsAndChangesOfTheLastBlock) {
    plugin.begin();
    plugin.add_midi(0, 0x90, 60, 100);
    plugin.add_change(1, 0.25F);
    EXPECT_EQ(plugin.process(256).event_count, 1U);
    plugin.begin();
    const plugin_host::output output = plugin.process(256);
    EXPECT_EQ(output.event_count, 0U);
    EXPECT_EQ(output.channels[0][shownEventCount], 0);
    EXPECT_EQ(output.channels[0][shownChangeCount], 0);
}

TEST_F(ShowingTest, ASystemExclusiveMessageArrivesWhole) {
    plugin_host_event event{};
    event.size = sizeof event;
    event.kind = PLUGIN_HOST_SYSTEM_EXCLUSIVE;
    event.frame = 9;
    event.data[0] = 0xF0;
    event.data[15] = 0xF7;
    event.data_size = 16;
    plugin.begin();
    EXPECT_TRUE(plugin.add(event));
    const float* shown = plugin.process(256).channels[0];
    EXPECT_EQ(shown[shownDumpSize], 16);
    EXPECT_EQ(shown[shownDumpFirst], 0xF0);
    EXPECT_EQ(shown[shownDumpLast], 0xF7);
    EXPECT_EQ(shown[shownDumpFrame], 9);
}

TEST_F(ShowingTest, ChangesArriveAtTheirParameters) {
    plugin.begin();
    EXPECT_TRUE(plugin.add_change(0, 0.25F));
    EXPECT_TRUE(plugin.add_change(3, 1));
    EXPECT_TRUE(plugin.add_change(0, 0.5F, 255));
    const float* shown = plugin.process(256).channels[0];
    EXPECT_EQ(shown[shownChangeCount], 3);
    EXPECT_THAT(std::span(shown + shownFirstParameter, 4), ElementsAre(0.5F, 0, 0, 1));
}

TEST_F(ShowingTest, InputsKeepWhatWasInThem) {
    const plugin_host::input input = plugin.begin();
    input.channels[0][200] = 0.75F;
    EXPECT_EQ(plugin.process(256).channels[1][200], 0.75F);
    EXPECT_EQ(plugin.begin().channels[0][200], 0.75F);
}
