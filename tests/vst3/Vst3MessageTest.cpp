// If these fail, the two halves of a plug-in don't hear each other, or a message takes away what is still
// read.

#include "vst3/Vst3Message.h"
#include "vst3/Vst3AttributeList.h"

#include <gtest/gtest.h>

#include <cstring>

TEST(Vst3Message, HasNoIdUntilItIsSet) {
    const IPtr<Vst3Message> message = Steinberg::owned(new Vst3Message(nullptr, nullptr));
    EXPECT_EQ(message->getMessageID(), nullptr);
}

TEST(Vst3Message, KeepsACopyOfItsId) {
    const IPtr<Vst3Message> message = Steinberg::owned(new Vst3Message(nullptr, nullptr));
    char id[] = "first";
    message->setMessageID(id);
    std::strcpy(id, "gone");
    EXPECT_STREQ(message->getMessageID(), "first");
    message->setMessageID("a second and longer one");
    EXPECT_STREQ(message->getMessageID(), "a second and longer one");
    message->setMessageID("");
    EXPECT_STREQ(message->getMessageID(), "");
    message->setMessageID(nullptr);
    EXPECT_EQ(message->getMessageID(), nullptr);
}

TEST(Vst3Message, GivesTheAttributesThatItWasMadeWith) {
    auto* attributes = new Vst3AttributeList(nullptr);
    const IPtr<Vst3Message> message = Steinberg::owned(new Vst3Message(nullptr, attributes));
    EXPECT_EQ(message->getAttributes(), attributes);
    EXPECT_EQ(message->getAttributes(), attributes);
}

TEST(Vst3Message, ReleasesItsAttributesAtItsEndWithoutHavingCountedThem) {
    auto* attributes = new Vst3AttributeList(nullptr);
    attributes->addRef();
    auto* message = new Vst3Message(nullptr, attributes);
    EXPECT_EQ(attributes->addRef(), 3U);
    EXPECT_EQ(message->release(), 0U);
    EXPECT_EQ(attributes->release(), 1U);
    EXPECT_EQ(attributes->release(), 0U);
}

TEST(Vst3Message, AMessageWithoutAttributesMakesItsOwnWithAReferenceMore) {
    auto* message = new Vst3Message(nullptr, nullptr);
    Vst::IAttributeList* attributes = message->getAttributes();
    ASSERT_NE(attributes, nullptr);
    EXPECT_EQ(message->getAttributes(), attributes);
    attributes->setInt("number", 4);
    EXPECT_EQ(message->release(), 0U);
    // What the message leaves behind is the reference that it has added.
    Steinberg::int64 value = 0;
    EXPECT_EQ(attributes->getInt("number", value), kResultOk);
    EXPECT_EQ(value, 4);
    EXPECT_EQ(attributes->release(), 0U);
}

TEST(Vst3Message, OffersItselfAndNothingElse) {
    const IPtr<Vst3Message> message = Steinberg::owned(new Vst3Message(nullptr, nullptr));
    for (const FUID& identifier : {Vst::IMessage::iid, FUnknown::iid}) {
        void* result = nullptr;
        EXPECT_EQ(message->queryInterface(identifier.toTUID(), &result), kResultOk);
        EXPECT_EQ(result, static_cast<Vst::IMessage*>(message));
        EXPECT_EQ(message->release(), 1U) << "the interface comes with a reference";
    }
    void* result = &result;
    EXPECT_EQ(message->queryInterface(Vst::IAttributeList::iid.toTUID(), &result), kNoInterface);
    EXPECT_EQ(result, nullptr);
}

TEST(Vst3Message, CountsItsReferences) {
    const IPtr<Vst3Message> message = Steinberg::owned(new Vst3Message(nullptr, nullptr));
    EXPECT_EQ(message->addRef(), 2U);
    EXPECT_EQ(message->release(), 1U);
}
