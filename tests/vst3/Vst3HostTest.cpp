// If these fail, a plug-in finds another host than the one that it was written for: it refuses to load, or
// loses the messages between its halves.

#include "vst3/Vst3Host.h"
#include "vst3/Vst3AttributeList.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <pluginterfaces/vst/ivstmessage.h>
#include <pluginterfaces/vst/ivstpluginterfacesupport.h>
#include <pluginterfaces/vst/ivstunits.h>
#include <string>

namespace {

// An identifier as plug-ins hand it over: a copy.
struct Identifier {
    explicit Identifier(const FUID& id) { id.toTUID(bytes); }

    TUID bytes;
};

/// A host whose instance is gone, or was never there.
class HostOfNobody : public testing::Test {
protected:
    // The object that a request for `identifier` gives; the answer is success or the result is null.
    void* query(const FUID& identifier) {
        void* result = this;
        const tresult answer = host.queryInterface(Identifier(identifier).bytes, &result);
        EXPECT_EQ(answer, result != nullptr ? kResultOk : kNoInterface);
        return result;
    }

    tresult create(const FUID& classId, const FUID& identifier, void*& result) {
        return host.createInstance(Identifier(classId).bytes, Identifier(identifier).bytes, &result);
    }

    template <class Interface>
    Interface* create() {
        void* result = nullptr;
        EXPECT_EQ(create(Interface::iid, Interface::iid, result), kResultOk);
        return static_cast<Interface*>(result);
    }

    Vst3Host& host = *new Vst3Host(nullptr);
};

} // namespace

TEST_F(HostOfNobody, EachInterfaceIsYieldedWithAReference) {
    EXPECT_EQ(query(Vst::IComponentHandler::iid), static_cast<Vst::IComponentHandler*>(&host));
    EXPECT_EQ(query(Vst::IComponentHandler2::iid), static_cast<Vst::IComponentHandler2*>(&host));
    EXPECT_EQ(query(Vst::IHostApplication::iid), static_cast<Vst::IHostApplication*>(&host));
    EXPECT_EQ(host.release(), 3U);
}

TEST_F(HostOfNobody, ThePlainInterfaceIsTheComponentHandler) {
    EXPECT_EQ(query(FUnknown::iid), static_cast<Vst::IComponentHandler*>(&host));
    EXPECT_EQ(host.release(), 1U);
}

TEST_F(HostOfNobody, ExtensionsAreRefused) {
    EXPECT_EQ(query(Vst::IUnitHandler::iid), nullptr);
    EXPECT_EQ(query(Vst::IPlugInterfaceSupport::iid), nullptr);
    EXPECT_EQ(query(Vst::IMessage::iid), nullptr);
    EXPECT_EQ(query(FUID()), nullptr);
    EXPECT_EQ(host.addRef(), 2U) << "a refusal counts nothing";
}

TEST_F(HostOfNobody, ANullIdentifierIsRefused) {
    void* result = this;
    EXPECT_EQ(host.queryInterface(nullptr, &result), kNoInterface);
    EXPECT_EQ(result, nullptr);
}

TEST_F(HostOfNobody, TheSharedAttributesAreFoundByTheAddressOfTheirIdentifierAlone) {
    void* attributes = nullptr;
    EXPECT_EQ(host.queryInterface(Vst::IAttributeList::iid.toTUID(), &attributes), kResultOk);
    ASSERT_NE(attributes, nullptr);
    auto* list = static_cast<Vst3AttributeList*>(attributes);
    EXPECT_EQ(list->addRef(), 2U) << "they come without a reference";
    EXPECT_EQ(list->release(), 1U);
    EXPECT_EQ(query(Vst::IAttributeList::iid), nullptr) << "a copy of the identifier";
}

TEST_F(HostOfNobody, ReleasingItOnceTooOftenDoesNoHarm) {
    EXPECT_EQ(host.addRef(), 2U);
    EXPECT_EQ(host.release(), 1U);
    EXPECT_EQ(host.release(), 0U);
    Vst::String128 name;
    EXPECT_EQ(host.getName(name), kResultOk);
    EXPECT_EQ(host.addRef(), 1U);
}

TEST_F(HostOfNobody, TheNameIsWrittenWithItsTerminator) {
    Vst::String128 name;
    std::fill(std::begin(name), std::end(name), u'#');
    EXPECT_EQ(host.getName(name), kResultOk);
    EXPECT_EQ(std::u16string(name, 15), std::u16string(u"Tanvex Studio\0#", 15));
}

TEST_F(HostOfNobody, AMessageIsMadeWithAReferenceTooMany) {
    auto* message = create<Vst::IMessage>();
    EXPECT_EQ(message->getMessageID(), nullptr);
    EXPECT_EQ(message->release(), 1U);
    message->setMessageID("still here");
    EXPECT_STREQ(message->getMessageID(), "still here");
}

TEST_F(HostOfNobody, AnAttributeListIsMadeEmptyWithAReferenceTooMany) {
    create<Vst::IMessage>()->getAttributes()->setInt("number", 1);
    auto* list = create<Vst::IAttributeList>();
    Steinberg::int64 value = 0;
    EXPECT_EQ(list->getInt("number", value), kResultFalse);
    EXPECT_EQ(list->release(), 1U);
    EXPECT_EQ(list->setInt("number", 2), kResultOk);
}

TEST_F(HostOfNobody, TwoMessagesSeeEachOthersAttributes) {
    auto* first = create<Vst::IMessage>();
    auto* second = create<Vst::IMessage>();
    EXPECT_NE(first, second);
    first->getAttributes()->setInt("number", 12);
    Steinberg::int64 value = 0;
    EXPECT_EQ(second->getAttributes()->getInt("number", value), kResultOk);
    EXPECT_EQ(value, 12);
    EXPECT_EQ(first->getAttributes(), second->getAttributes());
}

TEST_F(HostOfNobody, TheSharedAttributesOutliveMessages) {
    create<Vst::IMessage>()->getAttributes()->setInt("number", 12);
    for (int i = 0; i < 3; ++i)
        create<Vst::IMessage>()->release();
    Steinberg::int64 value = 0;
    EXPECT_EQ(create<Vst::IMessage>()->getAttributes()->getInt("number", value), kResultOk);
    EXPECT_EQ(value, 12);
}

TEST_F(HostOfNobody, TwoHostsShareNothing) {
    create<Vst::IMessage>()->getAttributes()->setInt("number", 12);
    Vst3Host& other = *new Vst3Host(nullptr);
    void* message = nullptr;
    other.createInstance(Identifier(Vst::IMessage::iid).bytes, Identifier(Vst::IMessage::iid).bytes,
                         &message);
    Steinberg::int64 value = 0;
    EXPECT_EQ(static_cast<Vst::IMessage*>(message)->getAttributes()->getInt("number", value), kResultFalse);
}

TEST_F(HostOfNobody, AClassThatIsAskedForByAnotherInterfaceIsNotMade) {
    void* result = this;
    EXPECT_EQ(create(Vst::IMessage::iid, Vst::IAttributeList::iid, result), kResultFalse);
    EXPECT_EQ(result, nullptr);
    result = this;
    EXPECT_EQ(create(Vst::IAttributeList::iid, Vst::IMessage::iid, result), kResultFalse);
    EXPECT_EQ(result, nullptr);
    result = this;
    EXPECT_EQ(create(Vst::IMessage::iid, FUnknown::iid, result), kResultFalse);
    EXPECT_EQ(result, nullptr);
}

TEST_F(HostOfNobody, AnyOtherClassIsNotMade) {
    void* result = this;
    EXPECT_EQ(create(Vst::IHostApplication::iid, Vst::IHostApplication::iid, result), kResultFalse);
    EXPECT_EQ(result, nullptr);
    result = this;
    EXPECT_EQ(host.createInstance(nullptr, nullptr, &result), kResultFalse);
    EXPECT_EQ(result, nullptr);
}

TEST_F(HostOfNobody, EditsAreInvalid) {
    for (const Vst::ParamID id : {Vst::ParamID{0}, Vst::ParamID{1}, Vst::kNoParamId}) {
        EXPECT_EQ(host.beginEdit(id), kInvalidArgument);
        EXPECT_EQ(host.performEdit(id, 0.5), kInvalidArgument);
        EXPECT_EQ(host.endEdit(id), kInvalidArgument);
    }
}

TEST_F(HostOfNobody, ARestartIsRefused) {
    EXPECT_EQ(host.restartComponent(0), kResultFalse);
    EXPECT_EQ(host.restartComponent(Vst::kReloadComponent), kResultFalse);
}

TEST_F(HostOfNobody, TheSecondHandlersOperationsAreRefused) {
    EXPECT_EQ(host.setDirty(true), kResultFalse);
    EXPECT_EQ(host.requestOpenEditor("editor"), kResultFalse);
    EXPECT_EQ(host.startGroupEdit(), kResultFalse);
    EXPECT_EQ(host.finishGroupEdit(), kResultFalse);
}

namespace {

/// An object of the host's that a plug-in counts.
class CountedObject : public Vst3Object {
public:
    explicit CountedObject(bool& isThere) : isThere(isThere) { isThere = true; }
    ~CountedObject() override { isThere = false; }

    tresult PLUGIN_API queryInterface(const TUID, void**) override { return kNoInterface; }

private:
    bool& isThere;
};

} // namespace

TEST(Vst3Object, PluginsAndTheHostShareOneCount) {
    bool isThere = false;
    Ref<CountedObject> object(new CountedObject(isThere));
    FUnknown* unknown = object.get();
    EXPECT_EQ(unknown->addRef(), 2U);
    EXPECT_EQ(object->addRef(), 3U);
    EXPECT_EQ(unknown->release(), 2U);
    object = nullptr;
    EXPECT_TRUE(isThere);
    EXPECT_EQ(unknown->release(), 0U);
    EXPECT_FALSE(isThere);
}
