// If these fail, the application's stored plug-in identifiers no longer find their plug-ins, or names come
// out garbled, or a plug-in whose texts have no end brings its host down.

#include "vst3/Vst3Text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

namespace {

constexpr const char* countingText = "000102030405060708090A0B0C0D0E0F";
constexpr TUID countingId{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};

FUID idOf(std::string_view bytes) {
    TUID id{};
    bytes.copy(id, sizeof id);
    return FUID::fromTUID(id);
}

/// A field of a plug-in's record: what stands behind the text is `filler`.
struct Field {
    explicit Field(std::u16string_view units, char16_t filler = 0) {
        std::fill(std::begin(text), std::end(text), filler);
        units.copy(text, std::size(text));
    }

    Vst::String128 text;
};

std::string textOf(std::u16string_view units, char16_t filler = 0) {
    return pluginText(Field(units, filler).text).toStdString();
}

} // namespace

TEST(Vst3ClassId, IsPrintedByteByByteInTheOrderOfMemory) {
    EXPECT_EQ(classIdText(FUID::fromTUID(countingId)), countingText);
}

TEST(Vst3ClassId, IsPrintedInUpperCaseWithoutASign) {
    EXPECT_EQ(classIdText(idOf("\xAB\xCD\xEF\x80\xFF\x7F")), "ABCDEF80FF7F00000000000000000000");
}

TEST(Vst3ClassId, IsReadBackInEitherCase) {
    EXPECT_EQ(parseClassId(countingText), FUID::fromTUID(countingId));
    EXPECT_EQ(parseClassId("000102030405060708090a0b0c0d0e0f"), FUID::fromTUID(countingId));
    EXPECT_EQ(classIdText(parseClassId("fFeEdDcCbBaA99887766554433221100")),
              "FFEEDDCCBBAA99887766554433221100");
}

TEST(Vst3ClassId, APairThatIsNotHexadecimalIsAZeroByte) {
    EXPECT_EQ(classIdText(parseClassId("01ZZ03!?05060708090A0B0C0D0E0F10")),
              "0100030005060708090A0B0C0D0E0F10");
}

TEST(Vst3ClassId, ATextOfAnyOtherLengthIsNoClassId) {
    EXPECT_EQ(parseClassId(""), FUID());
    EXPECT_EQ(parseClassId("000102030405060708090A0B0C0D0E0"), FUID());
    EXPECT_EQ(parseClassId("000102030405060708090A0B0C0D0E0F1"), FUID());
    EXPECT_EQ(parseClassId("12"), FUID());
}

TEST(Vst3ClassId, ANullIdentifierIsSixteenZeroBytes) {
    EXPECT_TRUE(isInterface(nullptr, FUID()));
    EXPECT_FALSE(isInterface(nullptr, FUID::fromTUID(countingId)));
    EXPECT_TRUE(isInterface(countingId, FUID::fromTUID(countingId)));
    EXPECT_FALSE(isInterface(countingId, FUID()));
}

TEST(Vst3Text, ATextEndsAtItsTerminator) {
    EXPECT_EQ(textOf(u"Gain"), "Gain");
    EXPECT_EQ(textOf(std::u16string_view(u"Gain\0!", 6), u'x'), "Gain");
    EXPECT_EQ(textOf(u""), "");
}

TEST(Vst3Text, ATextThatFillsItsFieldEndsThere) {
    EXPECT_EQ(textOf(u"", u'x'), std::string(128, 'x'));
    EXPECT_EQ(textOf(std::u16string(127, u'y')), std::string(127, 'y'));
}

TEST(Vst3Text, TextsBeyondAsciiBecomeUtf8) {
    EXPECT_EQ(textOf(u"\u00DCbersteuerung \u266A"), "\xC3\x9C"
                                                    "bersteuerung \xE2\x99\xAA");
    EXPECT_EQ(textOf(u"\U0001F3B9!"), "\xF0\x9F\x8E\xB9!");
}

TEST(Vst3Text, AHalfOfAPairThatStandsAloneIsReplaced) {
    const std::string replacement = "\xEF\xBF\xBD";
    EXPECT_EQ(textOf(u"a\xD83C"), "a" + replacement);
    EXPECT_EQ(textOf(u"\xDFB9z"), replacement + "z");
    EXPECT_EQ(textOf(u"\xDFB9\xD83C"), replacement + replacement);
    EXPECT_EQ(textOf(u"\xD83C\xD83C\xDFB9"), replacement + "\xF0\x9F\x8E\xB9");
    EXPECT_EQ(textOf(u"\xD83C\xDFB9\xDFB9"), "\xF0\x9F\x8E\xB9" + replacement);
}

TEST(Vst3Text, APairThatTheFieldsEndCutsInTwoIsReplaced) {
    const std::u16string full = std::u16string(127, u'x') + u"\xD83C";
    EXPECT_EQ(textOf(full), std::string(127, 'x') + "\xEF\xBF\xBD");
    const std::u16string fitting = std::u16string(126, u'x') + u"\U0001F3B9";
    EXPECT_EQ(textOf(fitting), std::string(126, 'x') + "\xF0\x9F\x8E\xB9");
}

TEST(Vst3Text, ATextIsCopiedWithItsTerminatorWhereThereIsRoom) {
    char buffer[8];
    std::memset(buffer, '#', sizeof buffer);
    copyPluginText(Field(u"abc").text, buffer, 6);
    EXPECT_EQ(std::string(buffer, sizeof buffer), std::string("abc\0\0\0##", 8));
}

TEST(Vst3Text, ATextThatFillsTheBufferIsCutAndHasNoTerminator) {
    char buffer[8];
    std::memset(buffer, '#', sizeof buffer);
    copyPluginText(Field(u"abcdef").text, buffer, 4);
    EXPECT_EQ(std::string(buffer, sizeof buffer), "abcd####");
    copyPluginText(Field(u"wxyz").text, buffer, 4);
    EXPECT_EQ(std::string(buffer, sizeof buffer), "wxyz####");
}

TEST(Vst3Text, NothingIsCopiedIntoABufferWithoutRoom) {
    char buffer = '#';
    copyPluginText(Field(u"abc").text, &buffer, 0);
    copyPluginText(Field(u"abc").text, &buffer, -1);
    EXPECT_EQ(buffer, '#');
}
