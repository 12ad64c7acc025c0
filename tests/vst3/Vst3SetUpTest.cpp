// If these fail, plug-ins are brought up in another order than they have always met, which some of them don't
// survive, or a plug-in that can't come up isn't told from one that can.

#include "vst3/Vst3SetUp.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

namespace {

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
