// If these fail, plug-ins are brought up or taken down in an order that they aren't written for: they crash,
// stay silent or leak.

#include "vst2/Vst2Fixture.h"
#include "vst2/Vst2PluginApi.h"

#include <algorithm>

using namespace test_support;

namespace {

class Vst2Lifecycle : public Vst2Test {};

using Calls = std::vector<DispatcherCall>;

} // namespace

TEST_F(Vst2Lifecycle, InitializeCallsTheEffectInThisOrder) {
    EXPECT_EQ(instance->getProcessingState(), ProcessingState::created);
    instance->initialize();
    EXPECT_EQ(effect.calls, (Calls{
                                {.opcode = effOpen},
                                {.opcode = effSetSampleRate, .opt = 48000.0F},
                                {.opcode = effSetBlockSize, .value = 64},
                                {.opcode = effCanDo, .text = "receiveVstMidiEvent"},
                                {.opcode = effCanDo, .text = "sendVstMidiEvent"},
                                {.opcode = effCanDo, .text = "receiveVstSysexEvent"},
                                {.opcode = effGetPlugCategory},
                                {.opcode = effMainsChanged, .value = 1},
                            }));
    EXPECT_EQ(instance->getProcessingState(), ProcessingState::initialised);
}

TEST_F(Vst2Lifecycle, ActivateTurnsMainsOnASecondTime) {
    instance->initialize();
    instance->activate();
    EXPECT_EQ(effect.countCalls(effMainsChanged), 2u);
    EXPECT_EQ(effect.calls.back(), (DispatcherCall{.opcode = effMainsChanged, .value = 1}));
}

TEST_F(Vst2Lifecycle, TheFirstMainsOnComesBeforeTheInstanceCountsAsInitialised) {
    effect.answer(effMainsChanged, [&](const DispatcherCall&, void*) -> VstIntPtr {
        EXPECT_EQ(instance->getProcessingState(), ProcessingState::created);
        return 0;
    });
    instance->initialize();
    effect.answer(effMainsChanged, 0);
}

TEST_F(Vst2Lifecycle, StartAndStopAreOneCallEach) {
    initialize();
    instance->startProcessing();
    EXPECT_EQ(instance->getProcessingState(), ProcessingState::processing);
    instance->stopProcessing();
    EXPECT_EQ(instance->getProcessingState(), ProcessingState::initialised);
    EXPECT_EQ(effect.calls, (Calls{{.opcode = effStartProcess}, {.opcode = effStopProcess}}));
}

TEST_F(Vst2Lifecycle, TerminateTurnsMainsOffAndCloses) {
    initialize();
    instance->terminate();
    EXPECT_EQ(effect.calls, (Calls{{.opcode = effMainsChanged, .value = 0}, {.opcode = effClose}}));
    EXPECT_EQ(instance->getProcessingState(), ProcessingState::terminated);
}

TEST_F(Vst2Lifecycle, TerminateStopsWhatIsStillProcessing) {
    startProcessing();
    instance->terminate();
    EXPECT_EQ(
        effect.calls,
        (Calls{{.opcode = effStopProcess}, {.opcode = effMainsChanged, .value = 0}, {.opcode = effClose}}));
}

TEST_F(Vst2Lifecycle, TerminateClosesAnOpenEditorBetweenMainsOffAndClose) {
    initialize();
    openWindow();
    instance->terminate();
    EXPECT_EQ(
        effect.calls,
        (Calls{{.opcode = effMainsChanged, .value = 0}, {.opcode = effEditClose}, {.opcode = effClose}}));
    EXPECT_EQ(instance->window.get(), nullptr);
}

TEST_F(Vst2Lifecycle, MainsGoOnTwiceAndOffOnce) {
    std::vector<VstIntPtr> mains;
    effect.answer(effMainsChanged, [&](const DispatcherCall& call, void*) -> VstIntPtr {
        mains.push_back(call.value);
        return 0;
    });
    instance->initialize();
    instance->activate();
    instance->startProcessing();
    instance->stopProcessing();
    instance->terminate();
    EXPECT_EQ(mains, (std::vector<VstIntPtr>{1, 1, 0}));
}

TEST_F(Vst2Lifecycle, AfterTerminateHasBegunTheHostAnswersZeroToEverything) {
    startProcessing();
    std::map<VstInt32, VstIntPtr> answers;
    for (const VstInt32 opcode : {effStopProcess, effMainsChanged, effClose}) {
        effect.answer(opcode, [&](const DispatcherCall& call, void*) -> VstIntPtr {
            answers[call.opcode] = ask(audioMasterVersion);
            return 0;
        });
    }
    EXPECT_EQ(ask(audioMasterVersion), 2400);
    instance->terminate();
    EXPECT_EQ(answers,
              (std::map<VstInt32, VstIntPtr>{{effStopProcess, 0}, {effMainsChanged, 0}, {effClose, 0}}));
    char text[64] = "untouched";
    for (VstInt32 opcode = -1; opcode <= 50; ++opcode)
        EXPECT_EQ(ask(opcode, 100, 100, text), 0) << "opcode " << opcode;
    EXPECT_STREQ(text, "untouched");
}

TEST_F(Vst2Lifecycle, AnInstanceDestroyedWithoutTerminateClosesItsEffect) {
    initialize();
    instance = nullptr;
    EXPECT_EQ(effect.calls, (Calls{{.opcode = effClose}}));
}

TEST_F(Vst2Lifecycle, AnInstanceDestroyedAfterTerminateDoesNotCloseAgain) {
    initialize();
    instance->terminate();
    effect.calls.clear();
    instance = nullptr;
    EXPECT_EQ(effect.calls, Calls{});
}

TEST_F(Vst2Lifecycle, AnInstanceDestroyedBeforeInitializeCallsNothing) {
    instance = nullptr;
    EXPECT_EQ(effect.calls, Calls{});
}

TEST_F(Vst2Lifecycle, AnInstanceDestroyedWhileProcessingCallsNothing) {
    startProcessing();
    instance = nullptr;
    EXPECT_EQ(effect.calls, Calls{});
}

TEST_F(Vst2Lifecycle, AnInstanceIsOpenWhileItHasAnEffect) {
    EXPECT_TRUE(instance->isOpen());
    const Ref<Vst2PluginInstance> empty(new Vst2PluginInstance(host.get(), 2, false, nullptr, 0));
    EXPECT_FALSE(empty->isOpen());
    EXPECT_EQ(empty->getLatency(), 0);
}

TEST_F(Vst2Lifecycle, AnInstanceKnowsItsFormatAndItsId) {
    EXPECT_EQ(instance->getApi(), &Vst2PluginApi::instance);
    EXPECT_EQ(instance->instanceId, instanceId);
}

TEST_F(Vst2Lifecycle, IdleCallsNothingUnlessTheEffectAskedForIt) {
    initialize();
    instance->idle();
    EXPECT_EQ(effect.calls, Calls{});
}

TEST_F(Vst2Lifecycle, IdleReachesAnEffectThatAskedForItFromThenOn) {
    initialize();
    EXPECT_EQ(ask(audioMasterNeedIdle), 0);
    instance->idle();
    instance->idle();
    EXPECT_EQ(effect.calls, (Calls{{.opcode = effIdle}, {.opcode = effIdle}}));
}

TEST_F(Vst2Lifecycle, IdleReachesAnOpenEditorAfterTheEffect) {
    initialize();
    openWindow();
    instance->idle();
    ask(audioMasterNeedIdle);
    instance->idle();
    EXPECT_EQ(effect.calls, (Calls{{.opcode = effEditIdle}, {.opcode = effIdle}, {.opcode = effEditIdle}}));
}

TEST_F(Vst2Lifecycle, AnEffectInARealFileIsBroughtUpAndTakenDown) {
    Ref<PluginInstance> real = host->createPluginInstance(3, testPlugin("exports-only-main"), "", false);
    EXPECT_EQ(real->getProcessingState(), ProcessingState::initialised);
    real->activate();
    real->startProcessing();
    EXPECT_EQ(real->getProcessingState(), ProcessingState::processing);
    real->terminate();
    EXPECT_EQ(real->getProcessingState(), ProcessingState::terminated);
    host->instances.remove(3);
}
