// The audio block that client and host compute apart from each other. If these fail, the two sides read each
// other's samples at different places, or take a plug-in's stray write for an intact block.

#include "plugin/PluginAudioContext.h"
#include "support/FakePluginInstance.h"
#include "support/WireBytes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <string_view>

using namespace test_support;

namespace {

struct Block {
    Block(int32_t blockSize, int32_t inputs, int32_t outputs, int32_t parameters)
        : context(blockSize, inputs, outputs, parameters) {
        context.layOut();
    }

    ptrdiff_t offsetOf(const void* place) const {
        return static_cast<const char*>(place) - static_cast<const char*>(context.getRegions().memory);
    }

    std::string bytesAt(ptrdiff_t offset, size_t size) const {
        return hexOf(static_cast<const char*>(context.getRegions().memory) + offset, size);
    }

    FakeAudioContext context;
};

} // namespace

TEST(AudioContextTest, EveryRegionOfATypicalBlockLiesAtItsPlace) {
    const Block block(256, 2, 2, 10);
    const FakeAudioContext& context = block.context;
    EXPECT_EQ(block.offsetOf(context.getRegions().guards[0]), 0);
    EXPECT_EQ(block.offsetOf(context.getRegions().transport), 16);
    EXPECT_EQ(block.offsetOf(context.getRegions().guards[1]), 112);
    EXPECT_EQ(block.offsetOf(context.getRegions().inputAudio), 128);
    EXPECT_EQ(block.offsetOf(context.getRegions().guards[2]), 2176);
    EXPECT_EQ(block.offsetOf(context.getRegions().outputAudio), 2192);
    EXPECT_EQ(block.offsetOf(context.getRegions().guards[3]), 4240);
    EXPECT_EQ(block.offsetOf(context.getRegions().inputEventCount), 4256);
    EXPECT_EQ(block.offsetOf(context.getRegions().inputEvents), 4272);
    EXPECT_EQ(block.offsetOf(context.getRegions().guards[4]), 11696);
    EXPECT_EQ(block.offsetOf(context.getRegions().outputEventCount), 11712);
    EXPECT_EQ(block.offsetOf(context.getRegions().outputEvents), 11728);
    EXPECT_EQ(block.offsetOf(context.getRegions().guards[5]), 19152);
    EXPECT_EQ(block.offsetOf(context.getRegions().parameterChangeCount), 19168);
    EXPECT_EQ(block.offsetOf(context.getRegions().parameterChanges), 19184);
    EXPECT_EQ(block.offsetOf(context.getRegions().guards[6]), 137968);
    EXPECT_EQ(block.offsetOf(context.getRegions().parameterFlags), 137984);
    EXPECT_EQ(block.offsetOf(context.getRegions().guards[7]), 138000);
    EXPECT_EQ(context.getRegions().memorySize, 138016);
    EXPECT_EQ(context.allocatedSize, 138016);
}

TEST(AudioContextTest, ChannelsArePlanarWithThePaddedBlockSizeAsTheirStride) {
    const Block block(250, 2, 3, 0);
    EXPECT_EQ(block.context.blockSize, 250);
    EXPECT_EQ(block.context.paddedBlockSize, 252);
    EXPECT_EQ(block.offsetOf(block.context.inputChannel(1)) -
                  block.offsetOf(block.context.getRegions().inputAudio),
              1008);
    EXPECT_EQ(block.offsetOf(block.context.outputChannel(2)) -
                  block.offsetOf(block.context.getRegions().outputAudio),
              2016);
    EXPECT_EQ(block.context.getRegions().guards[2] -
                  reinterpret_cast<uint8_t*>(block.context.getRegions().inputAudio),
              2016);
    // 3 * 252 * 4 is 3,024, which is a multiple of 16.
    EXPECT_EQ(block.context.getRegions().guards[3] -
                  reinterpret_cast<uint8_t*>(block.context.getRegions().outputAudio),
              3024);
}

TEST(AudioContextTest, ABlockSizeIsPaddedToTheNextMultipleOfFour) {
    const auto padded = [](int32_t blockSize) {
        return FakeAudioContext(blockSize, 0, 0, 0).paddedBlockSize;
    };
    EXPECT_EQ(padded(1), 4);
    EXPECT_EQ(padded(253), 256);
    EXPECT_EQ(padded(254), 256);
    EXPECT_EQ(padded(255), 256);
    EXPECT_EQ(padded(256), 256);
    EXPECT_EQ(padded(257), 260);
}

TEST(AudioContextTest, RegionsAreRoundedUpToSixteenBytes) {
    const Block block(1, 1, 1, 17);
    EXPECT_EQ(block.context.getRegions().guards[2] -
                  reinterpret_cast<uint8_t*>(block.context.getRegions().inputAudio),
              16);
    EXPECT_EQ(block.context.getRegions().guards[7] - block.context.getRegions().parameterFlags, 32);
}

TEST(AudioContextTest, WithoutInputsTheGuardsAroundTheirRegionLieNextToEachOther) {
    const Block block(256, 0, 2, 0);
    EXPECT_EQ(block.context.getRegions().guards[2] - block.context.getRegions().guards[1], 16);
}

TEST(AudioContextTest, WithoutParametersTheGuardsAroundTheirFlagsLieNextToEachOther) {
    const Block block(256, 2, 2, 0);
    EXPECT_EQ(block.context.getRegions().guards[7] - block.context.getRegions().guards[6], 16);
}

TEST(AudioContextTest, ListsWithoutCapacityAreNullAndTheWalkGoesOn) {
    FakeAudioContext context(256, 0, 0, 0);
    context.regions.inputEventCapacity = 0;
    context.regions.outputEventCapacity = 0;
    context.regions.parameterChangeCapacity = 0;
    context.layOut();
    EXPECT_EQ(context.getRegions().inputEvents, nullptr);
    EXPECT_EQ(context.getRegions().outputEvents, nullptr);
    EXPECT_EQ(context.getRegions().parameterChanges, nullptr);
    EXPECT_EQ(context.getRegions().guards[4] -
                  reinterpret_cast<uint8_t*>(context.getRegions().inputEventCount),
              16);
    // Eight guards, the transport and three counts.
    EXPECT_EQ(context.getRegions().memorySize, 8 * 16 + 96 + 3 * 16);
}

TEST(AudioContextTest, CapacitiesAreTheFormats) {
    const FakeAudioContext context(256, 0, 0, 0);
    EXPECT_EQ(context.getRegions().inputEventCapacity, 256);
    EXPECT_EQ(context.getRegions().outputEventCapacity, 256);
    EXPECT_EQ(context.getRegions().parameterChangeCapacity, 4096);
}

TEST(AudioContextTest, ABlockTooLargeToBeAddressedIsRefused) {
    FakeAudioContext context(1 << 20, 1 << 20, 0, 0);
    EXPECT_THROW(context.layOut(), IOException);
    EXPECT_EQ(context.allocatedSize, -1) << "memory was asked for";
}

TEST(AudioContextTest, ANegativeBlockSizeIsABlockWithoutFrames) {
    for (const int32_t blockSize : {-1, -3, -256, std::numeric_limits<int32_t>::min()}) {
        SCOPED_TRACE(blockSize);
        Block block(blockSize, 2, 2, 10);
        const Block without(0, 2, 2, 10);
        EXPECT_EQ(block.context.blockSize, 0);
        EXPECT_EQ(block.context.paddedBlockSize, 0);
        EXPECT_EQ(block.context.getRegions().memorySize, without.context.getRegions().memorySize);
        EXPECT_EQ(block.offsetOf(block.context.getRegions().guards[3]) -
                      block.offsetOf(block.context.getRegions().guards[1]),
                  32);
        EXPECT_EQ(block.offsetOf(block.context.getRegions().guards[7]) + 16,
                  block.context.getRegions().memorySize);
    }
}

TEST(AudioContextTest, ABlockBeyondTheLimitIsRefusedInWordsAndNoMemoryIsAskedFor) {
    constexpr int32_t most = std::numeric_limits<int32_t>::max();
    constexpr struct {
        int32_t blockSize, inputs, outputs, parameters;
    } cases[] = {{most, most, most, most},
                 {most, 1, 0, 0},
                 {most, 0, 0, 0},
                 {most - 1, 0, 0, 0},
                 {1 << 29, 1, 0, 0},
                 {1 << 28, 1, 1, 0},
                 {256, most, 0, 0},
                 {256, 0, most, 0},
                 {256, 0, 0, most},
                 // 2^62 samples of each kind: their bytes are more than 64 bits count.
                 {most - 3, most, most, 0}};
    for (const auto& [blockSize, inputs, outputs, parameters] : cases) {
        FakeAudioContext context(blockSize, inputs, outputs, parameters);
        const std::string words = "Audio block is too large for " + std::to_string(blockSize) +
                                  " frames of " + std::to_string(inputs) + " inputs and " +
                                  std::to_string(outputs) + " outputs, and " + std::to_string(parameters) +
                                  " parameters";
        try {
            context.layOut();
            ADD_FAILURE() << words;
        } catch (const IOException& exception) {
            EXPECT_EQ(exception.getMessage().toStdString(), words);
        }
        EXPECT_EQ(context.allocatedSize, -1) << "memory was asked for";
    }
}

TEST(AudioContextTest, TheLargestBlockSizesArePaddedInTheirOwnNumbers) {
    constexpr int32_t most = std::numeric_limits<int32_t>::max();
    const Block block(most - 3, 0, 0, 0);
    EXPECT_EQ(block.context.paddedBlockSize, most - 3);
    EXPECT_EQ(FakeAudioContext(most - 4, 0, 0, 0).paddedBlockSize, most - 3);
}

TEST(AudioContextTest, EachGuardIsSixteenBytesOfBB) {
    Block block(16, 1, 1, 1);
    block.context.fillGuards();
    for (const uint8_t* guard : block.context.getRegions().guards)
        EXPECT_EQ(hexOf(guard, 16), golden("BB BB BB BB BB BB BB BB BB BB BB BB BB BB BB BB"));
    const auto filled = std::count(static_cast<uint8_t*>(block.context.getRegions().memory),
                                   static_cast<uint8_t*>(block.context.getRegions().memory) +
                                       block.context.getRegions().memorySize,
                                   0xBB);
    EXPECT_EQ(filled, 8 * 16);
}

TEST(AudioContextTest, AStrayByteInAnyGuardShows) {
    Block block(16, 1, 1, 1);
    EXPECT_FALSE(block.context.areGuardsIntact());
    block.context.fillGuards();
    EXPECT_TRUE(block.context.areGuardsIntact());
    for (uint8_t* guard : block.context.getRegions().guards) {
        for (const size_t place : {size_t{0}, size_t{15}}) {
            guard[place] = 0xBA;
            EXPECT_FALSE(block.context.areGuardsIntact());
            guard[place] = 0xBB;
        }
    }
    EXPECT_TRUE(block.context.areGuardsIntact());
}

TEST(AudioContextTest, AMidiEventIsTwentyNineBytesAndTheNextFollowsUnaligned) {
    const Block block(16, 0, 0, 0);
    EventRecord record{};
    record.kind = EventKind::midi;
    record.sampleOffset = 258;
    record.position = 1.5;
    record.midi[0] = 0x90;
    record.midi[1] = 0x3C;
    record.midi[2] = 0x64;
    block.context.getRegions().inputEvents[1] = record;
    const ptrdiff_t events = block.offsetOf(block.context.getRegions().inputEvents);
    EXPECT_EQ(block.bytesAt(events + 29, 29), golden("00 00 02 01 00 00 00 00 00 00 F8 3F"
                                                     "90 3C 64 00 00 00 00 00 00 00 00 00 00 00 00 00 00"));
}

TEST(AudioContextTest, ASystemExclusiveEventEndsInItsByteCount) {
    const Block block(16, 0, 0, 0);
    EventRecord record{};
    record.kind = EventKind::systemExclusive;
    std::memcpy(record.systemExclusive, "\xF0\x7E\x7F\x06\x01\xF7", 6);
    record.systemExclusiveSize = 6;
    block.context.getRegions().outputEvents[0] = record;
    EXPECT_EQ(
        block.bytesAt(block.offsetOf(block.context.getRegions().outputEvents), 29),
        golden("01 00 00 00 00 00 00 00 00 00 00 00 F0 7E 7F 06 01 F7 00 00 00 00 00 00 00 00 00 00 06"));
}

TEST(AudioContextTest, ANoteExpressionEventHasChannelKeyValueAndKind) {
    const Block block(16, 0, 0, 0);
    EventRecord record{};
    record.kind = EventKind::noteExpression;
    record.noteExpression = {3, 60, 0.5F, 4};
    block.context.getRegions().inputEvents[0] = record;
    EXPECT_EQ(block.bytesAt(block.offsetOf(block.context.getRegions().inputEvents), 21),
              golden("02 00 00 00 00 00 00 00 00 00 00 00 03 00 3C 00 00 00 00 3F 04"));
}

TEST(AudioContextTest, AParameterChangeIsEightBytes) {
    const Block block(16, 0, 0, 0);
    block.context.getRegions().parameterChanges[1] = {0.5F, 258, 3};
    EXPECT_EQ(block.bytesAt(block.offsetOf(block.context.getRegions().parameterChanges) + 8, 8),
              golden("00 00 00 3F 02 01 03 00"));
}

TEST(AudioContextTest, TheTransportBlockHasEachFieldAtItsOffset) {
    const Block block(16, 0, 0, 0);
    block.context.getTransport() = {
        .sampleRate = 1,
        .tempo = 2,
        .position = 3,
        .reservedTime = 4,
        .systemTime = 5,
        .barStart = 6,
        .loopStart = 7,
        .loopEnd = 8,
        .inputLatency = 9,
        .outputLatency = 10,
        .samplePosition = 0x0102030405060708,
        .flags = transportPlaying | transportLoopOn | transportRecording | transportAutomationWriting,
        .timeSignatureNumerator = 6,
        .timeSignatureDenominator = 8,
        .reserved = {},
    };
    EXPECT_EQ(block.bytesAt(16, 96), golden("00 00 00 00 00 00 F0 3F 00 00 00 00 00 00 00 40"
                                            "00 00 00 00 00 00 08 40 00 00 00 00 00 00 10 40"
                                            "00 00 00 00 00 00 14 40 00 00 00 00 00 00 18 40"
                                            "00 00 00 00 00 00 1C 40 00 00 00 00 00 00 20 40"
                                            "09 00 00 00 0A 00 00 00 08 07 06 05 04 03 02 01"
                                            "71 00 00 00 06 00 08 00 00 00 00 00 00 00 00 00"));
    EXPECT_EQ(transportChangedMask, 0x0EU);
}

TEST(AudioContextTest, ParameterFlagsAreBitsOfOneByteEach) {
    const Block block(16, 0, 0, 3);
    PluginAudioContext& context = const_cast<FakeAudioContext&>(block.context);
    context.setParameterFlag(0, parameterWatched);
    context.setParameterFlag(1, parameterDisplayDirty);
    context.setParameterFlag(2, parameterWatched);
    context.setParameterFlag(2, parameterDisplayDirty);
    EXPECT_EQ(hexOf(context.getRegions().parameterFlags, 4), golden("01 02 03 00"));
    context.clearParameterFlag(2, parameterDisplayDirty);
    EXPECT_EQ(hexOf(context.getRegions().parameterFlags, 4), golden("01 02 01 00"));
    EXPECT_TRUE(context.hasParameterFlag(2, parameterWatched));
    EXPECT_FALSE(context.hasParameterFlag(2, parameterDisplayDirty));
}

TEST(AudioContextTest, ParametersOutsideOfTheCountHaveNoFlags) {
    // Their flags end where a guard begins, which has both bits set.
    Block block(16, 0, 0, 16);
    for (const int32_t index : {-1, -16, 16, 32, 1 << 30})
        block.context.setParameterFlag(index, parameterDisplayDirty);
    const std::string zeros(static_cast<size_t>(block.context.getRegions().memorySize), '\0');
    EXPECT_TRUE(std::string_view(static_cast<char*>(block.context.getRegions().memory), zeros.size()) ==
                zeros)
        << "a byte outside was set";
    block.context.fillGuards();
    for (const int32_t index : {-1, -16, 16, 31, 1 << 30}) {
        EXPECT_FALSE(block.context.hasParameterFlag(index, parameterWatched)) << index;
        EXPECT_FALSE(block.context.hasParameterFlag(index, parameterDisplayDirty)) << index;
        block.context.clearParameterFlag(index, parameterDisplayDirty);
    }
    EXPECT_TRUE(block.context.areGuardsIntact());
}

TEST(AudioContextTest, ABlockBeginsWithoutTheEventsAndChangesOfTheLast) {
    Block block(64, 1, 1, 4);
    FakeAudioContext& context = block.context;
    EXPECT_TRUE(context.addMidiEvent(3, 0x90, 60, 100));
    EXPECT_TRUE(context.addParameterChange(2, 0.5F, 7));
    context.beginBlock();
    EXPECT_TRUE(context.getInputEvents().empty());
    EXPECT_TRUE(context.getParameterChanges().empty());
}

TEST(AudioContextTest, WhatIsAddedIsFoundInItsOrder) {
    Block block(64, 1, 1, 4);
    FakeAudioContext& context = block.context;
    context.beginBlock();
    EXPECT_TRUE(context.addMidiEvent(3, 0x90, 60, 100));
    EventRecord exclusive{};
    exclusive.kind = EventKind::systemExclusive;
    exclusive.systemExclusiveSize = 2;
    EXPECT_TRUE(context.addEvent(exclusive));
    EXPECT_TRUE(context.addParameterChange(2, 0.5F, 7));
    const std::span<const EventRecord> events = context.getInputEvents();
    ASSERT_EQ(events.size(), 2U);
    // Copied, since the fields of packed records may lie anywhere.
    EXPECT_EQ(EventKind{events[0].kind}, EventKind::midi);
    EXPECT_EQ(uint16_t{events[0].sampleOffset}, 3);
    EXPECT_EQ(hexOf(reinterpret_cast<const char*>(events[0].midi), 4), golden("90 3C 64 00"));
    EXPECT_EQ(EventKind{events[1].kind}, EventKind::systemExclusive);
    const std::span<const ParameterChange> changes = context.getParameterChanges();
    ASSERT_EQ(changes.size(), 1U);
    EXPECT_EQ(changes[0].parameterIndex, 2);
    EXPECT_EQ(changes[0].value, 0.5F);
    EXPECT_EQ(changes[0].sampleOffset, 7);
}

TEST(AudioContextTest, AFullBlockTakesNoMoreAndNothingBehindItIsTouched) {
    Block block(64, 1, 1, 4);
    FakeAudioContext& context = block.context;
    context.fillGuards();
    context.beginBlock();
    for (int32_t i = 0; i < context.getRegions().inputEventCapacity; ++i)
        EXPECT_TRUE(context.addMidiEvent(0, 0x90, 60, 100));
    EXPECT_FALSE(context.addMidiEvent(0, 0x90, 60, 100));
    for (int32_t i = 0; i < context.getRegions().parameterChangeCapacity; ++i)
        EXPECT_TRUE(context.addParameterChange(0, 0.5F));
    EXPECT_FALSE(context.addParameterChange(0, 0.5F));
    *context.getRegions().outputEventCount = 0;
    for (int32_t i = 0; i < context.getRegions().outputEventCapacity; ++i)
        EXPECT_NE(context.appendOutputEvent(), nullptr);
    EXPECT_EQ(context.appendOutputEvent(), nullptr);
    EXPECT_TRUE(context.areGuardsIntact());
    EXPECT_EQ(context.getInputEvents().size(), static_cast<size_t>(context.getRegions().inputEventCapacity));
    EXPECT_EQ(context.getOutputEvents().size(),
              static_cast<size_t>(context.getRegions().outputEventCapacity));
}

TEST(AudioContextTest, WhatAPlugInHasSentBeforeIsForgotten) {
    Block block(64, 1, 1, 4);
    FakeAudioContext& context = block.context;
    context.forgetOutputEvents();
    EXPECT_NE(context.appendOutputEvent(), nullptr);
    EXPECT_EQ(context.getOutputEvents().size(), 1U);
    context.forgetOutputEvents();
    EXPECT_TRUE(context.getOutputEvents().empty());
}

TEST(AudioContextTest, ADirectionIsSilencedWithItsPaddingAndNothingElse) {
    Block block(62, 2, 3, 4);
    FakeAudioContext& context = block.context;
    context.fillGuards();
    const std::span<float> input(context.inputChannel(0), size_t{2 * 64});
    const std::span<float> output(context.outputChannel(0), size_t{3 * 64});
    const auto isAll = [](std::span<float> samples, float value) {
        return std::all_of(samples.begin(), samples.end(), [&](float sample) { return sample == value; });
    };
    std::fill(input.begin(), input.end(), 1.0F);
    std::fill(output.begin(), output.end(), 1.0F);
    context.silenceInput();
    EXPECT_TRUE(isAll(input, 0));
    EXPECT_TRUE(isAll(output, 1));
    std::fill(input.begin(), input.end(), 1.0F);
    context.silenceOutput();
    EXPECT_TRUE(isAll(input, 1));
    EXPECT_TRUE(isAll(output, 0));
    EXPECT_TRUE(context.areGuardsIntact());
}

TEST(AudioContextTest, TheNumberOfChangesIsReadAsItStands) {
    Block block(64, 1, 1, 4);
    FakeAudioContext& context = block.context;
    context.beginBlock();
    context.addParameterChange(0, 0.5F);
    EXPECT_EQ(context.readParameterChangeCount(), 1);
    *context.getRegions().parameterChangeCount = -7;
    EXPECT_EQ(context.readParameterChangeCount(), -7);
}

TEST(AudioContextTest, CountsThatNobodyCouldHaveWrittenAreHeldAtWhatThereIs) {
    Block block(64, 1, 1, 4);
    FakeAudioContext& context = block.context;
    *context.getRegions().inputEventCount = 257;
    *context.getRegions().parameterChangeCount = 2000000000;
    *context.getRegions().outputEventCount = -1;
    EXPECT_EQ(context.getInputEvents().size(), 256U);
    EXPECT_EQ(context.getParameterChanges().size(), 4096U);
    EXPECT_TRUE(context.getOutputEvents().empty());
    EXPECT_EQ(context.appendOutputEvent(), nullptr);
    *context.getRegions().parameterChangeCount = -1;
    EXPECT_TRUE(context.getParameterChanges().empty());
    EXPECT_FALSE(context.addParameterChange(0, 0.5F));
}

TEST(AudioContextTest, AChannelHasTheFramesOfABlockAndNotItsPadding) {
    Block block(250, 2, 1, 0);
    FakeAudioContext& context = block.context;
    EXPECT_EQ(context.getInput(1).data(), context.getRegions().inputAudio + 252);
    EXPECT_EQ(context.getInput(1).size(), 250U);
    EXPECT_EQ(context.getOutput(0).data(), context.getRegions().outputAudio);
    EXPECT_EQ(context.getOutput(0).size(), 250U);
    EXPECT_EQ(&context.getTransport(), context.getRegions().transport);
}
