// If these fail, the audio thread may wait for memory or for a lock, and the user hears clicks.

#include "support/CountedCalls.h"
#include "vst2/Vst2Fixture.h"

using namespace test_support;

namespace {

/// An effect that does nothing but answer: what is counted is the instance's own.
class Vst2RealTime : public Vst2Test {
protected:
    Vst2RealTime() {
        effect.answerCanDo("receiveVstMidiEvent", 1);
        effect.answerCanDo("receiveVstSysexEvent", 1);
        effect.effect.numInputs = 2;
        effect.effect.numOutputs = 2;
        effect.effect.numParams = 2000;
        startProcessing();
        makeAudio();
        announce();
        std::fill_n(context->getRegions().parameterFlags, 2000, uint8_t{1});

        AEffect& quiet = effect.effect;
        quiet.dispatcher = [](AEffect* self, VstInt32 opcode, VstInt32, VstIntPtr, void* ptr,
                              float) -> VstIntPtr {
            if (opcode == effProcessEvents) {
                eventsSeen += static_cast<const VstEvents*>(ptr)->numEvents;
                vst2HostCallback(self, audioMasterProcessEvents, 0, 0, ptr, 0);
            }
            return opcode == effGetTailSize ? 100 : 0;
        };
        quiet.setParameter = [](AEffect*, VstInt32, float) { ++changesSeen; };
        quiet.process = quiet.processReplacing = [](AEffect* self, float**, float**, VstInt32) {
            ++blocksSeen;
            for (const VstInt32 opcode :
                 {audioMasterGetTime, audioMasterGetSampleRate, audioMasterGetBlockSize,
                  audioMasterGetCurrentProcessLevel, audioMasterGetInputLatency, audioMasterVersion})
                vst2HostCallback(self, opcode, 0, 0, nullptr, 0);
        };
        eventsSeen = changesSeen = blocksSeen = 0;
    }

    ~Vst2RealTime() override {
        effect.effect.dispatcher = [](AEffect*, VstInt32, VstInt32, VstIntPtr, void*, float) -> VstIntPtr {
            return 0;
        };
    }

    void countBlocks(int32_t blocks) {
        countedCalls = {};
        for (int32_t i = 0; i < blocks; ++i) {
            *context->getRegions().outputEventCount = 0;
            instance->process(blockSize, i % 2 == 0, i % 3 == 0);
        }
        allocated = countedCalls.allocations;
        locked = countedCalls.locks;
    }

    static inline int32_t eventsSeen;
    static inline int32_t changesSeen;
    static inline int32_t blocksSeen;
    int allocated = -1;
    int locked = -1;
};

} // namespace

TEST(Vst2RealTimeCounter, AllocationsAndLocksAreSeen) {
    countedCalls = {};
    delete new std::string(1000, 'x');
    EXPECT_EQ(countedCalls.allocations, 4);
    base::core::Mutex mutex;
    countedCalls = {};
    const base::core::ScopedLock lock(mutex);
    EXPECT_EQ(countedCalls.locks, 1);
}

TEST_F(Vst2RealTime, AnEmptyBlockAllocatesNothingAndLocksNothing) {
    countBlocks(100);
    EXPECT_EQ(blocksSeen, 100);
    EXPECT_EQ(allocated, 0);
    EXPECT_EQ(locked, 0);
}

TEST_F(Vst2RealTime, AFullBlockAllocatesNothingAndLocksNothing) {
    for (int32_t i = 0; i < 128; ++i) {
        context->addNote(i, 0x90, 60, 100);
        context->addSystemExclusive(i, {0xF0, 0xF7});
    }
    for (int32_t i = 0; i < 1024; ++i)
        context->addParameterChange(i, 0.5F);
    countBlocks(100);
    EXPECT_EQ(eventsSeen, 25600);
    EXPECT_EQ(changesSeen, 102400);
    EXPECT_EQ(*context->getRegions().outputEventCount, 128);
    EXPECT_EQ(context->getRegions().parameterFlags[1023], 3);
    EXPECT_EQ(allocated, 0);
    EXPECT_EQ(locked, 0);
}

TEST_F(Vst2RealTime, AnEffectThatHasGrownAllocatesNothingAndLocksNothing) {
    effect.effect.numInputs = 1000;
    effect.effect.numOutputs = 1000;
    countBlocks(100);
    EXPECT_EQ(blocksSeen, 100);
    EXPECT_EQ(allocated, 0);
    EXPECT_EQ(locked, 0);
}

TEST_F(Vst2RealTime, AnEffectThatCannotReplaceAllocatesNothingAndLocksNothing) {
    effect.effect.flags = 0;
    countBlocks(100);
    EXPECT_EQ(blocksSeen, 100);
    EXPECT_EQ(allocated, 0);
    EXPECT_EQ(locked, 0);
}
