// Encodings: the bytes of every text on the wire, in a file and on the console. One wrong bit, and client and
// host read different names.

#include "core/TextEncoding.h"

#include "RecordingStreams.h"
#include "support/FailureText.h"

#include "core/Exception.h"
#include "core/MemoryInputStream.h"
#include "core/Ref.h"
#include "core/String.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace base::core;
using namespace core_tests;
using namespace test_support;

namespace {

struct Encoded {
    char32_t codePoint;
    std::string bytes;
};

std::string encoded(const TextEncoding& encoding, char32_t codePoint) {
    const Ref<RecordingOutputStream> stream(new RecordingOutputStream);
    encoding.encodeCharacter(codePoint, *stream);
    return stream->all();
}

/// All code points of `text`, which has to hold whole characters.
std::vector<char32_t> decoded(const TextEncoding& encoding, const std::string& text) {
    const Ref<InputStream> stream(new MemoryInputStream(text.data(), text.size()));
    std::vector<char32_t> codePoints;
    while (stream->available() > 0)
        codePoints.push_back(encoding.decodeCharacter(*stream));
    return codePoints;
}

/// Decodes one code point and tells how many bytes were left behind it.
size_t bytesLeftAfterFailure(const TextEncoding& encoding, const std::string& text, const char* message) {
    const Ref<InputStream> stream(new MemoryInputStream(text.data(), text.size()));
    EXPECT_EQ(failureText<IOException>([&] { encoding.decodeCharacter(*stream); }), message);
    return stream->available();
}

using CodePoints = std::vector<char32_t>;

const std::vector<Encoded> utf8Table = {
    {0x01, bytes({0x01})},
    {0x7F, bytes({0x7F})},
    {0x80, bytes({0xC2, 0x80})},
    {0xE9, bytes({0xC3, 0xA9})},
    {0x7FF, bytes({0xDF, 0xBF})},
    {0x800, bytes({0xE0, 0xA0, 0x80})},
    {0x20AC, bytes({0xE2, 0x82, 0xAC})},
    {0xD800, bytes({0xED, 0xA0, 0x80})}, // a surrogate, like any other
    {0xFFFF, bytes({0xEF, 0xBF, 0xBF})},
    {0x10000, bytes({0xF0, 0x90, 0x80, 0x80})},
    {0x1F3B9, bytes({0xF0, 0x9F, 0x8E, 0xB9})},
    {0x10FFFF, bytes({0xF4, 0x8F, 0xBF, 0xBF})},
};

const std::vector<Encoded> utf16Table = {
    {0x41, bytes({0x00, 0x41})},
    {0xE9, bytes({0x00, 0xE9})},
    {0x20AC, bytes({0x20, 0xAC})},
    {0xDC00, bytes({0xDC, 0x00})}, // a low surrogate alone, as it stands
    {0xFFFF, bytes({0xFF, 0xFF})},
    {0x10400, bytes({0xD8, 0x01, 0xDC, 0x00})},
    {0x1F3B9, bytes({0xD8, 0x3C, 0xDF, 0xB9})},
    {0x20000, bytes({0xD8, 0x40, 0xDC, 0x00})},
    {0x10FFFF, bytes({0xDB, 0xFF, 0xDF, 0xFF})},
};

std::string unitsSwapped(std::string text) {
    for (size_t i = 0; i + 1 < text.size(); i += 2)
        std::swap(text[i], text[i + 1]);
    return text;
}

TEST(TextEncodingTest, DecodingABrokenUtf8PairFailsAfterConsumingBothBytes) {
    EXPECT_EQ(bytesLeftAfterFailure(UTF8Encoding::instance, bytes({0xC3, 0x28}), "Invalid UTF8 encoding"),
              0u);
}

TEST(TextEncodingTest, TheUtf16PairD800Dc00DecodesToTwoCodePoints) {
    EXPECT_EQ(decoded(UTF16BEEncoding::instance, bytes({0xD8, 0x00, 0xDC, 0x00})),
              (CodePoints{0xD800, 0xDC00}));
}

TEST(TextEncodingTest, TheUtf16PairD801Dc00DecodesToOneCodePoint) {
    EXPECT_EQ(decoded(UTF16BEEncoding::instance, bytes({0xD8, 0x01, 0xDC, 0x00})), (CodePoints{0x10400}));
}

TEST(TextEncodingTest, Utf8EncodesEachRangeInItsLength) {
    for (const Encoded& entry : utf8Table)
        EXPECT_EQ(encoded(UTF8Encoding::instance, entry.codePoint), entry.bytes) << uint32_t{entry.codePoint};
    EXPECT_EQ(encoded(UTF8Encoding::instance, 0), bytes({0x00}));
}

TEST(TextEncodingTest, Utf8DecodesWhatItEncodes) {
    for (const Encoded& entry : utf8Table)
        EXPECT_EQ(decoded(UTF8Encoding::instance, entry.bytes), CodePoints{entry.codePoint});
}

TEST(TextEncodingTest, Utf8WritesNothingForWhatIsNoCodePoint) {
    EXPECT_EQ(encoded(UTF8Encoding::instance, 0x110000), "");
    EXPECT_EQ(encoded(UTF8Encoding::instance, 0xFFFFFFFF), "");
}

TEST(TextEncodingTest, Utf8RefusesWhatIsNoLeadByte) {
    for (const int lead : {0x80, 0xA9, 0xBF, 0xF8, 0xFC, 0xFE, 0xFF})
        EXPECT_EQ(bytesLeftAfterFailure(UTF8Encoding::instance, bytes({lead, 0x80, 0x80, 0x80}),
                                        "Invalid UTF8 encoding"),
                  3u)
            << lead;
}

TEST(TextEncodingTest, Utf8ConsumesAWholeSequenceBeforeItJudgesIt) {
    EXPECT_EQ(bytesLeftAfterFailure(UTF8Encoding::instance, bytes({0xE2, 0x28, 0xA1, 0x41}),
                                    "Invalid UTF8 encoding"),
              1u);
    EXPECT_EQ(bytesLeftAfterFailure(UTF8Encoding::instance, bytes({0xF0, 0x28, 0x8C, 0x28, 0x41, 0x42}),
                                    "Invalid UTF8 encoding"),
              2u);
    EXPECT_EQ(
        bytesLeftAfterFailure(UTF8Encoding::instance, bytes({0xC3, 0xC3, 0x41}), "Invalid UTF8 encoding"),
        1u);
}

TEST(TextEncodingTest, Utf8TakesOverlongFormsSurrogatesAndValuesAboveTheLastCodePoint) {
    EXPECT_EQ(decoded(UTF8Encoding::instance, bytes({0xC0, 0x80})), CodePoints{0});
    EXPECT_EQ(decoded(UTF8Encoding::instance, bytes({0xC1, 0xBF})), CodePoints{0x7F});
    EXPECT_EQ(decoded(UTF8Encoding::instance, bytes({0xE0, 0x80, 0xAF})), CodePoints{0x2F});
    EXPECT_EQ(decoded(UTF8Encoding::instance, bytes({0xED, 0xBF, 0xBF})), CodePoints{0xDFFF});
    EXPECT_EQ(decoded(UTF8Encoding::instance, bytes({0xF4, 0x90, 0x80, 0x80})), CodePoints{0x110000});
    EXPECT_EQ(decoded(UTF8Encoding::instance, bytes({0xF7, 0xBF, 0xBF, 0xBF})), CodePoints{0x1FFFFF});
}

TEST(TextEncodingTest, Utf8ThatEndsInsideACharacterIsAnEndOfStream) {
    for (const std::string& text : {bytes({0xC3}), bytes({0xE2, 0x82}), bytes({0xF0, 0x9F, 0x8E})}) {
        const Ref<InputStream> stream(new MemoryInputStream(text.data(), text.size()));
        EXPECT_EQ(failureText<EOSException>([&] { UTF8Encoding::instance.decodeCharacter(*stream); }),
                  "End of stream");
    }
}

TEST(TextEncodingTest, Utf16IsWrittenInBothByteOrders) {
    for (const Encoded& entry : utf16Table) {
        EXPECT_EQ(encoded(UTF16BEEncoding::instance, entry.codePoint), entry.bytes);
        EXPECT_EQ(encoded(UTF16LEEncoding::instance, entry.codePoint), unitsSwapped(entry.bytes));
    }
}

TEST(TextEncodingTest, Utf16IsReadInBothByteOrders) {
    for (const Encoded& entry : utf16Table) {
        EXPECT_EQ(decoded(UTF16BEEncoding::instance, entry.bytes), CodePoints{entry.codePoint});
        EXPECT_EQ(decoded(UTF16LEEncoding::instance, unitsSwapped(entry.bytes)), CodePoints{entry.codePoint});
    }
}

TEST(TextEncodingTest, Utf16WritesASurrogateAsItStands) {
    EXPECT_EQ(encoded(UTF16BEEncoding::instance, 0xD834), bytes({0xD8, 0x34}));
}

TEST(TextEncodingTest, Utf16LosesTheFirst1024CodePointsAboveItsUnits) {
    EXPECT_EQ(encoded(UTF16BEEncoding::instance, 0x10000), bytes({0xD8, 0x00, 0xDC, 0x00}));
    EXPECT_EQ(encoded(UTF16BEEncoding::instance, 0x103FF), bytes({0xD8, 0x00, 0xDF, 0xFF}));
    EXPECT_EQ(decoded(UTF16BEEncoding::instance, bytes({0xD8, 0x00, 0xDF, 0xFF})),
              (CodePoints{0xD800, 0xDFFF}));
}

TEST(TextEncodingTest, Utf16DoesNotTestTheSecondUnitOfAPair) {
    EXPECT_EQ(decoded(UTF16BEEncoding::instance, bytes({0xD8, 0x01, 0x00, 0x41})), CodePoints{0x10441});
    EXPECT_EQ(decoded(UTF16LEEncoding::instance, bytes({0xFF, 0xDB, 0xFF, 0xFF})), CodePoints{0x10FFFF});
}

TEST(TextEncodingTest, Utf16DoesNotCheckTheRange) {
    EXPECT_EQ(encoded(UTF16BEEncoding::instance, 0x110000), bytes({0xDC, 0x00, 0xDC, 0x00}));
}

TEST(TextEncodingTest, Utf16ThatEndsInsideAPairIsAnEndOfStream) {
    for (const std::string& text : {bytes({0x00}), bytes({0xD8, 0x01}), bytes({0xD8, 0x01, 0xDC})}) {
        const Ref<InputStream> stream(new MemoryInputStream(text.data(), text.size()));
        EXPECT_EQ(failureText<EOSException>([&] { UTF16BEEncoding::instance.decodeCharacter(*stream); }),
                  "End of stream");
    }
}

TEST(TextEncodingTest, Latin1WritesTheLowByteWithoutACheck) {
    EXPECT_EQ(encoded(Latin1Encoding::instance, 0xE9), bytes({0xE9}));
    EXPECT_EQ(encoded(Latin1Encoding::instance, 0x20AC), bytes({0xAC}));
    EXPECT_EQ(encoded(Latin1Encoding::instance, 0x1F300), bytes({0x00}));
}

TEST(TextEncodingTest, Latin1ReadsEachByteAsACodePoint) {
    EXPECT_EQ(decoded(Latin1Encoding::instance, bytes({0x00, 0x41, 0x80, 0xFF})),
              (CodePoints{0x00, 0x41, 0x80, 0xFF}));
}

TEST(TextEncodingTest, AsciiTakesSevenBitsInBothDirections) {
    EXPECT_EQ(encoded(ASCIIEncoding::instance, 0x41), "A");
    EXPECT_EQ(encoded(ASCIIEncoding::instance, 0x7F), bytes({0x7F}));
    EXPECT_EQ(decoded(ASCIIEncoding::instance, bytes({0x00, 0x7F})), (CodePoints{0x00, 0x7F}));
}

TEST(TextEncodingTest, AsciiNamesTheCharacterThatItCannotEncode) {
    EXPECT_EQ(failureText<IOException>([] { encoded(ASCIIEncoding::instance, 0x80); }),
              "Character '\xC2\x80' cannot be encoded in ASCII format");
    EXPECT_EQ(failureText<IOException>([] { encoded(ASCIIEncoding::instance, 0xE9); }),
              "Character '\xC3\xA9' cannot be encoded in ASCII format");
}

TEST(TextEncodingTest, AsciiNamesTheByteThatItCannotDecode) {
    EXPECT_EQ(bytesLeftAfterFailure(ASCIIEncoding::instance, bytes({0x80, 0x41}), "Invalid ASCII byte: 80"),
              1u);
    EXPECT_EQ(bytesLeftAfterFailure(ASCIIEncoding::instance, bytes({0xFE}), "Invalid ASCII byte: fe"), 0u);
}

TEST(TextEncodingTest, TheSettledByteCountsOfEachEncoding) {
    const struct {
        const TextEncoding& encoding;
        int32_t minimum;
        int32_t maximum;
    } table[] = {
        {UTF8Encoding::instance, 1, 4},    {UTF16BEEncoding::instance, 2, 2},
        {UTF16LEEncoding::instance, 2, 2}, {Latin1Encoding::instance, 1, 4},
        {ASCIIEncoding::instance, 1, 1},
    };
    for (const auto& row : table) {
        EXPECT_EQ(row.encoding.minBytesPerCharacter(), row.minimum);
        EXPECT_EQ(row.encoding.maxBytesPerCharacter(), row.maximum);
    }
}

TEST(TextEncodingTest, ByteLengthStopsAtTheTerminator) {
    EXPECT_EQ(UTF8Encoding::instance.byteLength("caf\xC3\xA9"), 5u);
    EXPECT_EQ(Latin1Encoding::instance.byteLength("caf\xE9"), 4u);
    EXPECT_EQ(ASCIIEncoding::instance.byteLength("abc"), 3u);
    // A unit with one zero byte isn't the end.
    const unsigned char units[] = {0x00, 0x61, 0x61, 0x00, 0x00, 0x00, 0x62, 0x62};
    EXPECT_EQ(UTF16BEEncoding::instance.byteLength(units), 4u);
    EXPECT_EQ(UTF16LEEncoding::instance.byteLength(units), 4u);
    EXPECT_EQ(UTF16LEEncoding::instance.byteLength("\0\0"), 0u);
}

TEST(TextEncodingTest, EncodingATextWritesEachOfItsCodePoints) {
    const Ref<RecordingOutputStream> stream(new RecordingOutputStream);
    UTF16BEEncoding::instance.encodeText(String("a\xE2\x82\xAC"), *stream);
    EXPECT_EQ(stream->all(), bytes({0x00, 0x61, 0x20, 0xAC}));
}

TEST(TextEncodingTest, EncodingANullTextWritesNothing) {
    const Ref<RecordingOutputStream> stream(new RecordingOutputStream);
    UTF16BEEncoding::instance.encodeText(String(), *stream);
    EXPECT_TRUE(stream->writes.empty());
}

TEST(TextEncodingTest, EncodingAByteStringTakesItAsUtf8) {
    const Ref<RecordingOutputStream> stream(new RecordingOutputStream);
    UTF16LEEncoding::instance.encodeText("a\xC3\xA9", *stream);
    EXPECT_EQ(stream->all(), bytes({0x61, 0x00, 0xE9, 0x00}));
    EXPECT_EQ(failureText<IOException>([&] { UTF16LEEncoding::instance.encodeText("\xFF", *stream); }),
              "Invalid UTF8 encoding");
}

TEST(TextEncodingTest, DecodedTextEndsAtItsTerminatorWhichIsConsumed) {
    const Ref<InputStream> stream(new MemoryInputStream("ab:cd", 5));
    EXPECT_EQ(UTF8Encoding::instance.decodeText(*stream, U':', -1).toStdString(), "ab");
    EXPECT_EQ(stream->available(), 2u);
}

TEST(TextEncodingTest, DecodedTextEndsAtAZeroWhichIsConsumed) {
    const Ref<InputStream> stream(new MemoryInputStream("ab\0cd\0ef", 8));
    EXPECT_EQ(UTF8Encoding::instance.decodeText(*stream, U':', -1).toStdString(), "ab");
    EXPECT_EQ(UTF8Encoding::instance.decodeText(*stream, -1).toStdString(), "cd");
    EXPECT_EQ(stream->available(), 2u);
}

TEST(TextEncodingTest, DecodedTextEndsAtItsLimit) {
    const Ref<InputStream> stream(new MemoryInputStream("abcdefgh", 8));
    EXPECT_EQ(UTF8Encoding::instance.decodeText(*stream, U':', 3).toStdString(), "abc");
    EXPECT_EQ(UTF8Encoding::instance.decodeText(*stream, 2).toStdString(), "de");
    EXPECT_EQ(stream->available(), 3u);
}

TEST(TextEncodingTest, ALimitOfZeroOrLessReadsNothing) {
    const Ref<InputStream> stream(new MemoryInputStream("abc", 3));
    for (const int32_t limit : {0, -2, -100}) {
        EXPECT_TRUE(UTF8Encoding::instance.decodeText(*stream, U':', limit).isEmpty());
        EXPECT_TRUE(UTF8Encoding::instance.decodeText(*stream, limit).isEmpty());
    }
    EXPECT_EQ(stream->available(), 3u);
}

TEST(TextEncodingTest, ATextLongerThanAPieceIsDecodedWhole) {
    for (const size_t length : {4095u, 4096u, 4097u, 10000u}) {
        std::string text(length, 'x');
        text[length - 1] = 'y';
        const std::string data = text + '\0';
        const Ref<InputStream> stream(new MemoryInputStream(data.data(), data.size()));
        EXPECT_EQ(UTF8Encoding::instance.decodeText(*stream, -1).toStdString(), text);
    }
}

TEST(TextEncodingTest, ATextThatNothingEndsIsAnEndOfStream) {
    const Ref<InputStream> stream(new MemoryInputStream("abc", 3));
    EXPECT_EQ(failureText<EOSException>([&] { UTF8Encoding::instance.decodeText(*stream, -1); }),
              "End of stream");
}

} // namespace
