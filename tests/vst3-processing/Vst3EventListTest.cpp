// If these fail, notes are lost or doubled on their way into a plug-in or out of it.

#include "vst3/Vst3EventList.h"

#include <gtest/gtest.h>
#include <pluginterfaces/vst/ivstparameterchanges.h>

#include <cstring>

namespace {

Vst::Event noteOn(int16_t pitch) {
    Vst::Event event;
    std::memset(&event, 0, sizeof event);
    event.type = Vst::Event::kNoteOnEvent;
    event.noteOn.pitch = pitch;
    return event;
}

} // namespace

TEST(Vst3EventListTest, EventsComeOutAsTheyWentIn) {
    Vst3EventList list;
    EXPECT_EQ(list.getEventCount(), 0);
    for (int16_t pitch = 0; pitch < 300; ++pitch) {
        Vst::Event event = noteOn(pitch);
        event.sampleOffset = 300 - pitch;
        EXPECT_EQ(list.addEvent(event), kResultOk);
        event.noteOn.pitch = -1; // The list has a copy of its own.
    }
    EXPECT_EQ(list.getEventCount(), 300);
    for (int16_t pitch = 0; pitch < 300; ++pitch) {
        Vst::Event expected = noteOn(pitch);
        expected.sampleOffset = 300 - pitch;
        Vst::Event event = noteOn(-1);
        EXPECT_EQ(list.getEvent(pitch, event), kResultOk);
        EXPECT_EQ(std::memcmp(&event, &expected, sizeof event), 0) << pitch;
    }
}

TEST(Vst3EventListTest, APlaceThatHasNoEventIsRefusedAndNothingIsWritten) {
    Vst3EventList list;
    Vst::Event first = noteOn(60);
    list.addEvent(first);
    for (const int32_t wrong : {-1, 1, INT32_MIN, INT32_MAX}) {
        Vst::Event event = noteOn(7);
        EXPECT_EQ(list.getEvent(wrong, event), kResultFalse) << wrong;
        EXPECT_EQ(event.noteOn.pitch, 7);
    }
}

TEST(Vst3EventListTest, AClearedListIsEmptyAndTakesEventsAgain) {
    Vst3EventList list;
    Vst::Event event = noteOn(60);
    list.addEvent(event);
    list.clear();
    EXPECT_EQ(list.getEventCount(), 0);
    EXPECT_EQ(list.getEvent(0, event), kResultFalse);
    event = noteOn(61);
    list.addEvent(event);
    EXPECT_EQ(list.getEventCount(), 1);
    EXPECT_EQ(list.getEvents().front().noteOn.pitch, 61);
}

TEST(Vst3EventListTest, AListServesItsInterfaceAlone) {
    Vst3EventList list;
    for (const FUID& served : {Vst::IEventList::iid, FUnknown::iid}) {
        void* found = nullptr;
        EXPECT_EQ(list.queryInterface(served.toTUID(), &found), kResultOk);
        EXPECT_EQ(found, static_cast<Vst::IEventList*>(&list));
        EXPECT_EQ(list.release(), 1u);
    }
    void* found = &list;
    EXPECT_EQ(list.queryInterface(Vst::IParamValueQueue::iid.toTUID(), &found), kNoInterface);
    EXPECT_EQ(found, nullptr);
}

TEST(Vst3EventListTest, ReferencesAreCountedAndTheLastOneFreesNothing) {
    Vst3EventList list;
    Vst::Event event = noteOn(60);
    list.addEvent(event);
    EXPECT_EQ(list.addRef(), 2u);
    EXPECT_EQ(list.release(), 1u);
    EXPECT_EQ(list.release(), 0u);
    EXPECT_EQ(list.getEventCount(), 1);
}
