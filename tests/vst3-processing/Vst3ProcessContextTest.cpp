// If these fail, synchronised delays and arpeggiators play out of time.

#include "vst3-processing/Vst3ProcessingTest.h"

namespace {

class Vst3ProcessContext : public Vst3ProcessingTest {
protected:
    Vst3ProcessContext() {
        addStereo();
        startProcessing();
        context->getTransport().tempo = 120;
    }

    const Vst::ProcessContext& read() { return process().context; }

    uint32_t stateFor(uint32_t flags) {
        context->getTransport().flags = flags;
        return read().state;
    }
};

} // namespace

TEST_F(Vst3ProcessContext, EveryFieldComesFromItsPlace) {
    TransportBlock& transport = context->getTransport();
    transport.sampleRate = 96000;
    transport.tempo = 133.5;
    transport.position = 17.25;
    transport.systemTime = 123456789012345.75;
    transport.barStart = 16;
    transport.loopStart = 4;
    transport.loopEnd = 8;
    transport.samplePosition = 0x123456789AULL;
    transport.flags = transportPlaying | transportLoopOn;
    transport.timeSignatureNumerator = 7;
    transport.timeSignatureDenominator = 8;

    const Vst::ProcessContext& given = read();
    EXPECT_EQ(given.state, 0x2600u | 0x1004u | 2u);
    EXPECT_EQ(given.sampleRate, 48000) << "the host's and not the transport's";
    EXPECT_EQ(given.projectTimeSamples, 0x123456789ALL);
    EXPECT_EQ(given.systemTime, 123456789012345LL);
    EXPECT_EQ(given.continousTimeSamples, 0);
    EXPECT_EQ(given.projectTimeMusic, 17.25);
    EXPECT_EQ(given.barPositionMusic, 0);
    EXPECT_EQ(given.cycleStartMusic, 4);
    EXPECT_EQ(given.cycleEndMusic, 8);
    EXPECT_EQ(given.tempo, 133.5);
    EXPECT_EQ(given.timeSigNumerator, 7);
    EXPECT_EQ(given.timeSigDenominator, 8);
    EXPECT_EQ(given.chord.keyNote, 0);
    EXPECT_EQ(given.chord.rootNote, 0);
    EXPECT_EQ(given.chord.chordMask, 0);
    EXPECT_EQ(given.smpteOffsetSubframes, 0);
    EXPECT_EQ(given.frameRate.framesPerSecond, 0u);
    EXPECT_EQ(given.frameRate.flags, 0u);
    EXPECT_EQ(given.samplesToNextClock, 0);
}

TEST_F(Vst3ProcessContext, EachFlagSetsItsBitsOfTheState) {
    EXPECT_EQ(stateFor(0), 0x2600u);
    EXPECT_EQ(stateFor(1u << 0), 0x2602u);
    EXPECT_EQ(stateFor(1u << 5), 0x2608u);
    EXPECT_EQ(stateFor(1u << 4), 0x3604u);
    EXPECT_EQ(stateFor(7u << 1 | 1u << 6), 0x2600u);
    EXPECT_EQ(stateFor(1u << 0 | 1u << 4 | 1u << 5), 0x360Eu);
}

TEST_F(Vst3ProcessContext, TheLoopIsToldOnlyWhileItIsOn) {
    context->getTransport().loopStart = 4;
    context->getTransport().loopEnd = 8;
    EXPECT_EQ(read().cycleStartMusic, 0);
    EXPECT_EQ(read().cycleEndMusic, 0);
    context->getTransport().flags = transportLoopOn;
    EXPECT_EQ(read().cycleStartMusic, 4);
    EXPECT_EQ(read().cycleEndMusic, 8);
}

TEST_F(Vst3ProcessContext, ATempoBelowOneIsReplacedAndNotValid) {
    context->getTransport().tempo = 0.5;
    EXPECT_EQ(read().tempo, 110.0);
    EXPECT_EQ(read().state, 0x2200u);
    for (const double tempo : {0.0, -120.0, 0.9999}) {
        context->getTransport().tempo = tempo;
        EXPECT_EQ(read().tempo, 110.0) << tempo;
        EXPECT_EQ(read().state, 0x2200u) << tempo;
    }
    context->getTransport().tempo = 1.0;
    EXPECT_EQ(read().tempo, 1.0);
    EXPECT_EQ(read().state, 0x2600u);
}

TEST_F(Vst3ProcessContext, ASystemTimeIsTruncatedTowardsZero) {
    context->getTransport().systemTime = -1.75;
    EXPECT_EQ(read().systemTime, -1);
}
