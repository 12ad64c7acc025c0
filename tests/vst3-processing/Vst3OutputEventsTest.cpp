// If these fail, the notes that an arpeggiator makes are lost, or come out on the wrong key or at the wrong
// time.

#include "vst3-processing/Vst3ProcessingTest.h"

using testing::ElementsAre;
using testing::SizeIs;

namespace {

using Bytes = std::vector<uint8_t>;

class Vst3OutputEvents : public Vst3ProcessingTest {
protected:
    Vst3OutputEvents() {
        addNoteOutput();
        component.onProcess = [this](Vst::ProcessData& data) {
            for (Vst::Event& event : events)
                data.outputEvents->addEvent(event);
        };
    }

    Vst::Event& addEvent(uint16_t type, int32_t sampleOffset = 0) {
        Vst::Event event;
        std::memset(&event, 0, sizeof event);
        event.type = type;
        event.sampleOffset = sampleOffset;
        return events.emplace_back(event);
    }

    Vst::Event& addNoteOn(int16_t pitch, float velocity, int32_t sampleOffset = 0) {
        Vst::Event& event = addEvent(Vst::Event::kNoteOnEvent, sampleOffset);
        event.noteOn = {3, pitch, 0, velocity, -1, 99};
        return event;
    }

    /// Renders a block into records of 0xEE.
    void render() {
        std::memset(context->getRegions().outputEvents, 0xEE, sizeof(EventRecord) * 256);
        *context->getRegions().outputEventCount = 0;
        instance->process(blockSize, true, true);
    }

    Bytes recordAt(int32_t index) {
        Bytes bytes(sizeof(EventRecord));
        std::memcpy(bytes.data(), context->getRegions().outputEvents + index, bytes.size());
        return bytes;
    }

    /// A record as it is expected, where whatever isn't written stays 0xEE.
    static Bytes record(uint16_t sampleOffset, uint8_t status, uint8_t data1, uint8_t data2) {
        Bytes bytes(29, 0xEE);
        bytes[0] = bytes[1] = 0;
        bytes[2] = static_cast<uint8_t>(sampleOffset);
        bytes[3] = static_cast<uint8_t>(sampleOffset >> 8);
        bytes[12] = status;
        bytes[13] = data1;
        bytes[14] = data2;
        bytes[15] = 0;
        return bytes;
    }

    std::vector<uint16_t> offsets() const {
        std::vector<uint16_t> all;
        for (int32_t i = 0; i < *context->getRegions().outputEventCount; ++i)
            all.push_back(uint16_t{context->getRegions().outputEvents[i].sampleOffset}); // Unaligned.
        return all;
    }

    std::vector<Vst::Event> events;
};

} // namespace

TEST_F(Vst3OutputEvents, NotesAndPressureComeOutWithoutTheirChannelAndTheirScale) {
    addNoteOn(60, 100.9F, 7);
    addEvent(Vst::Event::kNoteOffEvent, 8).noteOff = {3, 61, 64.5F, 99, 0};
    addEvent(Vst::Event::kPolyPressureEvent, 9).polyPressure = {3, 62, 32.0F, 99};
    startProcessing();
    render();
    EXPECT_EQ(*context->getRegions().outputEventCount, 3);
    EXPECT_EQ(recordAt(0), record(7, 0x90, 60, 100));
    EXPECT_EQ(recordAt(1), record(8, 0x80, 61, 64));
    EXPECT_EQ(recordAt(2), record(9, 0xA0, 62, 32));
    EXPECT_EQ(recordAt(3), Bytes(29, 0xEE));
    EXPECT_TRUE(context->areGuardsIntact());
}

TEST_F(Vst3OutputEvents, AVelocityIsTruncatedAndNotScaled) {
    for (const float velocity : {0.0F, 0.5F, 0.999F, 1.0F, 1.999F})
        addNoteOn(60, velocity);
    startProcessing();
    render();
    Bytes velocities;
    for (int32_t i = 0; i < *context->getRegions().outputEventCount; ++i)
        velocities.push_back(context->getRegions().outputEvents[i].midi[2]);
    EXPECT_EQ(velocities, (Bytes{0, 0, 0, 1, 1}));
}

TEST_F(Vst3OutputEvents, OtherEventsAreSkippedWithoutARecord) {
    addEvent(Vst::Event::kDataEvent);
    addEvent(Vst::Event::kNoteExpressionValueEvent);
    addNoteOn(60, 1);
    addEvent(Vst::Event::kNoteExpressionTextEvent);
    addEvent(Vst::Event::kChordEvent);
    addEvent(Vst::Event::kScaleEvent);
    addEvent(Vst::Event::kLegacyMIDICCOutEvent);
    addEvent(8);
    addNoteOn(61, 1);
    startProcessing();
    render();
    EXPECT_EQ(*context->getRegions().outputEventCount, 2);
    EXPECT_EQ(recordAt(0), record(0, 0x90, 60, 1));
    EXPECT_EQ(recordAt(1), record(0, 0x90, 61, 1));
    EXPECT_EQ(recordAt(2), Bytes(29, 0xEE));
}

TEST_F(Vst3OutputEvents, SampleOffsetsAreHeldInTheHostsBlockAndNotInTheFramesOfTheCall) {
    for (const int32_t offset : {-3, INT32_MIN, 0, 40, 63, 64, 100000, INT32_MAX})
        addNoteOn(60, 1, offset);
    startProcessing();
    instance->process(16, true, true);
    EXPECT_THAT(offsets(), ElementsAre(0, 0, 0, 40, 63, 63, 63, 63));
}

TEST_F(Vst3OutputEvents, AFullListEndsTheWalkAndTheRestIsLost) {
    for (int32_t i = 0; i < 300; ++i)
        addNoteOn(static_cast<int16_t>(i % 128), 1);
    startProcessing();
    render();
    EXPECT_EQ(*context->getRegions().outputEventCount, 256);
    EXPECT_EQ(recordAt(255), record(0, 0x90, 127, 1));
    EXPECT_TRUE(context->areGuardsIntact());
}

TEST_F(Vst3OutputEvents, EventsThatAreSkippedTakeNoPlaceInAFullList) {
    for (int32_t i = 0; i < 300; ++i)
        addEvent(Vst::Event::kDataEvent);
    addNoteOn(60, 1);
    startProcessing();
    render();
    EXPECT_EQ(*context->getRegions().outputEventCount, 1);
}

TEST_F(Vst3OutputEvents, TheCountIsRaisedFromWhereItStands) {
    addNoteOn(60, 1);
    startProcessing();
    *context->getRegions().outputEventCount = 3;
    instance->process(blockSize, true, true);
    EXPECT_EQ(*context->getRegions().outputEventCount, 4);
    EXPECT_EQ(context->getRegions().outputEvents[3].midi[1], 60);
    *context->getRegions().outputEventCount = 256;
    instance->process(blockSize, true, true);
    EXPECT_EQ(*context->getRegions().outputEventCount, 256);
    *context->getRegions().outputEventCount = -1;
    instance->process(blockSize, true, true);
    EXPECT_EQ(*context->getRegions().outputEventCount, -1)
        << "a count from outside never leads out of the list";
    EXPECT_TRUE(context->areGuardsIntact());
}

TEST_F(Vst3OutputEvents, NothingComesOutOfABlockThatIsNotRendered) {
    addNoteOn(60, 1);
    startProcessing();
    instance->stopProcessing();
    render();
    EXPECT_EQ(*context->getRegions().outputEventCount, 0);
    instance->startProcessing();
    render();
    render();
    EXPECT_EQ(*context->getRegions().outputEventCount, 1) << "each block's list starts empty";
}
