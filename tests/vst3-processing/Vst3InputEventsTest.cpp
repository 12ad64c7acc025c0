// If these fail, an instrument plays wrong notes or none, its wheels and pedals do nothing, or a note that is
// bent or swelled by itself drags others along.

#include "vst3-processing/Vst3ProcessingTest.h"

#include <vector>

using namespace test_support;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

class Vst3InputEvents : public Vst3ProcessingTest {
protected:
    Vst3InputEvents() { addNoteInput(); }

    /// What comes of one message.
    Vst::Event eventOf(uint8_t status, uint8_t data1, uint8_t data2) {
        clear();
        context->addNote(5, status, data1, data2);
        return onlyEvent();
    }

    /// What comes of one value for a note.
    Vst::Event expressionOf(uint8_t kind, float value, uint16_t channel = 2, uint16_t key = 60) {
        clear();
        context->addEvent(EventKind::noteExpression, 5).noteExpression = {channel, key, value, kind};
        return onlyEvent();
    }
    double volumeOf(float value) { return expressionOf(0, value).noteExpressionValue.value; }

    /// The events that come of `status` with all data at 64.
    size_t countEvents(uint8_t status) {
        clear();
        context->addNote(0, status, 64, 64);
        return process().inputEvents->size();
    }

    /// The changes that come of one message.
    std::vector<RecordedQueue> changesOf(uint8_t status, uint8_t data1, uint8_t data2) {
        clear();
        context->addNote(9, status, data1, data2);
        const RecordedBlock& block = process();
        EXPECT_THAT(*block.inputEvents, IsEmpty());
        return block.changes;
    }

    void clear() { *context->getRegions().inputEventCount = 0; }

private:
    Vst::Event onlyEvent() {
        const RecordedBlock& block = process();
        EXPECT_THAT(*block.inputEvents, SizeIs(1));
        EXPECT_THAT(block.changes, IsEmpty());
        const Vst::Event event = block.inputEvents->at(0);
        EXPECT_EQ(event.busIndex, 0);
        EXPECT_EQ(event.sampleOffset, 5);
        EXPECT_EQ(event.flags, 0);
        return event;
    }
};

constexpr float perStep = 1.0F / 127.0F;

} // namespace

TEST_F(Vst3InputEvents, ListsArePassedOnlyForTheDirectionsThatHaveNoteBuses) {
    startProcessing();
    EXPECT_TRUE(process().inputEvents.has_value());
    EXPECT_FALSE(process().outputEventCount.has_value());
    component.busesOf(Vst::kEvent, Vst::kInput).clear();
    addNoteOutput();
    context->addNote(0, 0x90, 60, 100);
    EXPECT_FALSE(process().inputEvents.has_value());
    EXPECT_EQ(process().outputEventCount, 0);
}

TEST_F(Vst3InputEvents, EventsStayInOrderAndCarryTheirPlaces) {
    startProcessing();
    context->addNote(40, 0x90, 60, 100);
    context->getRegions().inputEvents[0].position = 1.75;
    context->addNote(3, 0x80, 60, 0);
    context->getRegions().inputEvents[1].position = -2.5;
    const std::vector<Vst::Event> events = *process().inputEvents;
    ASSERT_THAT(events, SizeIs(2));
    EXPECT_EQ(events[0].sampleOffset, 40);
    EXPECT_EQ(events[0].ppqPosition, 1.75);
    EXPECT_EQ(events[1].sampleOffset, 3);
    EXPECT_EQ(events[1].ppqPosition, -2.5);
}

TEST_F(Vst3InputEvents, CountsOutsideOfTheListAreHeldAtIt) {
    startProcessing();
    *context->getRegions().inputEventCount = -1;
    EXPECT_THAT(*process().inputEvents, IsEmpty());
    for (int32_t i = 0; i < 256; ++i)
        context->getRegions().inputEvents[i].midi[0] = 0x90;
    *context->getRegions().inputEventCount = INT32_MAX;
    EXPECT_THAT(*process().inputEvents, SizeIs(256));
}

TEST_F(Vst3InputEvents, ANoteOnAndItsNoteOffAgreeOnTheNote) {
    startProcessing();
    const Vst::Event on = eventOf(0x92, 60, 100);
    EXPECT_EQ(on.type, Vst::Event::kNoteOnEvent);
    EXPECT_EQ(on.noteOn.channel, 2);
    EXPECT_EQ(on.noteOn.pitch, 60);
    EXPECT_EQ(on.noteOn.tuning, 0);
    EXPECT_EQ(on.noteOn.velocity, 100 * perStep);
    EXPECT_EQ(on.noteOn.length, -1);
    EXPECT_EQ(on.noteOn.noteId, 572);
    const Vst::Event off = eventOf(0x82, 60, 64);
    EXPECT_EQ(off.type, Vst::Event::kNoteOffEvent);
    EXPECT_EQ(off.noteOff.channel, 2);
    EXPECT_EQ(off.noteOff.pitch, 60);
    EXPECT_EQ(off.noteOff.velocity, 64 * perStep);
    EXPECT_EQ(off.noteOff.noteId, 572);
    EXPECT_EQ(off.noteOff.tuning, 0);
}

TEST_F(Vst3InputEvents, TheHighestChannelPitchAndVelocityComeThrough) {
    startProcessing();
    const Vst::Event on = eventOf(0x9F, 127, 127);
    EXPECT_EQ(on.noteOn.channel, 15);
    EXPECT_EQ(on.noteOn.pitch, 127);
    EXPECT_EQ(on.noteOn.velocity, 1.0F);
    EXPECT_EQ(on.noteOn.noteId, 15 * 256 + 127);
}

TEST_F(Vst3InputEvents, ANoteOnOfVelocityZeroStaysANoteOn) {
    startProcessing();
    const Vst::Event on = eventOf(0x90, 60, 0);
    EXPECT_EQ(on.type, Vst::Event::kNoteOnEvent);
    EXPECT_EQ(on.noteOn.velocity, 0.0F);
}

TEST_F(Vst3InputEvents, PressureOnAKeyIsOfItsNote) {
    startProcessing();
    const Vst::Event pressure = eventOf(0xA3, 61, 32);
    EXPECT_EQ(pressure.type, Vst::Event::kPolyPressureEvent);
    EXPECT_EQ(pressure.polyPressure.channel, 3);
    EXPECT_EQ(pressure.polyPressure.pitch, 61);
    EXPECT_EQ(pressure.polyPressure.pressure, 32 * perStep);
    EXPECT_EQ(pressure.polyPressure.noteId, 3 * 256 + 61);
}

TEST_F(Vst3InputEvents, APressureHasSevenBits) {
    startProcessing();
    EXPECT_EQ(eventOf(0xA0, 61, 0xFF).polyPressure.pressure, 1.0F);
    EXPECT_EQ(eventOf(0xA0, 61, 0x80).polyPressure.pressure, 0.0F);
}

TEST_F(Vst3InputEvents, AVelocityHasSevenBits) {
    startProcessing();
    EXPECT_EQ(eventOf(0x90, 60, 0xE4).noteOn.velocity, 100 * perStep);
    EXPECT_EQ(eventOf(0x80, 60, 0xC0).noteOff.velocity, 64 * perStep);
}

TEST_F(Vst3InputEvents, APitchHasSevenBits) {
    startProcessing();
    EXPECT_EQ(eventOf(0x92, 0xBC, 100).noteOn.pitch, 60);
    EXPECT_EQ(eventOf(0x92, 0xBC, 100).noteOn.noteId, 572);
    EXPECT_EQ(eventOf(0x82, 0xBC, 64).noteOff.pitch, 60);
    EXPECT_EQ(eventOf(0x82, 0xBC, 64).noteOff.noteId, 572);
    EXPECT_EQ(eventOf(0xA2, 0xBC, 64).polyPressure.pitch, 60);
    EXPECT_EQ(eventOf(0xA2, 0xBC, 64).polyPressure.noteId, 572);
}

TEST_F(Vst3InputEvents, MessagesWithoutAMeaningAreDropped) {
    startProcessing();
    for (const uint8_t status : std::vector<uint8_t>{0x00, 0x10, 0x7F, 0xC0, 0xF0, 0xF8, 0xFF})
        EXPECT_EQ(countEvents(status), 0u) << int{status};
    EXPECT_EQ(countEvents(0x90), 1u);
}

TEST_F(Vst3InputEvents, RecordsOfAnUnknownKindAreDropped) {
    startProcessing();
    for (const int16_t kind : std::vector<int16_t>{3, -1, 256}) {
        clear();
        context->addNote(0, 0x90, 60, 100);
        context->getRegions().inputEvents[0].kind = static_cast<EventKind>(kind);
        EXPECT_THAT(*process().inputEvents, IsEmpty()) << kind;
    }
}

// Controllers.

TEST_F(Vst3InputEvents, AControllerBecomesAPointOfItsParameter) {
    controller.mapping[{4, 7}] = 900;
    startProcessing();
    EXPECT_THAT(changesOf(0xB4, 7, 100), ElementsAre(RecordedQueue{900, {{9, 100 * perStep}}}));
    EXPECT_THAT(changesOf(0xB4, 7, 127), ElementsAre(RecordedQueue{900, {{9, 1.0}}}));
    EXPECT_THAT(changesOf(0xB4, 7, 0), ElementsAre(RecordedQueue{900, {{9, 0.0}}}));
}

TEST_F(Vst3InputEvents, AControllersNumberHasSevenBits) {
    controller.mapping[{0, 7}] = 900;
    startProcessing();
    EXPECT_THAT(changesOf(0xB0, 0x87, 127), ElementsAre(RecordedQueue{900, {{9, 1.0}}}));
}

TEST_F(Vst3InputEvents, AControllersValueHasSevenBits) {
    controller.mapping[{0, 7}] = 900;
    startProcessing();
    EXPECT_THAT(changesOf(0xB0, 7, 0xFF), ElementsAre(RecordedQueue{900, {{9, 1.0}}}));
    EXPECT_THAT(changesOf(0xB0, 7, 0x80), ElementsAre(RecordedQueue{900, {{9, 0.0}}}));
}

TEST_F(Vst3InputEvents, TheValueOfAftertouchHasSevenBits) {
    controller.mapping[{0, 128}] = 900;
    startProcessing();
    EXPECT_THAT(changesOf(0xD0, 0xFF, 0), ElementsAre(RecordedQueue{900, {{9, 1.0}}}));
    EXPECT_THAT(changesOf(0xD0, 0xC0, 0), ElementsAre(RecordedQueue{900, {{9, 64 * perStep}}}));
}

TEST_F(Vst3InputEvents, AftertouchIsController128AndItsValueTheFirstByte) {
    controller.mapping[{1, 128}] = 900;
    startProcessing();
    EXPECT_THAT(changesOf(0xD1, 64, 127), ElementsAre(RecordedQueue{900, {{9, 64 * perStep}}}));
}

TEST_F(Vst3InputEvents, PitchBendIsController129With14Bits) {
    controller.mapping[{15, 129}] = 900;
    startProcessing();
    constexpr float perBend = 1.0F / 16383.0F;
    EXPECT_THAT(changesOf(0xEF, 0, 64), ElementsAre(RecordedQueue{900, {{9, 8192 * perBend}}}));
    EXPECT_THAT(changesOf(0xEF, 5, 3), ElementsAre(RecordedQueue{900, {{9, (3 * 128 + 5) * perBend}}}));
    EXPECT_THAT(changesOf(0xEF, 0x80, 0x80), ElementsAre(RecordedQueue{900, {{9, 0.0}}}));
    EXPECT_THAT(changesOf(0xEF, 0xFF, 0xFF), ElementsAre(RecordedQueue{900, {{9, 16383 * perBend}}}));
}

TEST_F(Vst3InputEvents, AControllersPointFollowsTheClientsOwnChangesOfTheParameter) {
    controller.addParameter(900);
    controller.mapping[{0, 7}] = 900;
    startProcessing();
    context->addParameterChange(0, 0.5F);
    EXPECT_THAT(changesOf(0xB0, 7, 127), ElementsAre(RecordedQueue{900, {{0, 0.5}, {9, 1.0}}}));
}

TEST_F(Vst3InputEvents, TheControllerAndTheClientDoNotHearOfAControllersValue) {
    controller.addParameter(900);
    controller.mapping[{0, 7}] = 900;
    startProcessing();
    announce();
    context->getRegions().parameterFlags[0] = parameterWatched;
    EXPECT_THAT(changesOf(0xB0, 7, 127), SizeIs(1));
    EXPECT_THAT(controller.changes, IsEmpty());
    EXPECT_THAT(handler->notifications, IsEmpty());
    EXPECT_EQ(context->getRegions().parameterFlags[0], parameterWatched);
}

TEST_F(Vst3InputEvents, AControllerThatIsNotAssignedIsDropped) {
    controller.mapping[{1, 7}] = 900;
    startProcessing();
    EXPECT_THAT(changesOf(0xB0, 7, 100), IsEmpty()) << "another channel";
    EXPECT_THAT(changesOf(0xB1, 8, 100), IsEmpty()) << "another controller";
    EXPECT_THAT(changesOf(0xD1, 100, 0), IsEmpty());
    EXPECT_THAT(changesOf(0xE1, 0, 100), IsEmpty());
}

TEST_F(Vst3InputEvents, WithoutAMidiMappingControllersAreDropped) {
    controller.hide(Vst::IMidiMapping::iid);
    controller.mapping[{0, 7}] = 900;
    startProcessing();
    EXPECT_THAT(changesOf(0xB0, 7, 100), IsEmpty());
    EXPECT_THAT(changesOf(0xD0, 100, 0), IsEmpty());
    EXPECT_THAT(changesOf(0xE0, 0, 100), IsEmpty());
}

TEST_F(Vst3InputEvents, AControllersPointsEndAt128) {
    controller.mapping[{0, 7}] = 900;
    startProcessing();
    for (int32_t i = 0; i < 200; ++i)
        context->addNote(i, 0xB0, 7, 64);
    EXPECT_THAT(process().changes[0].points, SizeIs(128));
}

TEST_F(Vst3InputEvents, AProgramChangeHasNoEffect) {
    Vst::ParameterInfo& program = controller.addParameter(900);
    program.flags = Vst::ParameterInfo::kIsProgramChange | Vst::ParameterInfo::kCanAutomate;
    program.stepCount = 127;
    startProcessing();
    EXPECT_THAT(changesOf(0xC0, 5, 0), IsEmpty());
    EXPECT_THAT(changesOf(0xC0, 0, 0), IsEmpty());
    EXPECT_THAT(controller.changes, IsEmpty());
    EXPECT_THAT(calls, IsEmpty());
    EXPECT_EQ(instance->getCurrentProgram(), -1);
}

// System exclusive.

TEST_F(Vst3InputEvents, SystemExclusiveBytesLieInTheAudioBlockItself) {
    startProcessing();
    context->addSystemExclusive(5, {0xF0, 0x43, 0x12, 0xF7});
    context->addSystemExclusive(6, std::vector<uint8_t>(16, 0xAB));
    context->addSystemExclusive(7, {});
    const RecordedBlock& block = process();
    ASSERT_THAT(*block.inputEvents, SizeIs(3));
    for (size_t i = 0; i < 3; ++i) {
        const Vst::Event& event = block.inputEvents->at(i);
        EXPECT_EQ(event.type, Vst::Event::kDataEvent);
        EXPECT_EQ(event.sampleOffset, static_cast<int32_t>(5 + i));
        EXPECT_EQ(event.data.type, 0u);
        EXPECT_EQ(event.data.bytes, context->getRegions().inputEvents[i].systemExclusive);
    }
    EXPECT_THAT(block.systemExclusive, ElementsAre("\xF0\x43\x12\xF7", std::string(16, '\xAB'), ""));
}

TEST_F(Vst3InputEvents, AMessageIsNeverLongerThanItsRecordHolds) {
    startProcessing();
    context->addSystemExclusive(0, std::vector<uint8_t>(16, 0xAB));
    context->getRegions().inputEvents[0].systemExclusiveSize = 255;
    EXPECT_EQ(process().inputEvents->at(0).data.size, 16u);
}

// Values of single notes.

TEST_F(Vst3InputEvents, PanTuningAndBrightnessAreMappedToTheirRanges) {
    startProcessing();
    struct Row {
        uint8_t kind;
        float value;
        uint32_t typeId;
        double expected;
    };
    for (const Row& row : {Row{1, -1.0F, 1, 0.0}, Row{1, 0.0F, 1, 0.5}, Row{1, 1.0F, 1, 1.0},
                           Row{1, 0.3F, 1, (double{0.3F} + 1.0) * 0.5}, Row{2, 0.0F, 2, 0.5},
                           Row{2, 12.0F, 2, double{12.0F * (1.0F / 240.0F)} + 0.5},
                           Row{2, -7.3F, 2, double{-7.3F * (1.0F / 240.0F)} + 0.5}, Row{3, 0.3F, 5, 0.3F},
                           Row{3, 1.5F, 5, 1.5}}) {
        const Vst::Event event = expressionOf(row.kind, row.value);
        EXPECT_EQ(event.type, Vst::Event::kNoteExpressionValueEvent);
        EXPECT_EQ(event.noteExpressionValue.typeId, row.typeId);
        EXPECT_EQ(event.noteExpressionValue.noteId, 572);
        EXPECT_EQ(event.noteExpressionValue.value, row.expected) << int{row.kind} << " " << row.value;
    }
}

TEST_F(Vst3InputEvents, PressureOfANoteBecomesPressureOnItsKey) {
    startProcessing();
    const Vst::Event event = expressionOf(4, 0.3F, 3, 61);
    EXPECT_EQ(event.type, Vst::Event::kPolyPressureEvent);
    EXPECT_EQ(event.polyPressure.channel, 3);
    EXPECT_EQ(event.polyPressure.pitch, 61);
    EXPECT_EQ(event.polyPressure.pressure, 0.3F);
    EXPECT_EQ(event.polyPressure.noteId, 3 * 256 + 61);
}

TEST_F(Vst3InputEvents, ValuesOfAnUnknownKindAreDropped) {
    startProcessing();
    for (const uint8_t kind : std::vector<uint8_t>{5, 6, 255})
        context->addEvent(EventKind::noteExpression, 0).noteExpression = {0, 60, 0.5F, kind};
    EXPECT_THAT(*process().inputEvents, IsEmpty());
}

TEST_F(Vst3InputEvents, VolumeIsMappedAroundTheDefaultOfThePluginsRange) {
    controller.addNoteExpression(Vst::kPanTypeID, 0, 0.75, 1);
    controller.addNoteExpression(Vst::kVolumeTypeID, 0.125, 0.5, 0.75);
    controller.addNoteExpression(Vst::kVolumeTypeID, 0, 1, 1);
    startProcessing();
    const Vst::Event event = expressionOf(0, 1.0F);
    EXPECT_EQ(event.type, Vst::Event::kNoteExpressionValueEvent);
    EXPECT_EQ(event.noteExpressionValue.typeId, 0u);
    EXPECT_EQ(event.noteExpressionValue.noteId, 572);
    EXPECT_EQ(volumeOf(1.0F), 0.5);
    EXPECT_EQ(volumeOf(1.5F), 0.625);
    EXPECT_EQ(volumeOf(2.0F), 0.75);
    EXPECT_EQ(volumeOf(3.0F), 1.0) << "not held at the range's end";
    EXPECT_EQ(volumeOf(0.5F), 0.3125);
    EXPECT_EQ(volumeOf(0.0F), 0.125);
}

TEST_F(Vst3InputEvents, ARangeThatCannotBeReadIsPassedOver) {
    controller.addNoteExpression(Vst::kVolumeTypeID, 0, 1, 1);
    controller.addNoteExpression(Vst::kVolumeTypeID, 0, 0.5, 1);
    controller.refusedNoteExpression = 0;
    startProcessing();
    EXPECT_EQ(volumeOf(1.0F), 0.5);
}

TEST_F(Vst3InputEvents, WithoutARangeVolumeIsACubicCurve) {
    startProcessing();
    EXPECT_EQ(volumeOf(1.0F), 0.25);
    EXPECT_EQ(volumeOf(0.5F), 0.03125);
    EXPECT_EQ(volumeOf(1.25F), 0.48828125);
    EXPECT_EQ(volumeOf(0.0F), 0.0);
    EXPECT_EQ(volumeOf(2.0F), 1.0) << "held from above";
    EXPECT_EQ(volumeOf(100.0F), 1.0);
}

TEST_F(Vst3InputEvents, APluginWithOtherRangesOrWithoutNoteExpressionHasTheCubicCurve) {
    controller.addNoteExpression(Vst::kPanTypeID, 0, 0.75, 1);
    startProcessing();
    EXPECT_EQ(volumeOf(1.0F), 0.25);
    controller.noteExpressions.clear();
    EXPECT_EQ(volumeOf(1.0F), 0.25);
}

TEST_F(Vst3InputEvents, APluginWithoutANoteExpressionControllerHasTheCubicCurve) {
    controller.addNoteExpression(Vst::kVolumeTypeID, 0, 1, 1);
    controller.hide(Vst::INoteExpressionController::iid);
    startProcessing();
    EXPECT_EQ(volumeOf(1.0F), 0.25);
}
