// If these fail, plug-ins are stopped and taken down in another order than they have always met, which some
// of them don't survive, or a call of a plug-in's own thread meets an instance that is gone.

#include "support/CapturedOutput.h"
#include "support/Eventually.h"
#include "vst3/Vst3SetUp.h"

#include <atomic>
#include <latch>
#include <pluginterfaces/vst/ivsthostapplication.h>
#include <string>
#include <thread>
#include <unistd.h>

using namespace test_support;
using testing::ElementsAre;
using testing::IsEmpty;

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
