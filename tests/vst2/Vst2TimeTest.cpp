// If these fail, plug-ins that follow the song play out of time.

#include "support/Eventually.h"
#include "vst2/Vst2Fixture.h"

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

using namespace test_support;

namespace {

class Vst2Time : public Vst2Test {
protected:
    const VstTimeInfo& time(VstIntPtr filter = 0) {
        return *reinterpret_cast<const VstTimeInfo*>(ask(audioMasterGetTime, 0, filter));
    }

    VstInt32 flagsFor(uint32_t transportFlags) {
        context->getTransport().flags = transportFlags;
        return time().flags;
    }
};

// Fields of one time, all with the same number.
void setAll(TransportBlock& transport, double number) {
    transport.sampleRate = number;
    transport.tempo = number;
    transport.position = number;
    transport.systemTime = number;
    transport.barStart = number;
    transport.loopStart = number;
    transport.loopEnd = number;
    transport.samplePosition = static_cast<uint64_t>(number);
}

bool areAll(const VstTimeInfo& info, double number) {
    const double fields[] = {info.samplePos, info.sampleRate,  info.nanoSeconds,   info.ppqPos,
                             info.tempo,     info.barStartPos, info.cycleStartPos, info.cycleEndPos};
    return std::all_of(std::begin(fields), std::end(fields), [&](double field) { return field == number; });
}

// Automation reading, nanoseconds, position, tempo, cycle and signature are valid.
constexpr VstInt32 alwaysSet = 0x3780;

} // namespace

TEST_F(Vst2Time, ThereIsNoTimeWithoutAnAudioBlock) {
    EXPECT_EQ(ask(audioMasterGetTime), 0);
}

TEST_F(Vst2Time, EveryFieldComesFromTheTransport) {
    makeAudio();
    context->getTransport() = {.sampleRate = 44100.5,
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
    context->getTransport().tempo = 97.25;
    EXPECT_EQ(time(1 << 14).tempo, 97.25);
    EXPECT_EQ(time(0).flags, alwaysSet);
}

TEST_F(Vst2Time, TheTimeIsFilledAnewForEachQuestionInTheSamePlace) {
    makeAudio();
    const VstTimeInfo& first = time();
    const_cast<VstTimeInfo&>(first).smpteOffset = 99;
    context->getTransport().position = 3;
    const VstTimeInfo& second = time();
    EXPECT_EQ(&first, &second);
    EXPECT_EQ(second.ppqPos, 3);
    EXPECT_EQ(second.smpteOffset, 0);
}

TEST_F(Vst2Time, InsideOfABlockTheTimeIsFilledAnewInTheInstancesOwnPlace) {
    startProcessing();
    makeAudio();
    const VstTimeInfo* first = nullptr;
    effect.onProcess = [&](float**, float**, VstInt32) {
        context->getTransport().position = 1;
        first = &time();
        EXPECT_EQ(first->ppqPos, 1);
        context->getTransport().position = 2;
        EXPECT_EQ(&time(), first);
        EXPECT_EQ(first->ppqPos, 2);
    };
    instance->process(blockSize, true, true);
    ASSERT_NE(first, nullptr);
    EXPECT_NE(&time(), first) << "the place is the worker's alone";
    context->getTransport().position = 3;
    time();
    EXPECT_EQ(first->ppqPos, 2);
}

TEST_F(Vst2Time, AnotherThreadHasTheLastBlocksTimeInAPlaceOfItsOwn) {
    startProcessing();
    makeAudio();
    context->getTransport().tempo = 97.25;
    instance->process(blockSize, true, true);
    context->getTransport().tempo = 120; // the client is about to send the next block
    const VstTimeInfo* here = &time();
    EXPECT_EQ(here->tempo, 97.25);
    std::thread([&] {
        EXPECT_NE(&time(), here);
        EXPECT_EQ(time().tempo, 97.25);
        EXPECT_EQ(time().flags, alwaysSet);
    }).join();
    instance->process(blockSize, true, true);
    EXPECT_EQ(here->tempo, 97.25) << "it stays until this thread asks again";
    EXPECT_EQ(time().tempo, 120);
}

TEST_F(Vst2Time, AThreadOfThePluginInsideOfABlockHasThatBlocksTime) {
    startProcessing();
    makeAudio();
    context->getTransport().tempo = 97.25;
    double seen = 0;
    effect.onProcess = [&](float**, float**, VstInt32) { std::thread([&] { seen = time().tempo; }).join(); };
    instance->process(blockSize, true, true);
    EXPECT_EQ(seen, 97.25);
}

TEST_F(Vst2Time, NoThreadSeesHalfATime) {
    constexpr int32_t rounds = 20000;
    startProcessing();
    makeAudio();
    setAll(context->getTransport(), 1);
    instance->process(0, true, true);
    std::atomic<bool> stop{false};
    std::atomic<int32_t> asked{0};
    std::vector<std::thread> threads;
    for (int32_t i = 0; i < 2; ++i) {
        threads.emplace_back([&] {
            double last = 0;
            while (!stop) {
                const VstTimeInfo& info = time();
                ASSERT_TRUE(areAll(info, info.tempo)) << info.tempo << " and " << info.cycleEndPos;
                ASSERT_GE(info.tempo, last);
                last = info.tempo;
                ++asked;
            }
        });
    }
    EXPECT_TRUE(eventually([&] { return asked >= 2; }));
    for (int32_t i = 2; i < rounds; ++i) {
        setAll(context->getTransport(), i);
        instance->process(0, true, true);
    }
    stop = true;
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_TRUE(areAll(time(), rounds - 1));
    EXPECT_GT(asked, 2);
}
