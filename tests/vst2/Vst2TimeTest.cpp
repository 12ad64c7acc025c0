// If these fail, plug-ins that follow the song play out of time.

#include "vst2/Vst2Fixture.h"

namespace {

class Vst2Time : public Vst2Test {
protected:
    const VstTimeInfo& time(VstIntPtr filter = 0) {
        return *reinterpret_cast<const VstTimeInfo*>(ask(audioMasterGetTime, 0, filter));
    }

    VstInt32 flagsFor(uint32_t transportFlags) {
        context->transport->flags = transportFlags;
        return time().flags;
    }
};

// Automation reading, nanoseconds, position, tempo, cycle and signature are valid.
constexpr VstInt32 alwaysSet = 0x3780;

} // namespace

TEST_F(Vst2Time, ThereIsNoTimeWithoutAnAudioBlock) {
    EXPECT_EQ(ask(audioMasterGetTime), 0);
}

TEST_F(Vst2Time, EveryFieldComesFromTheTransport) {
    makeAudio();
    *context->transport = {.sampleRate = 44100.5,
                           .tempo = 97.25,
                           .position = 12.125,
                           .reservedTime = 1e9,
                           .systemTime = 123456789012.0,
                           .barStart = 11.5,
                           .loopStart = 4.75,
                           .loopEnd = 8.25,
                           .inputLatency = 1,
                           .outputLatency = 2,
                           .samplePosition = 0x8000000000000000u,
                           .flags = 0,
                           .timeSignatureNumerator = 7,
                           .timeSignatureDenominator = 65535,
                           .reserved = {}};
    const VstTimeInfo& info = time();
    EXPECT_EQ(info.samplePos, 9223372036854775808.0);
    EXPECT_EQ(info.sampleRate, 44100.5);
    EXPECT_EQ(info.nanoSeconds, 123456789012.0);
    EXPECT_EQ(info.ppqPos, 12.125);
    EXPECT_EQ(info.tempo, 97.25);
    EXPECT_EQ(info.barStartPos, 11.5);
    EXPECT_EQ(info.cycleStartPos, 4.75);
    EXPECT_EQ(info.cycleEndPos, 8.25);
    EXPECT_EQ(info.timeSigNumerator, 7);
    EXPECT_EQ(info.timeSigDenominator, 65535);
    EXPECT_EQ(info.smpteOffset, 0);
    EXPECT_EQ(info.smpteFrameRate, 0);
    EXPECT_EQ(info.samplesToNextClock, 0);
    EXPECT_EQ(info.flags, alwaysSet);
}

TEST_F(Vst2Time, EachTransportFlagHasItsFlag) {
    makeAudio();
    EXPECT_EQ(flagsFor(1u << 0), alwaysSet | 2);
    EXPECT_EQ(flagsFor(1u << 1), alwaysSet | 1);
    EXPECT_EQ(flagsFor(1u << 2), alwaysSet | 1);
    EXPECT_EQ(flagsFor(1u << 3), alwaysSet | 1);
    EXPECT_EQ(flagsFor(1u << 4), alwaysSet | 4);
    EXPECT_EQ(flagsFor(1u << 5), alwaysSet | 8);
    EXPECT_EQ(flagsFor(1u << 6), alwaysSet | 0x40);
    EXPECT_EQ(flagsFor(0x7F), alwaysSet | 0x4F);
}

TEST_F(Vst2Time, OtherTransportFlagsMeanNothing) {
    makeAudio();
    EXPECT_EQ(flagsFor(0xFFFFFF80u), alwaysSet);
}

TEST_F(Vst2Time, TheFilterIsIgnored) {
    makeAudio();
    context->transport->tempo = 97.25;
    EXPECT_EQ(time(1 << 14).tempo, 97.25);
    EXPECT_EQ(time(0).flags, alwaysSet);
}

TEST_F(Vst2Time, TheTimeIsFilledAnewForEachQuestionInTheInstancesOwnPlace) {
    makeAudio();
    const VstTimeInfo& first = time();
    const_cast<VstTimeInfo&>(first).smpteOffset = 99;
    context->transport->position = 3;
    const VstTimeInfo& second = time();
    EXPECT_EQ(&first, &second);
    EXPECT_EQ(second.ppqPos, 3);
    EXPECT_EQ(second.smpteOffset, 0);
}
