// If these fail, a plug-in renders into the wrong channels, hears its knobs at the wrong time, or goes
// silent.

#include "vst3-processing/Vst3ProcessingTest.h"

#include "plugin/PluginException.h"
#include "plugin/PluginHostNotifications.h"

#include <algorithm>

using namespace test_support;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

class Vst3BlockTest : public Vst3ProcessingTest {
protected:
    void addChange(int32_t index, float value, uint16_t sampleOffset = 0) {
        context->getRegions().parameterChanges[(*context->getRegions().parameterChangeCount)++] = {
            value, static_cast<uint16_t>(index), sampleOffset};
    }
    std::vector<float**> channelsOf(const std::vector<RecordedBus>& buses) {
        std::vector<float**> channels;
        for (const RecordedBus& bus : buses)
            channels.push_back(bus.channels);
        return channels;
    }
};

using Changes = std::vector<RecordingController::Change>;

} // namespace

TEST_F(Vst3BlockTest, ABlockCarriesItsFramesItsModeAndItsSampleSize) {
    addStereo();
    startProcessing();
    instance->process(17, true, true);
    instance->process(64, true, false);
    EXPECT_EQ(component.blocks[0].frames, 17);
    EXPECT_EQ(component.blocks[0].processMode, Vst::kRealtime);
    EXPECT_EQ(component.blocks[0].sampleSize, Vst::kSample32);
    EXPECT_EQ(component.blocks[1].frames, 64);
    EXPECT_EQ(component.blocks[1].processMode, Vst::kOffline);
    EXPECT_TRUE(component.blocks[0].hasAlignedBuses);
}

TEST_F(Vst3BlockTest, AnInstanceThatDoesNotProcessIsGivenNothing) {
    addStereo();
    controller.addParameter(5);
    startProcessing();
    instance->stopProcessing();
    addChange(0, 0.5F);
    EXPECT_EQ(instance->process(blockSize, true, true), 1);
    EXPECT_THAT(component.blocks, IsEmpty());
    EXPECT_THAT(controller.changes, IsEmpty());
    EXPECT_THAT(component.sampleSizesAsked, IsEmpty());
    instance->startProcessing();
    EXPECT_THAT(process().changes, ElementsAre(RecordedQueue{5, {{0, 0.5}}}));
}

TEST_F(Vst3BlockTest, APluginWithoutAProcessorIsActiveOnlyByItsInput) {
    component.hide(Vst::IAudioProcessor::iid);
    component.tail = 0xFFFFFFFF;
    controller.addParameter(5);
    startProcessing();
    addChange(0, 0.5F);
    EXPECT_EQ(instance->process(blockSize, true, true), 1);
    EXPECT_EQ(instance->process(blockSize, false, true), 0);
    EXPECT_THAT(controller.changes, IsEmpty());
}

TEST_F(Vst3BlockTest, WithoutAnAudioBlockNothingIsRenderedAndThereIsNoTail) {
    addStereo();
    component.tail = 0xFFFFFFFF;
    create();
    instance->startProcessing();
    EXPECT_EQ(instance->process(blockSize, true, true), 1);
    EXPECT_EQ(instance->process(blockSize, false, true), 0);
    EXPECT_THAT(component.blocks, IsEmpty());
}

TEST_F(Vst3BlockTest, TheSampleSizeIsAskedInEveryBlockAndARefusalLeavesTheOutputAsItIs) {
    addStereo();
    component.tail = 100;
    controller.addParameter(5);
    startProcessing();
    component.onProcess = [&](Vst::ProcessData& data) {
        std::fill_n(data.outputs[0].channelBuffers32[0], data.numSamples, 0.5F);
    };
    process();
    component.sampleSizeAnswer = kResultFalse;
    addChange(0, 0.5F);
    EXPECT_EQ(instance->process(blockSize, true, true), 1);
    EXPECT_EQ(instance->process(blockSize, false, true), 2);
    EXPECT_EQ(instance->process(blockSize, false, true), 0);
    EXPECT_THAT(component.blocks, SizeIs(1));
    EXPECT_THAT(controller.changes, IsEmpty());
    EXPECT_EQ(context->outputChannel(0)[63], 0.5F);
    component.sampleSizeAnswer = kResultOk;
    process();
    EXPECT_EQ(component.sampleSizesAsked, std::vector<int32_t>(5, Vst::kSample32));
}

TEST_F(Vst3BlockTest, WhatProcessAnswersIsNotLookedAt) {
    addStereo();
    startProcessing();
    component.processAnswer = kResultFalse;
    EXPECT_EQ(instance->process(blockSize, true, true), 1);
    component.processAnswer = Steinberg::kInternalError;
    EXPECT_EQ(instance->process(blockSize, true, true), 1);
    EXPECT_THAT(component.blocks, SizeIs(2));
}

// Parameters.

TEST_F(Vst3BlockTest, ChangesReachTheirQueuesByIdAndTheControllerInOrder) {
    controller.addParameter(900);
    controller.addParameter(5);
    startProcessing();
    addChange(1, 0.25F, 30);
    addChange(0, 0.5F, 10);
    addChange(1, 0.75F, 20);
    EXPECT_THAT(process().changes,
                ElementsAre(RecordedQueue{5, {{30, 0.25}, {20, 0.75}}}, RecordedQueue{900, {{10, 0.5}}}));
    EXPECT_EQ(controller.changes, (Changes{{5, 0.25}, {900, 0.5}, {5, 0.75}}));
}

TEST_F(Vst3BlockTest, AValueReachesThePluginAsTheFloatItIs) {
    controller.addParameter(5);
    startProcessing();
    addChange(0, 0.1F);
    EXPECT_THAT(process().changes, ElementsAre(RecordedQueue{5, {{0, double{0.1F}}}}));
    EXPECT_EQ(controller.changes, (Changes{{5, double{0.1F}}}));
}

TEST_F(Vst3BlockTest, Of129ChangesOfOneParameter128ReachTheQueueAndAllReachTheController) {
    controller.addParameter(5);
    startProcessing();
    for (int32_t i = 0; i < 129; ++i)
        addChange(0, static_cast<float>(i) / 256, static_cast<uint16_t>(i));
    const RecordedBlock& block = process();
    ASSERT_THAT(block.changes, SizeIs(1));
    ASSERT_THAT(block.changes[0].points, SizeIs(128));
    EXPECT_EQ(block.changes[0].points[127], (RecordedPoint{127, 127.0 / 256}));
    ASSERT_THAT(controller.changes, SizeIs(129));
    EXPECT_EQ(controller.changes[128], (RecordingController::Change{5, 0.5}));
}

TEST_F(Vst3BlockTest, AParameterWhoseRecordCannotBeReadHasNoQueueButItsDisplayIsMarked) {
    controller.addParameter(5);
    startProcessing();
    controller.parameterAnswer = kResultFalse;
    context->getRegions().parameterFlags[0] = parameterWatched;
    addChange(0, 0.5F);
    EXPECT_THAT(process().changes, IsEmpty());
    EXPECT_THAT(controller.changes, IsEmpty());
    EXPECT_EQ(context->getRegions().parameterFlags[0], parameterWatched | parameterDisplayDirty);
}

TEST_F(Vst3BlockTest, EachRecordIsEmptyAsItReachesTheControllerAndOneThatStaysSoIsOfParameterZero) {
    Vst::ParameterInfo& filled = controller.addParameter(5, u"Gain");
    controller.copyText(u"G", filled.shortTitle);
    controller.copyText(u"dB", filled.units);
    filled.stepCount = 3;
    filled.defaultNormalizedValue = 0.5;
    filled.unitId = 1;
    filled.flags = Vst::ParameterInfo::kCanAutomate;
    controller.addParameter(6);
    startProcessing();
    controller.filledRecords = 0;
    controller.unwrittenParameter = 1;
    addChange(0, 0.25F);
    addChange(1, 0.5F);
    addChange(0, 0.75F);
    EXPECT_THAT(process().changes,
                ElementsAre(RecordedQueue{5, {{0, 0.25}, {0, 0.75}}}, RecordedQueue{0, {{0, 0.5}}}));
    EXPECT_EQ(controller.changes, (Changes{{5, 0.25}, {0, 0.5}, {5, 0.75}}));
    EXPECT_EQ(controller.filledRecords, 0);
}

TEST_F(Vst3BlockTest, AChangeOfAParameterThatDoesNotExistIsDropped) {
    controller.addParameter(5);
    startProcessing();
    addChange(1, 0.5F);
    addChange(65535, 0.5F);
    EXPECT_THAT(process().changes, IsEmpty());
    EXPECT_THAT(controller.changes, IsEmpty());
}

TEST_F(Vst3BlockTest, WithoutAControllerChangesAreDroppedAndTheBlockIsRendered) {
    component.controllerClass = FUID();
    addStereo();
    startProcessing();
    addChange(0, 0.5F);
    EXPECT_THAT(process().changes, IsEmpty());
}

TEST_F(Vst3BlockTest, AChangeOfTheParameterInEditReachesTheQueueAndNotTheController) {
    controller.addParameter(5);
    controller.addParameter(6);
    startProcessing();
    instance->beginParameterEdit(0);
    addChange(0, 0.5F);
    addChange(1, 0.75F);
    EXPECT_THAT(process().changes, ElementsAre(RecordedQueue{5, {{0, 0.5}}}, RecordedQueue{6, {{0, 0.75}}}));
    EXPECT_EQ(controller.changes, (Changes{{6, 0.75}}));
}

TEST_F(Vst3BlockTest, CountsOutsideOfTheListAreHeldAtIt) {
    controller.addParameter(5);
    startProcessing();
    *context->getRegions().parameterChangeCount = -1;
    EXPECT_THAT(process().changes, IsEmpty());
    *context->getRegions().parameterChangeCount = INT32_MAX;
    EXPECT_THAT(process().changes[0].points, SizeIs(128));
    EXPECT_THAT(controller.changes, SizeIs(4096));
}

TEST_F(Vst3BlockTest, NoChangeOutlivesItsBlock) {
    controller.addParameter(5);
    addNoteInput();
    startProcessing();
    addChange(0, 0.5F);
    context->addNote(0, 0x90, 60, 100);
    EXPECT_THAT(process().changes, SizeIs(1));
    *context->getRegions().parameterChangeCount = 0;
    *context->getRegions().inputEventCount = 0;
    const RecordedBlock& second = process();
    EXPECT_THAT(second.changes, IsEmpty());
    EXPECT_THAT(*second.inputEvents, IsEmpty());
}

TEST_F(Vst3BlockTest, WhatAPluginChangesByItselfGoesNowhereAndStaysInItsList) {
    controller.addParameter(5);
    startProcessing();
    announce();
    component.onProcess = [](Vst::ProcessData& data) {
        Steinberg::int32 index = 0;
        data.outputParameterChanges->addParameterData(5, index)->addPoint(0, 0.5, index);
    };
    EXPECT_EQ(process().outputChangeCount, 0);
    EXPECT_EQ(process().outputChangeCount, 1);
    EXPECT_EQ(process().outputChangeCount, 1);
    EXPECT_THAT(controller.changes, IsEmpty());
    EXPECT_THAT(handler->notifications, IsEmpty());
}

// Buses.

TEST_F(Vst3BlockTest, BusesTakeTheirChannelsInOrder) {
    component.addBus(Vst::kAudio, Vst::kInput, 2);
    component.addBus(Vst::kAudio, Vst::kInput, 1, Vst::kAux);
    component.addBus(Vst::kAudio, Vst::kOutput, 1);
    component.addBus(Vst::kAudio, Vst::kOutput, 0);
    component.addBus(Vst::kAudio, Vst::kOutput, 3);
    startProcessing();
    float** const in = instance->audio.getInputChannels();
    float** const out = instance->audio.getOutputChannels();
    const RecordedBlock& block = process();
    EXPECT_THAT(block.inputs, ElementsAre(RecordedBus{2, 0, in}, RecordedBus{1, 0, in + 2}));
    EXPECT_THAT(block.outputs,
                ElementsAre(RecordedBus{1, 0, out}, RecordedBus{0, 0, out + 1}, RecordedBus{3, 0, out + 1}));
    EXPECT_EQ(out[3], context->outputChannel(3));
}

TEST_F(Vst3BlockTest, WhatAPluginRendersIsInTheAudioBlock) {
    addStereo();
    startProcessing();
    std::fill_n(context->inputChannel(1), blockSize, 0.25F);
    component.onProcess = [](Vst::ProcessData& data) {
        for (int32_t i = 0; i < data.numSamples; ++i)
            data.outputs[0].channelBuffers32[1][i] = 2 * data.inputs[0].channelBuffers32[1][i];
    };
    process();
    EXPECT_EQ(std::vector<float>(context->outputChannel(1), context->outputChannel(1) + blockSize),
              std::vector<float>(blockSize, 0.5F));
    EXPECT_TRUE(context->areGuardsIntact());
}

TEST_F(Vst3BlockTest, A65thBusIsNotPassedAndItsChannelsStillCount) {
    for (int32_t i = 0; i < 65; ++i) {
        component.addBus(Vst::kAudio, Vst::kInput, 2);
        component.addBus(Vst::kAudio, Vst::kOutput, 1);
    }
    startProcessing();
    EXPECT_EQ(instance->audio.getInputChannelCount(), 130);
    EXPECT_EQ(instance->audio.getOutputChannelCount(), 65);
    const RecordedBlock& block = process();
    ASSERT_THAT(block.inputs, SizeIs(64));
    ASSERT_THAT(block.outputs, SizeIs(64));
    EXPECT_EQ(block.inputs[63], (RecordedBus{2, 0, instance->audio.getInputChannels() + 126}));
    EXPECT_EQ(block.outputs[63], (RecordedBus{1, 0, instance->audio.getOutputChannels() + 63}));
}

TEST_F(Vst3BlockTest, InputsAreSilentWithoutInputAndOutputsNever) {
    for (const int32_t channels : {1, 2, 63, 64, 65, 0}) {
        component.addBus(Vst::kAudio, Vst::kInput, channels);
        component.addBus(Vst::kAudio, Vst::kOutput, channels);
    }
    startProcessing();
    std::vector<uint64_t> flags;
    for (const RecordedBus& bus : process(false).inputs)
        flags.push_back(bus.silenceFlags);
    EXPECT_THAT(flags, ElementsAre(1u, 3u, 0x7FFFFFFFFFFFFFFFu, ~uint64_t{0}, ~uint64_t{0}, 0u));
    for (const RecordedBus& bus : component.blocks[0].outputs)
        EXPECT_EQ(bus.silenceFlags, 0u);
    for (const RecordedBus& bus : process(true).inputs)
        EXPECT_EQ(bus.silenceFlags, 0u);
}

TEST_F(Vst3BlockTest, ChannelsThatAPluginHasGrownSinceAreCutAtTheInstances) {
    addStereo();
    component.addBus(Vst::kAudio, Vst::kOutput, 2);
    startProcessing();
    component.busesOf(Vst::kAudio, Vst::kInput)[0].channelCount = 3;
    component.busesOf(Vst::kAudio, Vst::kOutput)[0].channelCount = 3;
    component.addBus(Vst::kAudio, Vst::kOutput, 2);
    const RecordedBlock& block = process(false);
    float** const out = instance->audio.getOutputChannels();
    EXPECT_THAT(block.inputs, ElementsAre(RecordedBus{2, 3, instance->audio.getInputChannels()}));
    EXPECT_THAT(block.outputs,
                ElementsAre(RecordedBus{3, 0, out}, RecordedBus{1, 0, out + 3}, RecordedBus{0, 0, out + 4}));
}

TEST_F(Vst3BlockTest, ABusThatCannotBeReadThrowsAndTheNextBlockStartsAfresh) {
    addStereo();
    addNoteInput();
    controller.addParameter(5);
    startProcessing();
    component.onGetBusInfo = [](Vst::MediaType, Vst::BusDirection direction, int32_t) -> tresult {
        return direction == Vst::kOutput ? kResultFalse : kResultOk;
    };
    addChange(0, 0.5F);
    context->addNote(0, 0x90, 60, 100);
    try {
        instance->process(blockSize, true, true);
        FAIL() << "no exception";
    } catch (const PluginException& exception) {
        EXPECT_THAT(exception.getMessage().toStdString(),
                    testing::StartsWith("\"Vst3PluginInstance::getBus(...)\" returned error code: 1 "
                                        "(kResultFalse)\n in "));
    }
    EXPECT_THAT(component.blocks, IsEmpty());
    component.onGetBusInfo = nullptr;
    *context->getRegions().parameterChangeCount = 0;
    *context->getRegions().inputEventCount = 0;
    const RecordedBlock& block = process();
    EXPECT_THAT(block.changes, IsEmpty());
    EXPECT_THAT(*block.inputEvents, IsEmpty());
}

// Calls back from the audio thread.

TEST_F(Vst3BlockTest, APluginMayReportEditsAndChangesFromItsBlock) {
    controller.addParameter(900);
    controller.addParameter(5);
    startProcessing();
    announce();
    std::vector<tresult> answers;
    component.onProcess = [&](Vst::ProcessData&) {
        answers = {controller.handler->beginEdit(5), controller.handler->performEdit(5, 0.75),
                   controller.handler->endEdit(5),
                   controller.handler->restartComponent(Vst::kParamValuesChanged)};
    };
    process();
    EXPECT_THAT(answers, ElementsAre(kResultOk, kResultOk, kResultOk, kResultOk));
    ASSERT_THAT(handler->notifications, SizeIs(4));
    const auto* edit = dynamic_cast<UpdateParameterNotification*>(handler->notifications[1].get());
    ASSERT_NE(edit, nullptr);
    EXPECT_EQ(edit->parameterIndex, 1);
    EXPECT_EQ(edit->value, 0.75F);
    EXPECT_NE(dynamic_cast<UpdateAllParametersNotification*>(handler->notifications[3].get()), nullptr);
}
