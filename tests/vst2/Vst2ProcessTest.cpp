// If these fail, a plug-in's sound is wrong or missing, its tail is cut off, or it keeps the processor busy
// long after it fell silent.

#include "vst2/Vst2Fixture.h"

#include <algorithm>
#include <csignal>
#include <sys/resource.h>

using namespace test_support;

namespace {

class Vst2Process : public Vst2Test {
protected:
    Vst2Process() {
        effect.effect.numParams = 8;
        effect.answer(effGetTailSize, 1);
    }

    void makeStereo() {
        effect.effect.numInputs = 2;
        effect.effect.numOutputs = 2;
    }

    void setTail(VstIntPtr tail) { effect.answer(effGetTailSize, tail); }

    // The results of `count` blocks of 32 frames.
    std::vector<int32_t> runBlocks(int32_t count, bool keepActive = false) {
        std::vector<int32_t> results;
        for (int32_t i = 0; i < count; ++i)
            results.push_back(instance->process(32, keepActive, true));
        return results;
    }
};

using Results = std::vector<int32_t>;
using Steps = std::vector<std::string>;

constexpr int32_t silent = 0;
constexpr int32_t active = 1;
constexpr int32_t tail = 2;

void takeSignalAsItComes(int signal) {
    std::signal(signal, SIG_DFL);
    const rlimit none{0, 0};
    setrlimit(RLIMIT_CORE, &none);
}

} // namespace

TEST_F(Vst2Process, ABlockIsParametersThenEventsThenRendering) {
    effect.effect.flags |= effFlagsIsSynth;
    startProcessing();
    makeAudio();
    context->addNote(0, 0x90, 60, 100);
    context->addParameterChange(1, 0.5F);
    context->addParameterChange(2, 0.25F);
    instance->process(blockSize, true, true);
    EXPECT_EQ(effect.steps, (Steps{"setParameter", "setParameter", "events", "processReplacing"}));
}

TEST_F(Vst2Process, ParameterChangesAreAppliedInOrderSoThatTheLastOneCounts) {
    startProcessing();
    makeAudio();
    context->addParameterChange(1, 0.5F);
    context->addParameterChange(2, 0.25F);
    context->addParameterChange(1, 0.75F);
    instance->process(blockSize, true, true);
    EXPECT_EQ(effect.parameters, (std::map<VstInt32, float>{{1, 0.75F}, {2, 0.25F}}));
    EXPECT_EQ(effect.steps, (Steps{"setParameter", "setParameter", "setParameter", "processReplacing"}));
}

TEST_F(Vst2Process, WhileStoppedChangesAreAppliedAndNothingIsSentOrRendered) {
    effect.effect.flags |= effFlagsIsSynth;
    initialize();
    makeAudio();
    setTail(100);
    context->addNote(0, 0x90, 60, 100);
    context->addParameterChange(1, 0.5F);
    EXPECT_EQ(runBlocks(2), (Results{tail, silent}));
    EXPECT_EQ(effect.parameters, (std::map<VstInt32, float>{{1, 0.5F}}));
    EXPECT_EQ(effect.steps, (Steps{"setParameter", "setParameter"}));
    EXPECT_EQ(effect.countCalls(effGetTailSize), 2u);
}

TEST_F(Vst2Process, WithoutAnAudioBlockOnlyTheTailIsJudged) {
    effect.effect.flags |= effFlagsIsSynth;
    startProcessing();
    setTail(100);
    EXPECT_EQ(runBlocks(2), (Results{tail, silent}));
    EXPECT_EQ(effect.steps, Steps{});
}

TEST_F(Vst2Process, AnEmptyListOfChangesAndANegativeCountAreNoChanges) {
    startProcessing();
    makeAudio();
    *context->getRegions().parameterChangeCount = -1;
    instance->process(blockSize, true, true);
    EXPECT_EQ(effect.steps, Steps{"processReplacing"});
}

TEST_F(Vst2Process, ACountAboveTheCapacityIsReadOnlyUpToIt) {
    startProcessing();
    makeAudio();
    *context->getRegions().parameterChangeCount = 0x7FFFFFFF;
    instance->process(blockSize, true, true);
    EXPECT_EQ(effect.steps.size(), 4096u + 1);
}

TEST_F(Vst2Process, ACountThatFallsToTheRunningIndexIsStillTrusted) {
    startProcessing();
    makeAudio();
    context->addParameterChange(1, 0.5F);
    context->addParameterChange(2, 0.5F);
    effect.onSetParameter = [&](VstInt32, float) { *context->getRegions().parameterChangeCount = 1; };
    instance->process(blockSize, true, true);
    EXPECT_EQ(effect.steps, (Steps{"setParameter", "setParameter", "processReplacing"}));
}

TEST_F(Vst2Process, ACountThatGrowsMeanwhileBringsNoFurtherChanges) {
    startProcessing();
    makeAudio();
    context->addParameterChange(1, 0.5F);
    effect.onSetParameter = [&](VstInt32, float) { *context->getRegions().parameterChangeCount = 10; };
    instance->process(blockSize, true, true);
    EXPECT_EQ(effect.steps, (Steps{"setParameter", "processReplacing"}));
}

using Vst2ProcessDeathTest = Vst2Process;

TEST_F(Vst2ProcessDeathTest, ACountThatFallsBelowTheRunningIndexTraps) {
    startProcessing();
    makeAudio();
    for (int32_t i = 0; i < 4; ++i)
        context->addParameterChange(i, 0.5F);
    effect.onSetParameter = [&](VstInt32, float) { *context->getRegions().parameterChangeCount = 0; };
    EXPECT_EXIT(
        {
            takeSignalAsItComes(SIGILL);
            instance->process(blockSize, true, true);
        },
        testing::KilledBySignal(SIGILL), "");
}

TEST_F(Vst2Process, AReplacingEffectGetsTheChannelsOfTheBlockUncleared) {
    makeStereo();
    startProcessing();
    makeAudio();
    context->getRegions().outputAudio[3] = 42;
    effect.onProcess = [&](float** inputs, float** outputs, VstInt32 frames) {
        EXPECT_EQ(inputs[0], context->getRegions().inputAudio);
        EXPECT_EQ(inputs[1], context->getRegions().inputAudio + 64);
        EXPECT_EQ(outputs[0], context->getRegions().outputAudio);
        EXPECT_EQ(outputs[1], context->getRegions().outputAudio + 64);
        EXPECT_EQ(frames, 48);
        EXPECT_EQ(outputs[0][3], 42);
    };
    instance->process(48, true, true);
    EXPECT_EQ(effect.steps, Steps{"processReplacing"});
}

TEST_F(Vst2Process, AnEffectThatCannotReplaceGetsItsWholeOutputClearedFirst) {
    effect.effect.flags = 0;
    effect.effect.numOutputs = 2;
    startProcessing();
    context = new LocalAudioContext(61, 0, 2, 0);
    instance->setAudioContext(context);
    ASSERT_EQ(context->paddedBlockSize, 64);
    std::fill_n(context->getRegions().outputAudio, 128, 42.0F);
    effect.onProcess = [&](float**, float** outputs, VstInt32) {
        EXPECT_EQ(
            std::count(context->getRegions().outputAudio, context->getRegions().outputAudio + 128, 0.0F),
            128);
        outputs[1][0] += 0.5F;
    };
    instance->process(1, true, true);
    EXPECT_EQ(effect.steps, Steps{"process"});
    EXPECT_EQ(context->getRegions().outputAudio[64], 0.5F);
    EXPECT_TRUE(context->areGuardsIntact());
}

TEST_F(Vst2Process, AnEffectThatCanDoDoublesIsStillGivenFloats) {
    effect.effect.flags |= effFlagsCanDoubleReplacing;
    effect.effect.processDoubleReplacing = [](AEffect*, double**, double**, VstInt32) { std::abort(); };
    startProcessing();
    makeAudio();
    instance->process(blockSize, true, true);
    EXPECT_EQ(effect.steps, Steps{"processReplacing"});
}

TEST_F(Vst2Process, ARealEffectThatCannotReplaceAddsToSilence) {
    const Ref<PluginInstance> real = host->createPluginInstance(3, testPlugin("cannot-replace"), "", false);
    const Ref<LocalAudioContext> block(new LocalAudioContext(blockSize, 2, 2, 0));
    real->setAudioContext(block);
    real->startProcessing();
    std::fill_n(block->getRegions().inputAudio, 128, 0.5F);
    for (int32_t i = 0; i < 3; ++i) {
        real->process(blockSize, true, true);
        EXPECT_EQ(std::count(block->getRegions().outputAudio, block->getRegions().outputAudio + 128, 0.25F),
                  128);
    }
    EXPECT_TRUE(block->areGuardsIntact());
    real->terminate();
    host->instances.remove(3);
}

TEST_F(Vst2Process, APluginWithoutInputsGetsANullInputPointer) {
    effect.effect.numOutputs = 1;
    startProcessing();
    makeAudio();
    effect.onProcess = [&](float** inputs, float** outputs, VstInt32) {
        EXPECT_EQ(inputs, nullptr);
        EXPECT_EQ(outputs[0], context->getRegions().outputAudio);
    };
    instance->process(blockSize, true, true);
    EXPECT_EQ(effect.steps, Steps{"processReplacing"});
}

TEST_F(Vst2Process, ATailOfOneIsSilentAtOnce) {
    startProcessing();
    makeAudio();
    setTail(1);
    EXPECT_EQ(runBlocks(3), (Results{silent, silent, silent}));
}

TEST_F(Vst2Process, AnUnknownTailRingsForEver) {
    startProcessing();
    makeAudio();
    setTail(0);
    EXPECT_EQ(runBlocks(4), (Results{tail, tail, tail, tail}));
    EXPECT_EQ(instance->process(0x7FFFFFFF, false, true), tail);
}

TEST_F(Vst2Process, AnUnknownTailIsSilentForAnEffectWithNoSoundInStop) {
    effect.effect.flags |= effFlagsNoSoundInStop;
    startProcessing();
    makeAudio();
    setTail(0);
    EXPECT_EQ(runBlocks(2), (Results{silent, silent}));
}

TEST_F(Vst2Process, ANegativeTailRingsForEverWhateverItsFlags) {
    effect.effect.flags |= effFlagsNoSoundInStop;
    startProcessing();
    makeAudio();
    setTail(-1);
    EXPECT_EQ(runBlocks(2), (Results{tail, tail}));
    setTail(-1000);
    EXPECT_EQ(runBlocks(2), (Results{tail, tail}));
}

TEST_F(Vst2Process, ATailOfAHundredOutlastsSixtyFourAndNotAHundredAndTwentyEight) {
    startProcessing();
    makeAudio();
    setTail(100);
    EXPECT_EQ(runBlocks(3), (Results{tail, silent, silent}));
}

TEST_F(Vst2Process, ATailLastsUpToAndWithItsOwnLength) {
    startProcessing();
    makeAudio();
    setTail(128);
    EXPECT_EQ(runBlocks(3), (Results{tail, tail, silent}));
}

TEST_F(Vst2Process, TheLatencyMakesATailLonger) {
    effect.effect.initialDelay = 28;
    startProcessing();
    makeAudio();
    setTail(100);
    EXPECT_EQ(runBlocks(3), (Results{tail, tail, silent}));
    effect.effect.initialDelay = 0x7FFFFFFF;
    EXPECT_EQ(runBlocks(1), Results{tail});
}

TEST_F(Vst2Process, KeepingItActiveStartsTheTailAnew) {
    startProcessing();
    makeAudio();
    setTail(100);
    EXPECT_EQ(runBlocks(2), (Results{tail, silent}));
    effect.calls.clear();
    EXPECT_EQ(runBlocks(1, true), Results{active});
    EXPECT_EQ(effect.countCalls(effGetTailSize), 0u);
    EXPECT_EQ(runBlocks(2), (Results{tail, silent}));
}

TEST_F(Vst2Process, AnOpenWindowKeepsAPluginActiveAndStartsTheTailAnew) {
    startProcessing();
    makeAudio();
    setTail(100);
    EXPECT_EQ(runBlocks(2), (Results{tail, silent}));
    effect.calls.clear();
    openWindow();
    EXPECT_EQ(runBlocks(3), (Results{active, active, active}));
    EXPECT_EQ(effect.countCalls(effGetTailSize), 0u);
    instance->closeEditor();
    EXPECT_EQ(runBlocks(2), (Results{tail, silent}));
}

TEST_F(Vst2Process, AGeneratorIsAlwaysActiveAndNeverAskedForItsTail) {
    effect.answer(effGetPlugCategory, 11);
    startProcessing();
    makeAudio();
    EXPECT_EQ(runBlocks(3), (Results{active, active, active}));
    EXPECT_EQ(effect.countCalls(effGetTailSize), 0u);
    EXPECT_EQ(effect.steps, (Steps{"processReplacing", "processReplacing", "processReplacing"}));
}

TEST_F(Vst2Process, TheTailIsAskedOnEveryBlock) {
    startProcessing();
    makeAudio();
    setTail(100);
    EXPECT_EQ(runBlocks(1), Results{tail});
    setTail(1000);
    EXPECT_EQ(runBlocks(1), Results{tail});
    EXPECT_EQ(effect.countCalls(effGetTailSize), 2u);
}

TEST_F(Vst2Process, SilenceMayLastLongerThanTheCounterCounts) {
    startProcessing();
    makeAudio();
    setTail(100);
    instance->process(0x60000000, false, true);
    EXPECT_EQ(instance->process(0x60000000, false, true), silent);
    EXPECT_EQ(instance->process(0x60000000, false, true), silent);
}

TEST_F(Vst2Process, RealPluginsWithTailsOfEveryKindAreJudgedByThem) {
    constexpr struct {
        const char* identifier;
        int32_t first;
        int32_t second;
    } rows[] = {{"3001", tail, tail},
                {"3002", silent, silent},
                {"3003", silent, silent},
                {"3004", tail, tail},
                {"3005", tail, silent}};
    for (const auto& row : rows) {
        const Ref<PluginInstance> real =
            host->createPluginInstance(3, testPlugin("tails-of-every-kind"), row.identifier, false);
        const Ref<LocalAudioContext> block(new LocalAudioContext(blockSize, 2, 2, 0));
        real->setAudioContext(block);
        real->startProcessing();
        EXPECT_EQ(real->process(32, false, true), row.first) << row.identifier;
        EXPECT_EQ(real->process(32, false, true), row.second) << row.identifier;
        EXPECT_EQ(real->process(32, true, true), active) << row.identifier;
        real->terminate();
        host->instances.remove(3);
    }
}
