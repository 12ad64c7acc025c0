// If these fail, plug-ins are brought up or taken down in another order than they have always met, which some
// of them don't survive, or a plug-in that can't come up isn't told from one that can.

#include "support/CapturedOutput.h"
#include "support/Eventually.h"
#include "vst3/Vst3Fixture.h"

#include <atomic>
#include <latch>
#include <pluginterfaces/vst/ivsthostapplication.h>
#include <thread>
#include <unistd.h>

using namespace test_support;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

namespace {

class Vst3SetUp : public Vst3Test {
protected:
    // What the plug-in was asked while it was initialised.
    std::vector<std::string> callsOfInitialize(const std::string& name) {
        const Ref<Vst3PluginInstance> instance = create(name);
        calls();
        instance->initialize();
        return calls();
    }

    // The failure of `initialize` without the place in the source.
    static std::string failureOfInitialize(const Ref<Vst3PluginInstance>& instance) {
        const std::string failure = failureOf([&] { instance->initialize(); });
        const size_t place = failure.find("\n in Vst3");
        EXPECT_NE(place, std::string::npos) << failure;
        return failure.substr(0, place);
    }

    // As long as the plug-in answers so to a call, `initialize` fails.
    std::string failureWhere(const std::string& call, tresult answer) {
        const Ref<Vst3PluginInstance> instance = create("records-its-calls");
        record->answers[call] = answer;
        const std::string failure = failureOfInitialize(instance);
        lastCall = calls().back();
        return failure;
    }

    // The one that failed.
    std::string lastCall;
};

void expectNothingOf(Vst3PluginInstance& instance) {
    EXPECT_FALSE(instance.isOpen());
    EXPECT_FALSE(instance.hasAudioInput());
    EXPECT_FALSE(instance.hasAudioOutput());
    EXPECT_FALSE(instance.hasNoteInput());
    EXPECT_FALSE(instance.hasNoteOutput());
    EXPECT_FALSE(instance.hasSysexInput());
    EXPECT_FALSE(instance.supportsMpe());
    EXPECT_FALSE(instance.hasMidiControllerMapping());
    EXPECT_FALSE(instance.supportsViewDpiScaling());
    EXPECT_FALSE(instance.hasEditor());
    EXPECT_THAT(instance.getInputBuses(), IsEmpty());
    EXPECT_THAT(instance.getOutputBuses(), IsEmpty());
    EXPECT_EQ(instance.getInputChannelCount(), 0);
    EXPECT_EQ(instance.getOutputChannelCount(), 0);
    EXPECT_EQ(instance.getLatency(), 0);
    EXPECT_EQ(instance.getParameterCount(), 0);
    EXPECT_EQ(instance.getProgramCount(), 0);
    EXPECT_EQ(instance.getParameterValue(0), 0.0F);
    EXPECT_THAT(instance.getDeviceTypes(), ElementsAre(audioToAudioDevice));
    EXPECT_EQ(instance.process(64, false, true), processSilent);
    EXPECT_EQ(instance.process(64, true, true), processActive);
    EXPECT_NO_THROW(instance.initialize());
    EXPECT_EQ(instance.getProcessingState(), ProcessingState::initialised);
    EXPECT_NO_THROW(instance.terminate());
    EXPECT_EQ(instance.getProcessingState(), ProcessingState::terminated);
}

} // namespace

TEST_F(Vst3SetUp, AnInstancesWholeLifeTakesTheseCallsInThisOrder) {
    Ref<Vst3PluginInstance> instance = create("records-its-calls");
    EXPECT_THAT(calls(),
                ElementsAre("factory createInstance Records Its Calls, IComponent",
                            "component queryInterface IComponent", // by the factory
                            "component initialize", "component queryInterface IAudioProcessor",
                            "component queryInterface IUnitData", "component queryInterface IProgramListData",
                            "component getControllerClassId",
                            "factory createInstance Controller, IEditController",
                            "controller queryInterface IEditController", // by the factory
                            "controller initialize", "controller queryInterface IEditController2",
                            "controller queryInterface IMidiMapping",
                            "controller queryInterface INoteExpressionController",
                            "controller setComponentHandler", "component queryInterface IConnectionPoint",
                            "controller queryInterface IConnectionPoint", "component connect",
                            "controller connect", "component getState", "controller setComponentState"));
    instance->initialize();
    EXPECT_THAT(
        calls(),
        ElementsAre("component setupProcessing mode 0, sample size 0, 64 frames, 48000 Hz",
                    "component getBusArrangement input 0", "component getBusArrangement input 1",
                    "component getBusArrangement output 0",
                    "component setBusArrangements 2 0x3 0x80000, 1 0x3",
                    "component activateBus audio input 1 on", "component activateBus audio input 0 on",
                    "component activateBus event input 0 on", "component activateBus audio output 0 on",
                    "component activateBus event output 0 on", "component setActive on"));
    instance->activate();
    EXPECT_THAT(calls(), IsEmpty());
    instance->startProcessing();
    instance->stopProcessing();
    instance->startProcessing();
    EXPECT_THAT(calls(), ElementsAre("component setProcessing on", "component setProcessing off",
                                     "component setProcessing on"));
    instance->terminate();
    EXPECT_THAT(calls(), ElementsAre("component setProcessing off"));
    instance = nullptr;
    EXPECT_THAT(calls(), ElementsAre("controller gone", "component gone"));
}

TEST_F(Vst3SetUp, TheControllerGetsTheComponentsState) {
    const Ref<Vst3PluginInstance> instance = create("records-its-calls");
    EXPECT_EQ(instance->getParameterValue(0), 0.25F);
    EXPECT_EQ(instance->getParameterValue(1), 0.75F);
}

TEST_F(Vst3SetUp, AControllerGetsNoStateThatTheComponentDoesNotGive) {
    load("records-its-calls");
    record->answers["component getState"] = kNotImplemented;
    const Ref<Vst3PluginInstance> instance = create(getPlugin(testModule("records-its-calls")));
    EXPECT_THAT(calls(), Not(Contains("controller setComponentState")));
    EXPECT_EQ(instance->getParameterValue(0), 0.0F);
}

TEST_F(Vst3SetUp, AControllerThatRefusesTheStateIsUsedAllTheSame) {
    const Ref<Vst3Plugin> plugin = load("records-its-calls");
    record->answers["controller setComponentState"] = kResultFalse;
    const Ref<Vst3PluginInstance> instance = create(plugin);
    EXPECT_EQ(instance->getParameterCount(), 2);
    EXPECT_NO_THROW(instance->initialize());
}

TEST_F(Vst3SetUp, TheContextOfBothHalvesIsTheHandler) {
    const Ref<Vst3PluginInstance> instance = create("records-its-calls");
    EXPECT_NE(record->componentContext, nullptr);
    EXPECT_EQ(record->controllerContext, record->componentContext);
    EXPECT_EQ(static_cast<FUnknown*>(record->handler), record->componentContext);
}

TEST_F(Vst3SetUp, ASingleComponentIsItsOwnControllerAndInitialisedOnce) {
    const Ref<Vst3PluginInstance> instance = create("single-component");
    EXPECT_EQ(instance->getParameterCount(), 1);
    EXPECT_THAT(calls(),
                ElementsAre("factory createInstance Single Component, IComponent",
                            "plug-in queryInterface IComponent", // by the factory
                            "plug-in initialize", "plug-in queryInterface IAudioProcessor",
                            "plug-in queryInterface IUnitData", "plug-in queryInterface IProgramListData",
                            "plug-in getControllerClassId", "plug-in queryInterface IEditController",
                            "plug-in queryInterface IEditController2", "plug-in queryInterface IMidiMapping",
                            "plug-in queryInterface INoteExpressionController", "plug-in setComponentHandler",
                            "plug-in queryInterface IConnectionPoint",
                            "plug-in queryInterface IConnectionPoint", "plug-in connect", "plug-in connect",
                            "plug-in setComponentState"));
}

TEST_F(Vst3SetUp, APluginWhoseControllerClassIsRefusedIsAskedItself) {
    const Ref<Vst3PluginInstance> instance = create("refused-controller-class");
    EXPECT_EQ(instance->getParameterCount(), 1);
    const std::vector<std::string> made = calls();
    EXPECT_THAT(made, Contains("factory createInstance unknown class, IEditController"));
    EXPECT_THAT(made, Contains("plug-in queryInterface IEditController"));
    EXPECT_THAT(made, Contains("plug-in setComponentHandler"));
    EXPECT_THAT(made, Contains("plug-in initialize").Times(1));
}

TEST_F(Vst3SetUp, AControllerThatComesWithAFailureIsLetGoOf) {
    const Ref<Vst3Plugin> plugin = load("records-its-calls");
    record->answers["factory createInstance Controller"] = kResultFalse;
    const Ref<Vst3PluginInstance> instance = create(plugin);
    const std::vector<std::string> made = calls();
    EXPECT_THAT(made, Contains("controller gone"));
    EXPECT_THAT(made, Not(Contains("controller initialize")));
    // The processor is asked first, then the component, which are one object here.
    EXPECT_THAT(made, Contains("component queryInterface IEditController").Times(2));
    EXPECT_EQ(instance->getParameterCount(), 0);
}

TEST_F(Vst3SetUp, AControllerWhoseInitializeFailsIsUsedAllTheSame) {
    const Ref<Vst3Plugin> plugin = load("records-its-calls");
    record->answers["controller initialize"] = Steinberg::kInternalError;
    const Ref<Vst3PluginInstance> instance = create(plugin);
    EXPECT_EQ(instance->getParameterCount(), 2);
    EXPECT_THAT(calls(), Contains("controller setComponentHandler"));
}

TEST_F(Vst3SetUp, AControllerClassThatOnlyTheFactoryListsIsNotUsed) {
    const Ref<Vst3PluginInstance> instance = create(getPlugin(testModule("lists-other-classes")));
    EXPECT_TRUE(instance->isOpen());
    EXPECT_FALSE(instance->hasEditor());
    EXPECT_EQ(instance->getParameterCount(), 0);
}

TEST_F(Vst3SetUp, AControllerClassIdThatIsNotGivenForSureIsNotUsed) {
    const Ref<Vst3Plugin> plugin = load("records-its-calls");
    record->answers["component getControllerClassId"] = kResultFalse;
    const Ref<Vst3PluginInstance> instance = create(plugin);
    EXPECT_THAT(calls(), Not(Contains("factory createInstance Controller, IEditController")));
    EXPECT_EQ(instance->getParameterCount(), 0);
}

TEST_F(Vst3SetUp, APluginWithoutAControllerRendersAndHasNoParameters) {
    const Ref<Vst3PluginInstance> instance = create("without-audio-buses");
    EXPECT_THAT(calls(), Not(Contains("component getState")));
    EXPECT_EQ(instance->getParameterCount(), 0);
    EXPECT_EQ(instance->getProgramCount(), 0);
    EXPECT_FALSE(instance->hasEditor());
    instance->initialize();
    instance->startProcessing();
    EXPECT_THAT(calls(), Contains("component setProcessing on"));
}

TEST_F(Vst3SetUp, HalvesOfWhichOneHasNoConnectionPointForSureAreNotConnected) {
    for (const char* half : {"component", "controller"}) {
        for (const tresult answer : {tresult{kNoInterface}, tresult{kResultFalse}}) {
            const Ref<Vst3Plugin> plugin = load("records-its-calls");
            record->answers[std::string(half) + " queryInterface IConnectionPoint"] = answer;
            const Ref<Vst3PluginInstance> instance = create(plugin);
            const std::vector<std::string> made = calls();
            EXPECT_THAT(made, Not(Contains("component connect")));
            EXPECT_THAT(made, Not(Contains("controller connect")));
            EXPECT_THAT(made, Contains("controller setComponentState"));
        }
    }
}

TEST_F(Vst3SetUp, WhatAConnectAnswersIsIgnored) {
    const Ref<Vst3Plugin> plugin = load("records-its-calls");
    record->answers["component connect"] = kResultFalse;
    const Ref<Vst3PluginInstance> instance = create(plugin);
    EXPECT_THAT(calls(), Contains("controller connect"));
}

TEST_F(Vst3SetUp, AClassThatIsNotThereIsAnInstanceOfNothing) {
    expectNothingOf(*create(load("records-its-calls"), secondClassText));
}

TEST_F(Vst3SetUp, AComponentThatIsNotMadeThoughItIsSaidToBeIsAnInstanceOfNothing) {
    const Ref<Vst3Plugin> plugin = load("records-its-calls");
    record->factoryMakesObjects = false;
    expectNothingOf(*create(plugin, firstClassText));
}

TEST_F(Vst3SetUp, AControllerThatIsNotMadeThoughItIsSaidToBeIsNotThere) {
    const Ref<Vst3Plugin> plugin = load("records-its-calls");
    record->onCall = [this](const std::string& call) {
        if (call == "component getControllerClassId")
            record->factoryMakesObjects = false;
    };
    const Ref<Vst3PluginInstance> instance = create(plugin, firstClassText);
    EXPECT_TRUE(instance->isOpen());
    EXPECT_EQ(instance->getParameterCount(), 0);
    EXPECT_THAT(calls(), Contains("component queryInterface IEditController").Times(2));
}

TEST_F(Vst3SetUp, AComponentThatComesWithAFailureIsLetGoOf) {
    const Ref<Vst3Plugin> plugin = load("records-its-calls");
    record->answers["factory createInstance Records Its Calls"] = kResultFalse;
    const Ref<Vst3PluginInstance> instance = create(plugin, firstClassText);
    EXPECT_THAT(calls(), ElementsAre("factory createInstance Records Its Calls, IComponent",
                                     "component queryInterface IComponent", "component gone"));
    expectNothingOf(*instance);
}

TEST_F(Vst3SetUp, AComponentWhoseInitializeFailsIsLetGoOf) {
    const Ref<Vst3Plugin> plugin = load("records-its-calls");
    record->answers["component initialize"] = Steinberg::kNotInitialized;
    const Ref<Vst3PluginInstance> instance = create(plugin, firstClassText);
    EXPECT_THAT(calls(),
                ElementsAre("factory createInstance Records Its Calls, IComponent",
                            "component queryInterface IComponent", "component initialize", "component gone"));
    expectNothingOf(*instance);
}

TEST_F(Vst3SetUp, ABusOfAnArrangementThatIsNotTakenIsAskedToBeStereo) {
    // Five and one, four, one speaker that isn't mono, two that are no pair, three, mono with a speaker more.
    EXPECT_THAT(callsOfInitialize("buses-of-every-arrangement"),
                Contains("component setBusArrangements 21 0x0 0x3 0x80000 0xc 0x30 0xc0 0x600 0x5000 0x28000 "
                         "0x3000000 0x50000000 0x3 0x3 0x3 0x3 0x3 0x3 0x3 0x3 0x3 0x3, 1 0x3"));
}

TEST_F(Vst3SetUp, ABusWhoseArrangementIsNotGivenForSureCountsAsItStands) {
    const Ref<Vst3PluginInstance> instance = create("records-its-calls");
    record->answers["component getBusArrangement"] = kResultFalse;
    instance->initialize();
    EXPECT_THAT(calls(), Contains("component setBusArrangements 2 0x3 0x80000, 1 0x3"));
}

TEST_F(Vst3SetUp, WithoutAudioBusesTwoEmptyListsAreHandedOver) {
    EXPECT_THAT(callsOfInitialize("without-audio-buses"),
                ElementsAre("component setupProcessing mode 0, sample size 0, 64 frames, 48000 Hz",
                            "component setBusArrangements 0, 0", "component activateBus event input 0 on",
                            "component activateBus event output 0 on", "component setActive on"));
}

TEST_F(Vst3SetUp, APluginThatRefusesItsArrangementsIsUsedAllTheSame) {
    const Ref<Vst3PluginInstance> instance = create("records-its-calls");
    record->answers["component setBusArrangements"] = kResultFalse;
    EXPECT_NO_THROW(instance->initialize());
    EXPECT_THAT(calls(), Contains("component setActive on"));
}

TEST_F(Vst3SetUp, AFailingSetupProcessingFailsTheInstance) {
    EXPECT_EQ(failureWhere("component setupProcessing", kNotImplemented),
              "\"Vst3PluginInstance::open()#setupProcessing\" returned error code: 3 (kNotImplemented)");
    EXPECT_THAT(lastCall, testing::StartsWith("component setupProcessing"));
}

TEST_F(Vst3SetUp, AnActivateBusThatIsNotImplementedFailsTheInstanceOnAnyBus) {
    for (const char* bus :
         {"audio input 1", "audio input 0", "event input 0", "audio output 0", "event output 0"}) {
        const std::string call = std::string("component activateBus ") + bus;
        EXPECT_EQ(
            failureWhere(call, kNotImplemented),
            "\"Vst3PluginInstance::activateBussesOfType(...)\" returned error code: 3 (kNotImplemented)");
        EXPECT_EQ(lastCall, call + " on");
    }
}

TEST_F(Vst3SetUp, AFailingSetActiveFailsTheInstance) {
    EXPECT_EQ(failureWhere("component setActive", kResultFalse),
              "\"Vst3PluginInstance::open()\" returned error code: 1 (kResultFalse)");
}

TEST_F(Vst3SetUp, AFailureNamesTheFileAndTheLineOfItsCheck) {
    const Ref<Vst3PluginInstance> instance = create("records-its-calls");
    record->answers["component setActive"] = 7;
    EXPECT_THAT(failureOf([&] { instance->initialize(); }),
                testing::MatchesRegex("\"Vst3PluginInstance::open\\(\\)\" returned error code: 7 "
                                      "\\(Unknown result!\\)\n in Vst3PluginInstance.cpp : [0-9]+"));
}

TEST_F(Vst3SetUp, AnInstanceThatFailedIsTakenDownByLettingGoOfIt) {
    Ref<Vst3PluginInstance> instance = create("records-its-calls");
    record->answers["component setActive"] = kResultFalse;
    failureOfInitialize(instance);
    EXPECT_EQ(instance->getProcessingState(), ProcessingState::created);
    calls();
    instance = nullptr;
    EXPECT_THAT(calls(), ElementsAre("controller gone", "component gone"));
}

TEST_F(Vst3SetUp, AFailureOfInitializeReachesWhoeverCreatesAnInstance) {
    load("records-its-calls");
    record->answers["component setupProcessing"] = Steinberg::kInternalError;
    EXPECT_THAT(
        failureOf([&] { host->createPluginInstance(1, testModule("records-its-calls").c_str(), "", false); }),
        testing::StartsWith("\"Vst3PluginInstance::open()#setupProcessing\" returned error code: 4"));
    EXPECT_EQ(host->instances.find(1), nullptr);
}

TEST_F(Vst3SetUp, APluginWithoutAProcessorIsInitialisedWithoutACall) {
    const Ref<Vst3PluginInstance> instance = create("without-processor");
    EXPECT_TRUE(instance->isOpen());
    EXPECT_EQ(instance->getParameterCount(), 1);
    calls();
    instance->initialize();
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_EQ(instance->getProcessingState(), ProcessingState::initialised);
    EXPECT_EQ(instance->getLatency(), 0);
}

TEST_F(Vst3SetUp, AProcessorThatComesWithAFailureIsNotUsed) {
    const Ref<Vst3Plugin> plugin = load("records-its-calls");
    record->answers["component queryInterface IAudioProcessor"] = kResultFalse;
    const Ref<Vst3PluginInstance> instance = create(plugin);
    calls();
    instance->initialize();
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_EQ(instance->getProcessingState(), ProcessingState::initialised);
    record->answers["component getLatencySamples"] = 5;
    EXPECT_EQ(instance->getLatency(), 0);
}

TEST_F(Vst3SetUp, TheProcessingStateFollowsTheCalls) {
    const Ref<Vst3PluginInstance> instance = create("records-its-calls");
    EXPECT_EQ(instance->getProcessingState(), ProcessingState::created);
    instance->initialize();
    EXPECT_EQ(instance->getProcessingState(), ProcessingState::initialised);
    instance->startProcessing();
    EXPECT_EQ(instance->getProcessingState(), ProcessingState::processing);
    instance->stopProcessing();
    EXPECT_EQ(instance->getProcessingState(), ProcessingState::initialised);
    instance->terminate();
    EXPECT_EQ(instance->getProcessingState(), ProcessingState::terminated);
}

TEST_F(Vst3SetUp, WhatSetProcessingAnswersIsIgnored) {
    const Ref<Vst3PluginInstance> instance = create("records-its-calls");
    record->answers["component setProcessing"] = kNotImplemented;
    instance->initialize();
    instance->startProcessing();
    EXPECT_EQ(instance->getProcessingState(), ProcessingState::processing);
    instance->stopProcessing();
    EXPECT_EQ(instance->getProcessingState(), ProcessingState::initialised);
}

TEST_F(Vst3SetUp, ProcessingStartsAlsoWithoutAProcessor) {
    const Ref<Vst3PluginInstance> instance = create("without-processor");
    instance->initialize();
    calls();
    instance->startProcessing();
    EXPECT_EQ(instance->getProcessingState(), ProcessingState::processing);
    instance->stopProcessing();
    EXPECT_EQ(instance->getProcessingState(), ProcessingState::initialised);
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(Vst3SetUp, TerminateDuringProcessingStopsItAndCallsNothingElse) {
    const Ref<Vst3PluginInstance> instance = create("records-its-calls");
    instance->initialize();
    instance->startProcessing();
    calls();
    instance->terminate();
    EXPECT_TRUE(instance->closing);
    EXPECT_THAT(calls(), ElementsAre("component setProcessing off"));
}

TEST_F(Vst3SetUp, TerminateWhileNothingIsProcessedCallsNothing) {
    const Ref<Vst3PluginInstance> instance = create("records-its-calls");
    instance->initialize();
    calls();
    instance->terminate();
    EXPECT_TRUE(instance->closing);
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(Vst3SetUp, AnInstanceOffersItsFrameToThePlugin) {
    const Ref<Vst3PluginInstance> instance = create("records-its-calls");
    Steinberg::IPlugFrame* frame = instance->getHost().getFrame();
    for (const FUID& identifier : {Steinberg::IPlugFrame::iid, FUnknown::iid}) {
        void* result = nullptr;
        EXPECT_EQ(frame->queryInterface(identifier.toTUID(), &result), kResultOk);
        EXPECT_EQ(result, frame);
        EXPECT_EQ(frame->release(), 1U) << "the interface comes with a reference";
    }
    void* result = frame;
    EXPECT_EQ(frame->queryInterface(Vst::IComponentHandler::iid.toTUID(), &result), kNoInterface);
    EXPECT_EQ(result, nullptr);
}

TEST_F(Vst3SetUp, ReleasingTheFrameTooOftenEndsNothing) {
    Ref<Vst3PluginInstance> instance = create("records-its-calls");
    calls();
    Steinberg::IPlugFrame* frame = instance->getHost().getFrame();
    EXPECT_EQ(frame->addRef(), 2U);
    EXPECT_EQ(frame->release(), 1U);
    EXPECT_EQ(frame->release(), 0U);
    frame->release();
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_EQ(instance->getParameterCount(), 2);
    instance = nullptr;
    EXPECT_THAT(calls(), ElementsAre("controller gone", "component gone"));
}

TEST_F(Vst3SetUp, AFrameOutlivesItsInstance) {
    Ref<Vst3PluginInstance> instance = create("records-its-calls");
    Steinberg::IPlugFrame* frame = instance->getHost().getFrame();
    instance = nullptr;
    Steinberg::ViewRect size(0, 0, 320, 240);
    EXPECT_EQ(frame->resizeView(nullptr, &size), kResultOk);
    EXPECT_EQ(frame->addRef(), 2U);
}

TEST_F(Vst3SetUp, ContextAndHandlerOutliveTheirInstanceAndReachNothing) {
    for (const bool terminates : {true, false}) {
        Ref<Vst3PluginInstance> instance = create("records-its-calls");
        Vst::IComponentHandler* kept = record->handler;
        const Vst::ParamID gain = 700;
        EXPECT_EQ(kept->beginEdit(gain), kResultOk);
        EXPECT_EQ(kept->restartComponent(0), kResultOk);
        if (terminates)
            instance->terminate();
        else
            instance = nullptr;
        EXPECT_EQ(kept->beginEdit(gain), kInvalidArgument);
        EXPECT_EQ(kept->performEdit(gain, 0.5), kInvalidArgument);
        EXPECT_EQ(kept->endEdit(gain), kInvalidArgument);
        EXPECT_EQ(kept->restartComponent(0), kResultFalse);
        const IPtr<Vst::IHostApplication> context = interfaceOf<Vst::IHostApplication>(kept);
        Vst::String128 name;
        EXPECT_EQ(context->getName(name), kResultOk);
    }
}

namespace {

/// A call of a plug-in's own thread that stays in the controller until the test lets it go.
class LongCall {
public:
    /// An id that isn't there is looked for in the controller, and so is any other the first time.
    explicit LongCall(ModuleRecord& record, Vst::ParamID id = 31) : record(record) {
        record.onQuestion = [this] {
            if (!isFirst.exchange(false))
                return;
            hasArrived.count_down();
            mayEnd.wait();
        };
        thread = std::thread(
            [this, id, handler = record.handler.load()] { answer = handler->performEdit(id, 0.5); });
        hasArrived.wait();
    }

    /// What the call was answered.
    tresult end() {
        mayEnd.count_down();
        thread.join();
        record.onQuestion = nullptr;
        return answer;
    }

private:
    ModuleRecord& record;
    std::atomic<bool> isFirst = true;
    std::latch hasArrived{1};
    std::latch mayEnd{1};
    tresult answer = kResultOk;
    std::thread thread;
};

} // namespace

TEST_F(Vst3SetUp, TerminateWaitsForACallOfThePluginsThatGoesNoFurther) {
    Ref<Vst3PluginInstance> instance = create("records-its-calls");
    instance->initialize();
    constexpr Vst::ParamID gain = 700;
    LongCall call(*record, gain);
    std::atomic<bool> hasEnded = false;
    std::thread ending([&] {
        // Once nothing reaches the instance any more, the termination is waiting for the call.
        EXPECT_TRUE(eventually([&] { return record->handler.load()->restartComponent(0) != kResultOk; }));
        hasEnded = true;
        EXPECT_EQ(call.end(), kInvalidArgument);
    });
    instance->terminate();
    EXPECT_TRUE(hasEnded);
    ending.join();
    calls();
    instance = nullptr;
    EXPECT_THAT(calls(), ElementsAre("controller gone", "component gone"));
}

TEST_F(Vst3SetUp, AnInstanceWhosePluginDoesNotReturnStaysInMemoryAndIsReported) {
    for (const bool terminates : {true, false}) {
        Ref<Vst3PluginInstance> instance = create("records-its-calls");
        instance->initialize();
        LongCall call(*record);
        calls();
        const CapturedOutput errors(STDERR_FILENO);
        if (terminates)
            instance->terminate();
        instance = nullptr;
        EXPECT_EQ(errors.text(), "A call of VST plug-in instance 7 doesn't return: the instance is leaked\n");
        EXPECT_THAT(calls(), IsEmpty());
        EXPECT_EQ(call.end(), kInvalidArgument);
        EXPECT_THAT(calls(), IsEmpty());
    }
}

TEST_F(Vst3SetUp, InterfacesAreLetGoOfFromTheLastToTheFirst) {
    Ref<Vst3PluginInstance> instance = create("each-interface-an-object");
    instance->initialize();
    EXPECT_TRUE(instance->hasEditor());
    EXPECT_TRUE(instance->supportsViewDpiScaling());
    EXPECT_THAT(calls(), IsEmpty());
    instance = nullptr;
    EXPECT_THAT(calls(),
                ElementsAre("content scale gone", "view gone", "controller's connection gone",
                            "component's connection gone", "MIDI mapping gone", "note expressions gone",
                            "program list data gone", "unit data gone", "processor gone",
                            "second controller gone", "controller gone", "component gone"));
}

TEST_F(Vst3SetUp, MakingTheComponentsAnewLetsGoOfTheFormerOnes) {
    Ref<Vst3PluginInstance> instance = create("records-its-calls");
    calls();
    instance->createComponents();
    const std::vector<std::string> made = calls();
    EXPECT_THAT(made, Contains("component gone").Times(1));
    EXPECT_THAT(made, Contains("controller gone").Times(1));
    EXPECT_EQ(made.back(), "controller setComponentState");
    EXPECT_EQ(instance->getParameterCount(), 2);
    instance = nullptr;
    EXPECT_THAT(calls(), ElementsAre("controller gone", "component gone"));
}

TEST_F(Vst3SetUp, TheFormatsVersionIsThree) {
    EXPECT_EQ(create("records-its-calls")->getFormatVersion(), "3");
}
