// If these fail, plug-ins whose halves talk through messages lose what they tell each other, or read beyond
// it.

#include "vst3/Vst3AttributeList.h"
#include "support/HeapInUse.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <iterator>
#include <pluginterfaces/vst/ivstmessage.h>
#include <string>
#include <string_view>

using namespace test_support;

namespace {

constexpr Steinberg::int64 largeNumber = 0x0123456789ABCDEF;

class AttributeList : public testing::Test {
protected:
    tresult setBytes(const char* id, std::string_view bytes) {
        return list->setBinary(id, bytes.data(), static_cast<Steinberg::uint32>(bytes.size()));
    }

    // What the list holds under an id.
    std::string bytesOf(const char* id) {
        const void* data = nullptr;
        Steinberg::uint32 size = 0;
        EXPECT_EQ(list->getBinary(id, data, size), kResultOk);
        return {static_cast<const char*>(data), size};
    }

    bool holds(const char* id) {
        Steinberg::int64 value = 0;
        return list->getInt(id, value) == kResultOk;
    }

    IPtr<Vst3AttributeList> list = Steinberg::owned(new Vst3AttributeList(nullptr));
};

} // namespace

TEST_F(AttributeList, AListKnowsWhoseItIs) {
    // A host that nobody asks anything.
    auto* host = reinterpret_cast<Vst3Host*>(&list);
    EXPECT_EQ(Steinberg::owned(new Vst3AttributeList(host))->getHost(), host);
    EXPECT_EQ(list->getHost(), nullptr);
}

TEST_F(AttributeList, AnIntegerComesBack) {
    EXPECT_EQ(list->setInt("number", -largeNumber), kResultOk);
    Steinberg::int64 value = 0;
    EXPECT_EQ(list->getInt("number", value), kResultOk);
    EXPECT_EQ(value, -largeNumber);
}

TEST_F(AttributeList, AFloatComesBack) {
    EXPECT_EQ(list->setFloat("share", -0.1), kResultOk);
    double value = 0;
    EXPECT_EQ(list->getFloat("share", value), kResultOk);
    EXPECT_EQ(value, -0.1);
}

TEST_F(AttributeList, BinaryDataComesBackAsACopyOfTheListsOwn) {
    std::string source("a\0b", 3);
    EXPECT_EQ(setBytes("data", source), kResultOk);
    source = "xyz";
    EXPECT_EQ(bytesOf("data"), std::string("a\0b", 3));
}

TEST_F(AttributeList, BinaryDataStaysWhereItIsWhileOtherValuesComeAndGo) {
    setBytes("data", "kept");
    const void* data = nullptr;
    Steinberg::uint32 size = 0;
    list->getBinary("data", data, size);
    setBytes("other", "more");
    list->setInt("number", 1);
    list->setString("other", nullptr);
    const void* again = nullptr;
    EXPECT_EQ(list->getBinary("data", again, size), kResultOk);
    EXPECT_EQ(again, data);
    EXPECT_EQ(std::memcmp(data, "kept", 4), 0);
}

TEST_F(AttributeList, BinaryDataOfSizeZeroIsAnEmptyValue) {
    EXPECT_EQ(list->setBinary("data", "unread", 0), kResultOk);
    const void* data = "before";
    Steinberg::uint32 size = 99;
    EXPECT_EQ(list->getBinary("data", data, size), kResultOk);
    EXPECT_EQ(size, 0U);
    Vst::TChar text[4] = {u'#', u'#', u'#', u'#'};
    EXPECT_EQ(list->getString("data", text, sizeof text), kResultOk);
    EXPECT_EQ(std::u16string(text, 4), u"####");
}

// Where addresses are wider, every size can be had.
#if __SIZEOF_POINTER__ == 4
TEST_F(AttributeList, BinaryDataThatIsTooLargeIsRefusedAndKeepsTheFormerValue) {
    list->setInt("data", 7);
    EXPECT_EQ(list->setBinary("data", "unread", 0x7FFFFFFF), kOutOfMemory);
    Steinberg::int64 value = 0;
    EXPECT_EQ(list->getInt("data", value), kResultOk);
    EXPECT_EQ(value, 7);
}
#endif

TEST_F(AttributeList, AMissingIdIsFalseAndLeavesTheResultAlone) {
    Steinberg::int64 integer = 5;
    EXPECT_EQ(list->getInt("missing", integer), kResultFalse);
    EXPECT_EQ(integer, 5);
    double number = 0.5;
    EXPECT_EQ(list->getFloat("missing", number), kResultFalse);
    EXPECT_EQ(number, 0.5);
    Vst::TChar text[2] = {u'#', u'#'};
    EXPECT_EQ(list->getString("missing", text, sizeof text), kResultFalse);
    EXPECT_EQ(text[0], u'#');
}

TEST_F(AttributeList, AMissingIdHasNoBinaryDataButASizeOfZero) {
    const void* data = this;
    Steinberg::uint32 size = 99;
    EXPECT_EQ(list->getBinary("missing", data, size), kResultFalse);
    EXPECT_EQ(data, this);
    EXPECT_EQ(size, 0U);
}

TEST_F(AttributeList, ATextOnlyTakesAwayTheFormerValue) {
    list->setInt("text", 1);
    EXPECT_EQ(list->setString("text", u"lost"), kResultOk);
    EXPECT_FALSE(holds("text"));
    Vst::TChar text[8] = {};
    EXPECT_EQ(list->getString("text", text, sizeof text), kResultFalse);
    EXPECT_EQ(list->setString("never there", u"lost"), kResultOk);
    EXPECT_FALSE(holds("never there"));
}

TEST_F(AttributeList, ATextIsReadFromBinaryDataAtTwiceItsCount) {
    // The data's size counts characters here: what lies behind it is zero.
    constexpr std::u16string_view word = u"Wort";
    list->setBinary("text", word.data(), 8);
    Vst::TChar text[10];
    std::fill(std::begin(text), std::end(text), u'#');
    EXPECT_EQ(list->getString("text", text, sizeof text), kResultOk);
    EXPECT_EQ(std::u16string(text, 10), std::u16string(u"Wort\0\0\0\0##", 10));
}

TEST_F(AttributeList, ATextIsNeverLargerThanTheBufferOfTheCaller) {
    constexpr std::u16string_view word = u"Wortschatz";
    list->setBinary("text", word.data(), static_cast<Steinberg::uint32>(2 * word.size()));
    Vst::TChar text[6];
    std::fill(std::begin(text), std::end(text), u'#');
    EXPECT_EQ(list->getString("text", text, 8), kResultOk);
    EXPECT_EQ(std::u16string(text, 6), u"Wort##");
    EXPECT_EQ(list->getString("text", text, 0), kResultOk);
    EXPECT_EQ(std::u16string(text, 6), u"Wort##");
}

TEST_F(AttributeList, NoGetterLooksAtTheKind) {
    list->setFloat("value", 1.5);
    Steinberg::int64 integer = 0;
    EXPECT_EQ(list->getInt("value", integer), kResultOk);
    EXPECT_EQ(integer, std::bit_cast<Steinberg::int64>(1.5));

    list->setInt("value", std::bit_cast<Steinberg::int64>(-2.25));
    double number = 0;
    EXPECT_EQ(list->getFloat("value", number), kResultOk);
    EXPECT_EQ(number, -2.25);

    Vst::TChar text[2] = {u'#', u'#'};
    EXPECT_EQ(list->getString("value", text, sizeof text), kResultOk);
    EXPECT_EQ(text[0], u'#') << "a number has no text";
}

TEST_F(AttributeList, ABinaryValueReadAsAnIntegerIsWhereItLies) {
    setBytes("data", "here");
    const void* data = nullptr;
    Steinberg::uint32 size = 0;
    list->getBinary("data", data, size);
    Steinberg::int64 value = 0;
    EXPECT_EQ(list->getInt("data", value), kResultOk);
    const void* pointer = nullptr;
    std::memcpy(&pointer, &value, sizeof pointer);
    EXPECT_EQ(pointer, data);
}

TEST_F(AttributeList, ANumberReadAsBinaryDataHasASizeOfZero) {
    list->setInt("value", 1);
    const void* data = nullptr;
    Steinberg::uint32 size = 99;
    EXPECT_EQ(list->getBinary("value", data, size), kResultOk);
    EXPECT_EQ(size, 0U);
}

TEST_F(AttributeList, ANewValueTakesThePlaceOfTheOld) {
    setBytes("value", "first");
    setBytes("value", "second");
    EXPECT_EQ(bytesOf("value"), "second");
    list->setInt("value", 3);
    Steinberg::int64 integer = 0;
    list->getInt("value", integer);
    EXPECT_EQ(integer, 3);
    list->setFloat("value", 0.25);
    double number = 0;
    list->getFloat("value", number);
    EXPECT_EQ(number, 0.25);
}

TEST_F(AttributeList, IdsAreComparedByTheirBytes) {
    list->setInt("a", 1);
    list->setInt("A", 2);
    list->setInt("\xFF\x80", 3); // no text in any encoding that plug-ins agree on
    list->setInt("", 4);
    const std::string copies[] = {"a", "A", "\xFF\x80", ""};
    for (size_t i = 0; i < std::size(copies); ++i) {
        Steinberg::int64 value = 0;
        EXPECT_EQ(list->getInt(copies[i].c_str(), value), kResultOk);
        EXPECT_EQ(value, static_cast<Steinberg::int64>(i + 1));
    }
    EXPECT_FALSE(holds("\xFF"));
}

TEST_F(AttributeList, OffersItselfAndNothingElse) {
    for (const FUID& identifier : {Vst::IAttributeList::iid, FUnknown::iid}) {
        void* result = nullptr;
        EXPECT_EQ(list->queryInterface(identifier.toTUID(), &result), kResultOk);
        EXPECT_EQ(result, static_cast<Vst::IAttributeList*>(list));
        EXPECT_EQ(list->release(), 1U) << "the interface comes with a reference";
    }
    void* result = this;
    EXPECT_EQ(list->queryInterface(Vst::IMessage::iid.toTUID(), &result), kNoInterface);
    EXPECT_EQ(result, nullptr);
}

// Sanitizers have an allocator, and a search for leaks, of their own.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

TEST_F(AttributeList, BinaryDataGoesWithItsValueAndWithTheList) {
    constexpr int rounds = 100;
    constexpr size_t size = 1000;
    const std::string bytes(size, 'x');
    const auto comeAndGo = [&] {
        setBytes("replaced", bytes);
        setBytes("taken away", bytes);
        list->setString("taken away", nullptr);
        const auto other = Steinberg::owned(new Vst3AttributeList(nullptr));
        other->setBinary("left", bytes.data(), size);
    };
    comeAndGo();
    const auto before = static_cast<ptrdiff_t>(heapInUse());
    for (int i = 0; i < rounds; ++i)
        comeAndGo();
    EXPECT_LT(static_cast<ptrdiff_t>(heapInUse()) - before, ptrdiff_t{rounds * size});
}

#endif

TEST_F(AttributeList, CountsItsReferences) {
    EXPECT_EQ(list->addRef(), 2U);
    EXPECT_EQ(list->addRef(), 3U);
    EXPECT_EQ(list->release(), 2U);
    EXPECT_EQ(list->release(), 1U);
}
