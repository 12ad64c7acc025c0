// If these fail, notes get lost, sound at the wrong time, or hang.

#include "vst2/Vst2Fixture.h"

#include <numeric>

using namespace test_support;

namespace {

class Vst2Events : public Vst2Test {
protected:
    Vst2Events() {
        effect.answerCanDo("receiveVstMidiEvent", 1);
        effect.answer(effProcessEvents, [&](const DispatcherCall& call, void* ptr) -> VstIntPtr {
            EXPECT_EQ(call, (DispatcherCall{.opcode = effProcessEvents}));
            const auto& list = *static_cast<const VstEvents*>(ptr);
            EXPECT_EQ(list.reserved, 0);
            VstEvent* const* const pointers = list.events;
            received.assign(pointers, pointers + list.numEvents);
            ++lists;
            return 1;
        });
    }

    void run() { instance->process(16, true, true); }

    // The events that the effect sends from within `process`.
    void sendWhileProcessing(const std::vector<VstMidiEvent>& events) {
        effect.onProcess = [this, events](float**, float**, VstInt32) { EXPECT_EQ(send(events), 1); };
    }

    VstIntPtr send(std::vector<VstMidiEvent> events) {
        std::vector<uint8_t> list(offsetof(VstEvents, events) + events.size() * sizeof(VstEvent*));
        auto& head = *reinterpret_cast<VstEvents*>(list.data());
        head.numEvents = static_cast<VstInt32>(events.size());
        VstEvent** const pointers = head.events;
        for (size_t i = 0; i < events.size(); ++i)
            pointers[i] = reinterpret_cast<VstEvent*>(&events[i]);
        return ask(audioMasterProcessEvents, 0, 0, list.data());
    }

    static VstMidiEvent note(VstInt32 deltaFrames, char status, char data1, char data2) {
        VstMidiEvent event{};
        event.type = kVstMidiType;
        event.byteSize = sizeof event;
        event.deltaFrames = deltaFrames;
        event.midiData[0] = status;
        event.midiData[1] = data1;
        event.midiData[2] = data2;
        event.midiData[3] = 99;
        return event;
    }

    const uint8_t* outputRecord(size_t index) {
        return reinterpret_cast<const uint8_t*>(context->getRegions().outputEvents) + index * 29;
    }

    // As long as `process` runs.
    std::vector<const VstEvent*> received;
    int32_t lists = 0;
};

std::vector<uint8_t> bytesOf(const void* memory, size_t size) {
    const auto* bytes = static_cast<const uint8_t*>(memory);
    return {bytes, bytes + size};
}

using Bytes = std::vector<uint8_t>;

} // namespace

TEST_F(Vst2Events, ANoteHasTheseThirtyTwoBytes) {
    makeAudio();
    startProcessing();
    context->addNote(5, 0x91, 0x3C, 0x7F);
    run();
    ASSERT_EQ(received.size(), 1u);
    EXPECT_EQ(bytesOf(received[0], 32), (Bytes{
                                            1,    0,    0,    0, // type
                                            32,   0,    0,    0, // byteSize
                                            5,    0,    0,    0, // deltaFrames
                                            0,    0,    0,    0, // flags
                                            0,    0,    0,    0, // noteLength
                                            0,    0,    0,    0, // noteOffset
                                            0x91, 0x3C, 0x7F, 0, // midiData
                                            0,    0,    0,    0, // the rest
                                        }));
}

TEST_F(Vst2Events, ANotesFourthByteAndPositionStayInTheBlock) {
    makeAudio();
    startProcessing();
    context->addNote(0, 0x90, 1, 2);
    context->getRegions().inputEvents[0].midi[3] = 0xEE;
    context->getRegions().inputEvents[0].position = 17.5;
    run();
    ASSERT_EQ(received.size(), 1u);
    EXPECT_EQ(bytesOf(reinterpret_cast<const VstMidiEvent*>(received[0])->midiData, 4),
              (Bytes{0x90, 1, 2, 0}));
}

TEST_F(Vst2Events, EventsKeepTheirOrder) {
    makeAudio();
    startProcessing();
    for (const int32_t offset : {9, 3, 3, 0})
        context->addNote(offset, 0x90, 1, 2);
    run();
    std::vector<VstInt32> offsets;
    for (const VstEvent* event : received)
        offsets.push_back(event->deltaFrames);
    EXPECT_EQ(offsets, (std::vector<VstInt32>{9, 3, 3, 0}));
    EXPECT_EQ(lists, 1);
}

TEST_F(Vst2Events, AnOffsetAboveTheBlockIsPassedOnUnchanged) {
    makeAudio();
    startProcessing();
    context->addNote(64, 0x90, 1, 2);
    context->addNote(65535, 0x90, 1, 2);
    run();
    ASSERT_EQ(received.size(), 2u);
    EXPECT_EQ(received[0]->deltaFrames, 64);
    EXPECT_EQ(received[1]->deltaFrames, 65535);
}

TEST_F(Vst2Events, SystemExclusivePointsIntoTheRecordItself) {
    effect.answerCanDo("receiveVstSysexEvent", 1);
    makeAudio();
    startProcessing();
    context->addNote(0, 0x90, 1, 2);
    context->addSystemExclusive(7, {0xF0, 0x7E, 0x7F, 0x06, 0x01, 0xF7});
    run();
    ASSERT_EQ(received.size(), 2u);
    const auto& event = *reinterpret_cast<const VstMidiSysexEvent*>(received[1]);
    EXPECT_EQ(event.type, 6);
    EXPECT_EQ(event.byteSize, 32);
    EXPECT_EQ(event.deltaFrames, 7);
    EXPECT_EQ(event.flags, 0);
    EXPECT_EQ(event.dumpBytes, 6);
    EXPECT_EQ(event.resvd1, 0);
    EXPECT_EQ(event.resvd2, 0);
    EXPECT_EQ(static_cast<void*>(event.sysexDump),
              reinterpret_cast<uint8_t*>(context->getRegions().inputEvents) + 29 + 12);
}

TEST_F(Vst2Events, SystemExclusiveNeverClaimsMoreThanARecordHolds) {
    effect.answerCanDo("receiveVstSysexEvent", 1);
    makeAudio();
    startProcessing();
    context->addSystemExclusive(0, Bytes(16, 1));
    context->getRegions().inputEvents[0].systemExclusiveSize = 255;
    run();
    ASSERT_EQ(received.size(), 1u);
    EXPECT_EQ(reinterpret_cast<const VstMidiSysexEvent*>(received[0])->dumpBytes, 16);
}

TEST_F(Vst2Events, SystemExclusiveIsPassedOverForAPluginThatDoesNotTakeIt) {
    makeAudio();
    startProcessing();
    context->addSystemExclusive(0, {0xF0, 0xF7});
    context->addNote(3, 0x90, 1, 2);
    run();
    ASSERT_EQ(received.size(), 1u);
    EXPECT_EQ(received[0]->type, 1);
    EXPECT_EQ(received[0]->deltaFrames, 3);
}

TEST_F(Vst2Events, UnknownKindsArePassedOver) {
    effect.answerCanDo("receiveVstSysexEvent", 1);
    makeAudio();
    startProcessing();
    for (const int kind : {2, 3, -1, 0x0100, 0x7FFF})
        context->addEvent(static_cast<EventKind>(kind), 1);
    context->addNote(3, 0x90, 1, 2);
    run();
    ASSERT_EQ(received.size(), 1u);
    EXPECT_EQ(received[0]->deltaFrames, 3);
}

TEST_F(Vst2Events, ABlockOfUnknownKindsAloneIsAnEmptyList) {
    makeAudio();
    startProcessing();
    context->addEvent(EventKind::noteExpression, 1);
    run();
    EXPECT_EQ(lists, 1);
    EXPECT_TRUE(received.empty());
}

TEST_F(Vst2Events, ABlockWithoutEventsCallsNothing) {
    makeAudio();
    startProcessing();
    run();
    *context->getRegions().inputEventCount = -1;
    run();
    EXPECT_EQ(lists, 0);
    EXPECT_EQ(effect.steps, (std::vector<std::string>{"processReplacing", "processReplacing"}));
}

TEST_F(Vst2Events, AnEffectThatTakesNoNotesGetsNone) {
    effect.answerCanDo("receiveVstMidiEvent", 0);
    makeAudio();
    startProcessing();
    context->addNote(3, 0x90, 1, 2);
    run();
    EXPECT_EQ(lists, 0);
}

TEST_F(Vst2Events, AnInstrumentGetsNotesWhateverItSaysOfMidi) {
    effect.answerCanDo("receiveVstMidiEvent", -1);
    effect.effect.flags |= effFlagsIsSynth;
    makeAudio();
    startProcessing();
    context->addNote(3, 0x90, 1, 2);
    run();
    EXPECT_EQ(received.size(), 1u);
}

TEST_F(Vst2Events, OfTwoHundredAndFiftySevenNotesTheFirst256AreDelivered) {
    makeAudio(257);
    startProcessing();
    for (int32_t i = 0; i < 257; ++i)
        context->addNote(i, 0x90, 1, 2);
    run();
    EXPECT_EQ(lists, 1);
    ASSERT_EQ(received.size(), 256u);
    for (int32_t i = 0; i < 256; ++i)
        EXPECT_EQ(received[static_cast<size_t>(i)]->deltaFrames, i);
}

TEST_F(Vst2Events, RecordsThatArePassedOverTakeNoRoom) {
    effect.answerCanDo("receiveVstSysexEvent", 1);
    makeAudio(400);
    startProcessing();
    for (int32_t i = 0; i < 100; ++i)
        context->addEvent(EventKind::noteExpression, i);
    for (int32_t i = 0; i < 150; ++i) {
        context->addNote(i, 0x90, 1, 2);
        context->addSystemExclusive(i, {0xF0, 0xF7});
    }
    run();
    ASSERT_EQ(received.size(), 256u);
    EXPECT_EQ(received[255]->type, 6);
    EXPECT_EQ(received[255]->deltaFrames, 127);
}

TEST_F(Vst2Events, ACountAboveTheCapacityIsReadOnlyUpToIt) {
    constexpr int32_t capacity = 4; // far fewer than an effect can be handed
    makeAudio(capacity);
    startProcessing();
    for (const int32_t count : {capacity + 1, 256, 257, 0x7FFFFFFF}) {
        *context->getRegions().inputEventCount = count;
        run();
        EXPECT_EQ(received.size(), size_t{capacity}) << count;
    }
    EXPECT_TRUE(context->areGuardsIntact());
}

TEST_F(Vst2Events, ANoteFromThePluginWritesTheseBytesAndKeepsTheOthers) {
    makeAudio();
    startProcessing();
    std::memset(context->getRegions().outputEvents, 0xAA, 2 * 29);
    sendWhileProcessing({note(9, '\x90', 0x40, 0x50)});
    run();
    EXPECT_EQ(*context->getRegions().outputEventCount, 1);
    EXPECT_EQ(bytesOf(outputRecord(0), 29), (Bytes{0,    0, // kind
                                                   9,    0, // sample offset
                                                   0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, // position
                                                   0x90, 0x40, 0x50,                               // the note
                                                   0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, //
                                                   0xAA, 0xAA, 0xAA, 0xAA, 0xAA}));
    EXPECT_EQ(bytesOf(outputRecord(1), 29), Bytes(29, 0xAA));
}

TEST_F(Vst2Events, NotesFromThePluginFollowWhatTheBlockHolds) {
    makeAudio();
    startProcessing();
    sendWhileProcessing({note(1, '\x90', 1, 1), note(2, '\x90', 2, 2)});
    run();
    run();
    EXPECT_EQ(*context->getRegions().outputEventCount, 4);
    EXPECT_EQ(outputRecord(2)[2], 1);
    EXPECT_EQ(outputRecord(3)[2], 2);
}

TEST_F(Vst2Events, OffsetsFromThePluginAreClampedToTheBlockSizeAndNotToTheFrames) {
    makeAudio();
    startProcessing();
    sendWhileProcessing({note(-5, '\x90', 1, 1), note(-0x7FFFFFFF - 1, '\x90', 1, 1), note(0, '\x90', 1, 1),
                         note(40, '\x90', 1, 1), note(63, '\x90', 1, 1), note(64, '\x90', 1, 1),
                         note(0x7FFFFFFF, '\x90', 1, 1)});
    run(); // 16 frames of 64
    ASSERT_EQ(*context->getRegions().outputEventCount, 7);
    std::vector<int> offsets;
    for (size_t i = 0; i < 7; ++i)
        offsets.push_back(outputRecord(i)[2] + 256 * outputRecord(i)[3]);
    EXPECT_EQ(offsets, (std::vector<int>{0, 0, 0, 40, 63, 63, 63}));
}

TEST_F(Vst2Events, OtherEventsFromThePluginArePassedOver) {
    makeAudio();
    startProcessing();
    VstMidiEvent sysex = note(1, '\x90', 1, 1);
    sysex.type = kVstSysExType;
    VstMidiEvent unknown = note(2, '\x90', 1, 1);
    unknown.type = 2;
    sendWhileProcessing({sysex, note(3, '\x90', 1, 1), unknown});
    run();
    EXPECT_EQ(*context->getRegions().outputEventCount, 1);
    EXPECT_EQ(outputRecord(0)[2], 3);
}

TEST_F(Vst2Events, NotesAboveTheCapacityAreDropped) {
    makeAudio();
    startProcessing();
    std::vector<VstMidiEvent> many(300, note(1, '\x90', 1, 1));
    effect.onProcess = [&](float**, float**, VstInt32) {
        EXPECT_EQ(send(many), 1);
        EXPECT_EQ(send(many), 1);
    };
    run();
    EXPECT_EQ(*context->getRegions().outputEventCount, 256);
    EXPECT_TRUE(context->areGuardsIntact());
}

TEST_F(Vst2Events, NotesOutsideOfProcessAreLost) {
    makeAudio();
    startProcessing();
    EXPECT_EQ(send({note(1, '\x90', 1, 1)}), 1);
    run();
    EXPECT_EQ(send({note(1, '\x90', 1, 1)}), 1);
    EXPECT_EQ(*context->getRegions().outputEventCount, 0);
}

TEST_F(Vst2Events, NotesWithoutAnAudioBlockAreLost) {
    initialize();
    EXPECT_EQ(send({note(1, '\x90', 1, 1)}), 1);
}

TEST_F(Vst2Events, NotesSentFromTheEventCallCountAsProcessing) {
    makeAudio();
    startProcessing();
    effect.answer(effProcessEvents,
                  [&](const DispatcherCall&, void*) { return send({note(1, '\x90', 1, 1)}); });
    context->addNote(0, 0x90, 1, 2);
    run();
    EXPECT_EQ(*context->getRegions().outputEventCount, 1);
}

TEST_F(Vst2Events, NotesSentWhileTheTailIsAskedAreLost) {
    makeAudio();
    startProcessing();
    effect.answer(effGetTailSize,
                  [&](const DispatcherCall&, void*) { return send({note(1, '\x90', 1, 1)}); });
    instance->process(16, false, true);
    EXPECT_EQ(effect.countCalls(effGetTailSize), 1u);
    EXPECT_EQ(*context->getRegions().outputEventCount, 0);
}
