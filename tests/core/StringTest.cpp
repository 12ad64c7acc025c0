// Text: plug-in names, paths and messages all pass through it; a wrong comparison loads the wrong plug-in.

#include "core/String.h"

#include "support/FailureText.h"

#include "core/Exception.h"
#include "core/TextEncoding.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

using namespace base::core;
using namespace test_support;

namespace {

String textOf(std::initializer_list<char32_t> codePoints) {
    StringBuilder builder;
    for (const char32_t codePoint : codePoints)
        builder.append(codePoint);
    return builder.toString();
}

std::vector<std::string> piecesOf(const char* text, char32_t separator) {
    std::vector<String> pieces;
    String::split(text, separator, pieces);
    std::vector<std::string> result;
    for (const String& piece : pieces)
        result.push_back(piece.toStdString());
    return result;
}

TEST(StringTest, ATextFromAnEmptyByteStringIsNullAndEqualsANullText) {
    const String empty("");
    EXPECT_TRUE(empty.isEmpty());
    EXPECT_EQ(empty.length(), 0);
    EXPECT_EQ(String::compare(empty, String()), 0);
    EXPECT_EQ(String::compare(String(), ""), 0);
}

TEST(StringTest, CompareTellsAPrefixFromItsLongerText) {
    EXPECT_EQ(String::compare("ab", "abc"), -1);
    EXPECT_EQ(String::compare("abc", "ab"), 1);
    EXPECT_EQ(String::compare(String("ab"), String("abc")), -1);
    EXPECT_EQ(String::compare(String("abc"), String("ab")), 1);
    EXPECT_EQ(String::compare(String(), String("a")), -1);
    EXPECT_EQ(String::compare(String("a"), String()), 1);
}

TEST(StringTest, CompareGivesTheDifferenceAtTheFirstPlaceThatDiffers) {
    EXPECT_EQ(String::compare(String("azz"), String("dAA")), -3);
    EXPECT_EQ(String::compare(String("abd"), String("abb")), 2);
    EXPECT_EQ(String::compare(String("abc"), String("abc")), 0);
    EXPECT_EQ(String::compare(textOf({0x10FFFF}), String("A")), 0x10FFFF - 'A');
    EXPECT_EQ(String::compare(String("A"), textOf({0x10FFFF})), 'A' - 0x10FFFF);
}

TEST(StringTest, CompareDecodesAByteStringAsUtf8) {
    EXPECT_EQ(String::compare(textOf({0xE9}), "\xC3\xA9"), 0);
    EXPECT_EQ(String::compare(textOf({0xEA}), "\xC3\xA9"), 1);
}

TEST(StringTest, CompareIgnoringCaseFoldsTheLettersAToZOnBothSides) {
    EXPECT_EQ(String::compareIgnoreCase("AZaz.Dll", "azAZ.dLL"), 0);
    EXPECT_EQ(String::compareIgnoreCase("B", "a"), 1);
    EXPECT_EQ(String::compareIgnoreCase("ab", "ABC"), -1);
    EXPECT_EQ(String::compareIgnoreCase("ABC", "ab"), 1);
    EXPECT_EQ(String::compareIgnoreCase(String(), ""), 0);
}

TEST(StringTest, CompareIgnoringCaseFoldsNothingBesideTheLettersAToZ) {
    // E with and without an acute accent: upper and lower case.
    EXPECT_EQ(String::compareIgnoreCase(textOf({0xC9}), "\xC3\xA9"), 0xC9 - 0xE9);
    // The neighbours of the letters.
    EXPECT_EQ(String::compareIgnoreCase("@", "`"), '@' - '`');
    EXPECT_EQ(String::compareIgnoreCase("[", "{"), '[' - '{');
    // A folded letter is compared in its lower form.
    EXPECT_EQ(String::compareIgnoreCase("A", "_"), 'a' - '_');
}

TEST(StringTest, ATextEndsWithItsSuffix) {
    EXPECT_TRUE(String::endsWith("plugin.so", ".so"));
    EXPECT_TRUE(String::endsWith(".so", ".so"));
    EXPECT_FALSE(String::endsWith("plugin.SO", ".so"));
    EXPECT_FALSE(String::endsWith("so", ".so"));
    EXPECT_FALSE(String::endsWith(String(), ".so"));
}

TEST(StringTest, ANullSuffixEndsEveryText) {
    EXPECT_TRUE(String::endsWith("plugin.so", String()));
    EXPECT_TRUE(String::endsWith(String(), String()));
}

TEST(StringTest, LastIndexOfFindsTheLastOccurrence) {
    EXPECT_EQ(String::lastIndexOf("a/b/c", U'/'), 3);
    EXPECT_EQ(String::lastIndexOf("/abc", U'/'), 0);
    EXPECT_EQ(String::lastIndexOf("abc", U'/'), String::notFound);
    EXPECT_EQ(String::lastIndexOf(String(), U'/'), String::notFound);
    EXPECT_EQ(String::notFound, 0x7FFFFFFF);
}

TEST(StringTest, SubstringLeavesItsEndOut) {
    EXPECT_EQ(String::substring("abcdef", 1, 3).toStdString(), "bc");
    EXPECT_EQ(String::substring("abcdef", 0, 6).toStdString(), "abcdef");
    EXPECT_TRUE(String::substring("abcdef", 2, 2).isEmpty());
}

TEST(StringTest, SubstringWithoutAnEndGoesToTheEndOfTheText) {
    EXPECT_EQ(String::substring("abcdef", 4, String::notFound).toStdString(), "ef");
    EXPECT_TRUE(String::substring("abc", 3, String::notFound).isEmpty());
}

TEST(StringTest, SubstringMovesPlacesOutsideOfTheTextToItsEnds) {
    EXPECT_EQ(String::substring("abcdef", -2, 3).toStdString(), "abc");
    EXPECT_EQ(String::substring("abcdef", 4, 9).toStdString(), "ef");
    EXPECT_EQ(String::substring("abcdef", -2, 9).toStdString(), "abcdef");
    EXPECT_TRUE(String::substring("abcdef", -3, -1).isEmpty());
    EXPECT_TRUE(String::substring("abcdef", 7, 9).isEmpty());
}

TEST(StringTest, SubstringOfANullTextIsNull) {
    EXPECT_TRUE(String::substring(String(), 0, String::notFound).isEmpty());
    EXPECT_TRUE(String::substring(String(), 0, 4).isEmpty());
}

TEST(StringTest, SplitKeepsEmptyPiecesAndStopsAtTheEnd) {
    using Pieces = std::vector<std::string>;
    EXPECT_EQ(piecesOf("a:b:c", U':'), (Pieces{"a", "b", "c"}));
    EXPECT_EQ(piecesOf("abc", U':'), (Pieces{"abc"}));
    EXPECT_EQ(piecesOf(":a::b", U':'), (Pieces{"", "a", "", "b"}));
    EXPECT_EQ(piecesOf("a:", U':'), (Pieces{"a"}));
    EXPECT_EQ(piecesOf(":", U':'), (Pieces{""}));
    EXPECT_EQ(piecesOf("", U':'), Pieces{});
}

TEST(StringTest, SplitAppendsToTheList) {
    std::vector<String> list{"first"};
    String::split("a b", U' ', list);
    ASSERT_EQ(list.size(), 3u);
    EXPECT_EQ(list[0].toStdString(), "first");
    EXPECT_EQ(list[2].toStdString(), "b");
}

TEST(StringTest, AByteStringIsDecodedAsUtf8) {
    const String text("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x8E\xB9");
    ASSERT_EQ(text.length(), 4);
    EXPECT_EQ(text[0], U'a');
    EXPECT_EQ(text[1], char32_t{0xE9});
    EXPECT_EQ(text[2], char32_t{0x20AC});
    EXPECT_EQ(text[3], char32_t{0x1F3B9});
    EXPECT_EQ(text.characters()[4], char32_t{0});
}

TEST(StringTest, InvalidBytesAreAFailure) {
    EXPECT_EQ(failureText<IOException>([] { String("a\x80"); }), "Invalid UTF8 encoding");
    EXPECT_EQ(failureText<EOSException>([] { String("a\xC3"); }), "End of stream");
}

TEST(StringTest, Utf16IsDecodedLowByteFirstUpToItsZero) {
    const unsigned char data[] = {0x61, 0x00, 0xE9, 0x00, 0xAC, 0x20, 0x01,
                                  0xD8, 0x00, 0xDC, 0,    0,    0x62, 0x00};
    char16_t units[sizeof data / 2];
    std::memcpy(units, data, sizeof data);
    const String text(units);
    EXPECT_TRUE(text == textOf({U'a', 0xE9, 0x20AC, 0x10400}));
    EXPECT_TRUE(String(u"").isEmpty());
}

TEST(StringTest, AByteRangeIsDecodedByTheGivenEncoding) {
    EXPECT_TRUE(String("\xE9\x62", 2, Latin1Encoding::instance) == textOf({0xE9, U'b'}));
    EXPECT_TRUE(String("\x00\x61\x20\xAC", 4, UTF16BEEncoding::instance) == textOf({U'a', 0x20AC}));
    EXPECT_TRUE(String("abc", size_t{0}, UTF8Encoding::instance).isEmpty());
}

TEST(StringTest, AZeroInAByteRangeEndsTheText) {
    EXPECT_TRUE(String("ab\0cd", 5, ASCIIEncoding::instance) == "ab");
    EXPECT_TRUE(String("\0cd", 3, ASCIIEncoding::instance).isEmpty());
}

TEST(StringTest, ToStdStringIsUtf8) {
    EXPECT_EQ(textOf({U'a', 0xE9, 0x20AC, 0x1F3B9}).toStdString(), "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x8E\xB9");
    EXPECT_EQ(String().toStdString(), "");
    // No such code point: it is left out.
    EXPECT_EQ(textOf({U'a', 0x110000, U'b'}).toStdString(), "ab");
}

TEST(StringTest, CopiesShareTheCharacters) {
    const String text("shared");
    const String copy(text);
    String assigned;
    assigned = text;
    EXPECT_EQ(copy.characters(), text.characters());
    EXPECT_EQ(assigned.characters(), text.characters());
}

TEST(StringTest, ACopyOutlivesTheTextThatItWasMadeFrom) {
    String copy;
    {
        const String text("short-lived");
        copy = text;
    }
    EXPECT_EQ(copy.toStdString(), "short-lived");
}

TEST(StringTest, AssigningATextToItselfDoesNothing) {
    String text("self");
    const String& same = text;
    const char32_t* characters = text.characters();
    text = same;
    EXPECT_EQ(text.characters(), characters);
    EXPECT_EQ(text.toStdString(), "self");
}

TEST(StringTest, ATextIsOnePointer) {
    EXPECT_EQ(sizeof(String), sizeof(void*));
}

TEST(StringTest, ASharedTextMayBeCopiedOnManyThreadsAtOnce) {
    constexpr int threadCount = 4;
    constexpr int rounds = 20000;
    const String text("copied everywhere");
    std::atomic<int> work{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < threadCount; ++i)
        threads.emplace_back([&] {
            for (int round = 0; round < rounds; ++round) {
                const String copy(text);
                work += copy.length() == 17 ? 1 : 0;
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(work, threadCount * rounds);
    EXPECT_EQ(text.toStdString(), "copied everywhere");
}

TEST(StringBuilderTest, ABuilderThatPasses2048CodePointsKeepsItsWholeText) {
    StringBuilder builder;
    EXPECT_EQ(builder.capacity(), 2048u);
    for (int32_t i = 0; i < 3000; ++i)
        builder.append(static_cast<char32_t>(0x1000 + i));
    EXPECT_EQ(builder.capacity(), 8192u);
    const String text = builder.toString();
    ASSERT_EQ(text.length(), 3000);
    for (int32_t i = 0; i < 3000; ++i)
        ASSERT_EQ(text[i], static_cast<char32_t>(0x1000 + i)) << "at " << i;
}

TEST(StringBuilderTest, ABuilderGrowsAsSoonAsItsTextReachesTheCapacity) {
    StringBuilder builder;
    for (int i = 0; i < 2047; ++i)
        builder.append(U'a');
    EXPECT_EQ(builder.capacity(), 2048u);
    builder.append(U'b');
    EXPECT_EQ(builder.capacity(), 8192u);
    EXPECT_EQ(builder.length(), 2048u);
    EXPECT_EQ(builder.characters()[2047], U'b');
    EXPECT_EQ(builder.characters()[2048], char32_t{0});
}

TEST(StringBuilderTest, ABigAdditionGrowsTheBuilderToTwiceWhatIsNeeded) {
    StringBuilder builder;
    builder.append(std::string(5000, 'x').c_str());
    EXPECT_EQ(builder.capacity(), 10000u);
    StringBuilder exact;
    exact.append(std::string(4096, 'x').c_str());
    EXPECT_EQ(exact.capacity(), 8192u);
}

TEST(StringBuilderTest, ABuilderGrowsAgain) {
    StringBuilder builder;
    for (int i = 0; i < 8192; ++i)
        builder.append(static_cast<char32_t>(1 + i));
    EXPECT_EQ(builder.capacity(), 32768u);
    for (int i = 0; i < 8192; ++i)
        ASSERT_EQ(builder.characters()[i], static_cast<char32_t>(1 + i)) << "at " << i;
}

TEST(StringBuilderTest, ABuilderComposesTextOfEveryKind) {
    StringBuilder builder("caf\xC3\xA9");
    builder.append(U' ');
    builder.append("\xE2\x82\xAC");
    builder.append(String(" text "));
    const StringBuilder other(String("other"));
    builder.append(other);
    builder.append(int32_t{-12});
    EXPECT_EQ(builder.toString().toStdString(), "caf\xC3\xA9 \xE2\x82\xAC text other-12");
    EXPECT_EQ(builder.length(), 20u);
}

TEST(StringBuilderTest, ABuilderMayBeAppendedToItselfEvenWhereItGrows) {
    StringBuilder builder;
    for (int i = 0; i < 1500; ++i)
        builder.append(static_cast<char32_t>(1 + i));
    builder.append(builder);
    ASSERT_EQ(builder.length(), 3000u);
    for (int i = 0; i < 3000; ++i)
        ASSERT_EQ(builder.characters()[i], static_cast<char32_t>(1 + i % 1500)) << "at " << i;
}

TEST(StringBuilderTest, ABuilderKeepsItsTextTerminatedAfterEveryChange) {
    StringBuilder builder;
    EXPECT_EQ(builder.characters()[0], char32_t{0});
    builder.append("abc");
    EXPECT_EQ(builder.characters()[3], char32_t{0});
    builder.append(U'd');
    EXPECT_EQ(builder.characters()[4], char32_t{0});
}

TEST(StringBuilderTest, AnEmptyBuilderMakesANullText) {
    const StringBuilder builder;
    EXPECT_TRUE(builder.toString().isEmpty());
}

TEST(StringBuilderTest, LaterChangesDoNotReachATextThatWasMade) {
    StringBuilder builder("abc");
    const String text = builder.toString();
    builder.append("def");
    EXPECT_EQ(text.toStdString(), "abc");
}

TEST(StringBuilderTest, DecodedBytesMakeRoomByTheSmallestCharacter) {
    StringBuilder wide;
    wide.appendDecoded(std::string(4000, 'a').c_str(), 4000, UTF16BEEncoding::instance);
    EXPECT_EQ(wide.length(), 2000u);
    EXPECT_EQ(wide.capacity(), 2048u);
    StringBuilder narrow;
    narrow.appendDecoded(std::string(2048, 'a').c_str(), 2048, ASCIIEncoding::instance);
    EXPECT_EQ(narrow.capacity(), 8192u);
}

TEST(StringBuilderTest, ConcatJoinsTextsCodePointsAndIntegers) {
    EXPECT_EQ(concat("a", String("b"), U'c', int32_t{7}).toStdString(), "abc7");
}

} // namespace
