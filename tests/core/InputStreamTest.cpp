// Reading: the wire is a sequence of values without marks, so a reader that takes one byte too many or too
// few loses every message behind it.

#include "core/InputStream.h"

#include "FailingCalls.h"
#include "RecordingStreams.h"
#include "support/FailureText.h"

#include "core/Exception.h"
#include "core/MemoryInputStream.h"
#include "core/Ref.h"
#include "core/String.h"

#include <gtest/gtest.h>

#include <string>

using namespace base::core;
using namespace core_tests;
using namespace test_support;

namespace {

Ref<InputStream> streamOf(const std::string& data) {
    return new PiecewiseInputStream({data});
}

/// The length word of a wire string, by hand: most significant byte first.
std::string lengthWord(uint32_t word) {
    return bytes({static_cast<int>(word >> 24), static_cast<int>(word >> 16 & 0xFF),
                  static_cast<int>(word >> 8 & 0xFF), static_cast<int>(word & 0xFF)});
}

TEST(InputStreamTest, AWireStringOf1023BytesNeedsNoHeapForItsBytesAndOneOf1024Does) {
    const std::string shorter(1023, 'a');
    const std::string longer(1024, 'b');
    EXPECT_EQ(streamOf(lengthWord(1023) + shorter)->readString().toStdString(), shorter);
    EXPECT_EQ(streamOf(lengthWord(1024) + longer)->readString().toStdString(), longer);

    {
        const FailingAllocation failing(1023);
        EXPECT_EQ(streamOf(lengthWord(1023) + shorter)->readString().length(), 1023);
    }
    const Ref<InputStream> stream = streamOf(lengthWord(1024) + longer);
    const FailingAllocation failing(1024);
    EXPECT_EQ(failureText<IOException>([&] { stream->readString(); }),
              "Could not allocate 1024 bytes for reading a string");
}

TEST(InputStreamTest, AWideWireStringUsesTheHeapFrom512CodePointsOn) {
    const auto wide = [](size_t count) {
        std::string data = lengthWord(0x80000000u | static_cast<uint32_t>(count));
        for (size_t i = 0; i < count; ++i)
            data += bytes({0x20, 0xAC});
        return data;
    };
    const Ref<InputStream> onStack = streamOf(wide(511));
    const Ref<InputStream> onHeap = streamOf(wide(512));
    const Ref<InputStream> refused = streamOf(wide(512));
    {
        const FailingAllocation failing(1022);
        EXPECT_EQ(onStack->readString().length(), 511);
    }
    const String text = onHeap->readString();
    ASSERT_EQ(text.length(), 512);
    EXPECT_EQ(text[511], char32_t{0x20AC});
    const FailingAllocation failing(1024);
    EXPECT_EQ(failureText<IOException>([&] { refused->readString(); }),
              "Could not allocate 1024 bytes for reading a string");
}

TEST(InputStreamTest, AWireStringThatNoMemoryCanHoldIsAFailureThatNamesItsSize) {
    const Ref<InputStream> stream = streamOf(lengthWord(0x7FFFFFFF) + "abc");
    const FailingAllocation failing(0x7FFFFFFF);
    EXPECT_EQ(failureText<IOException>([&] { stream->readString(); }),
              "Could not allocate 2147483647 bytes for reading a string");
}

TEST(InputStreamTest, AWireStringWhoseTextFindsNoMemoryIsTheSameFailure) {
    const Ref<InputStream> stream = streamOf(lengthWord(3000) + std::string(3000, 'a'));
    // The room for the code points of the growing text.
    const FailingAllocation failing(8192 * sizeof(char32_t));
    EXPECT_EQ(failureText<IOException>([&] { stream->readString(); }),
              "Could not allocate 3000 bytes for reading a string");
}

TEST(InputStreamTest, ReadBoolRefusesAnythingButZeroAndOne) {
    const Ref<InputStream> stream = streamOf(bytes({0x02, 0x01, 0x00, 0xFF}));
    EXPECT_EQ(failureText<IOException>([&] { stream->readBool(); }), "Unexpected value for bool");
    EXPECT_TRUE(stream->readBool());
    EXPECT_FALSE(stream->readBool());
    EXPECT_EQ(failureText<IOException>([&] { stream->readBool(); }), "Unexpected value for bool");
}

TEST(InputStreamTest, ReadLineConsumesTheLineFeedAndKeepsTheCarriageReturn) {
    const Ref<InputStream> stream = streamOf(bytes({0x61, 0x62, 0x0D, 0x0A, 0x63}));
    const String line = stream->readLine();
    ASSERT_EQ(line.length(), 3);
    EXPECT_EQ(line[0], char32_t{0x61});
    EXPECT_EQ(line[1], char32_t{0x62});
    EXPECT_EQ(line[2], char32_t{0x0D});
    EXPECT_EQ(stream->readByte(), 0x63);
}

TEST(InputStreamTest, SkippingPastTheEndOfMemoryIsAnEndOfStream) {
    const Ref<InputStream> stream(new MemoryInputStream("abcdef", 6));
    stream->skip(5);
    EXPECT_EQ(failureText<EOSException>([&] { stream->skip(2); }), "End of stream");
}

TEST(InputStreamTest, ReadStringReadsNarrowText) {
    EXPECT_EQ(streamOf(bytes({0x00, 0x00, 0x00, 0x03, 0x61, 0x62, 0x63}))->readString().toStdString(), "abc");
}

TEST(InputStreamTest, ReadStringReadsWideText) {
    const String text = streamOf(bytes({0x80, 0x00, 0x00, 0x02, 0x00, 0xE9, 0x20, 0xAC}))->readString();
    ASSERT_EQ(text.length(), 2);
    EXPECT_EQ(text[0], char32_t{0xE9});
    EXPECT_EQ(text[1], char32_t{0x20AC});
}

TEST(InputStreamTest, ReadStringReadsTheEmptyTextFromAWordAlone) {
    const Ref<InputStream> stream = streamOf(bytes({0x00, 0x00, 0x00, 0x00, 0x80, 0x00, 0x00, 0x00, 0x2A}));
    EXPECT_TRUE(stream->readString().isEmpty());
    EXPECT_TRUE(stream->readString().isEmpty());
    EXPECT_EQ(stream->readByte(), 0x2A);
}

TEST(InputStreamTest, ReadStringKeepsTheStreamInStepAfterAWideText) {
    const Ref<InputStream> stream = streamOf(bytes({0x80, 0x00, 0x00, 0x01, 0x00, 0xE9}) +
                                             bytes({0x00, 0x00, 0x00, 0x02, 0x68, 0x69}) + bytes({0x01}));
    EXPECT_EQ(stream->readString().toStdString(), "\xC3\xA9");
    EXPECT_EQ(stream->readString().toStdString(), "hi");
    EXPECT_TRUE(stream->readBool());
}

TEST(InputStreamTest, ReadStringLeavesTwoBytesBehindForACodePointThatTookAPair) {
    // U+1F3B9 with the count 1: two bytes too few, which is what the writer's other side has always read.
    const Ref<InputStream> stream = streamOf(bytes({0x80, 0x00, 0x00, 0x01, 0xD8, 0x00, 0xDC, 0x05}));
    const String text = stream->readString();
    ASSERT_EQ(text.length(), 1);
    EXPECT_EQ(text[0], char32_t{0xD800});
    EXPECT_EQ(stream->available(), 2u);
    EXPECT_EQ(stream->readByte(), 0xDC);
}

TEST(InputStreamTest, ReadStringEndsATextAtAnEmbeddedZeroAndStillConsumesItAll) {
    const Ref<InputStream> stream =
        streamOf(bytes({0x00, 0x00, 0x00, 0x05, 0x61, 0x62, 0x00, 0x63, 0x64, 0x2A}));
    EXPECT_EQ(stream->readString().toStdString(), "ab");
    EXPECT_EQ(stream->readByte(), 0x2A);
}

TEST(InputStreamTest, ReadStringRefusesAnEightBitByteInNarrowText) {
    const Ref<InputStream> stream = streamOf(bytes({0x00, 0x00, 0x00, 0x02, 0x61, 0xE9}));
    EXPECT_EQ(failureText<IOException>([&] { stream->readString(); }), "Invalid ASCII byte: e9");
}

TEST(InputStreamTest, ReadStringFollowsTheEndianModeForItsLengthAlone) {
    const Ref<InputStream> stream = streamOf(bytes({0x01, 0x00, 0x00, 0x80, 0x20, 0xAC}));
    stream->setEndianMode(littleEndianMode);
    const String text = stream->readString();
    ASSERT_EQ(text.length(), 1);
    EXPECT_EQ(text[0], char32_t{0x20AC});
}

TEST(InputStreamTest, AWireStringThatIsCutShortIsAnEndOfStream) {
    for (const std::string& data : {bytes({0x00, 0x00}), bytes({0x00, 0x00, 0x00, 0x03, 0x61, 0x62})}) {
        const Ref<InputStream> stream = streamOf(data);
        EXPECT_EQ(failureText<EOSException>([&] { stream->readString(); }), "End of stream");
    }
}

TEST(InputStreamTest, ReadFullyGathersShortReads) {
    const Ref<PiecewiseInputStream> stream(new PiecewiseInputStream({"a", "bc", "def", "g"}));
    char buffer[7];
    stream->readFully(buffer, sizeof buffer);
    EXPECT_EQ(std::string(buffer, sizeof buffer), "abcdefg");
    EXPECT_EQ(stream->sizesAskedFor, (std::vector<size_t>{7, 6, 4, 1}));
}

TEST(InputStreamTest, ReadFullyAtTheEndIsAnEndOfStream) {
    const Ref<InputStream> stream(new PiecewiseInputStream({}));
    char byte;
    EXPECT_EQ(failureText<EOSException>([&] { stream->readFully(&byte, 1); }), "End of stream");
}

TEST(InputStreamTest, ReadFullyOfAStreamThatEndsInsideTheValueIsAnEndOfStream) {
    const Ref<InputStream> stream(new PiecewiseInputStream({"ab"}));
    char buffer[4];
    EXPECT_EQ(failureText<EOSException>([&] { stream->readFully(buffer, sizeof buffer); }), "End of stream");
}

TEST(InputStreamTest, AStreamIsUsableAfterAFailure) {
    const Ref<InputStream> stream = streamOf(bytes({0x07, 0x01}));
    EXPECT_EQ(failureText<IOException>([&] { stream->readBool(); }), "Unexpected value for bool");
    EXPECT_TRUE(stream->readBool());
}

TEST(InputStreamTest, IntegersAreReadInTheOrderThatIsAskedFor) {
    const std::string data = bytes({0x01, 0x02, 0x03, 0x84});
    EXPECT_EQ(streamOf(data)->readNativeInt32(), static_cast<int32_t>(0x84030201));
    EXPECT_EQ(streamOf(data)->readBigEndianInt32(), 0x01020384);
    EXPECT_EQ(streamOf(data)->readInt32(true), static_cast<int32_t>(0x84030201));
    EXPECT_EQ(streamOf(data)->readInt32(false), 0x01020384);
}

TEST(InputStreamTest, IntegersFollowTheEndianModeWhichIsBigAtFirst) {
    const std::string data = bytes({0x01, 0x02, 0x03, 0x84});
    EXPECT_EQ(streamOf(data)->readInt32(), 0x01020384);
    for (const int32_t mode : {littleEndianMode, machineEndianMode, int32_t{3}}) {
        const Ref<InputStream> stream = streamOf(data);
        stream->setEndianMode(mode);
        EXPECT_EQ(stream->readInt32(), static_cast<int32_t>(0x84030201));
    }
    const Ref<InputStream> stream = streamOf(data);
    stream->setEndianMode(bigEndianMode);
    EXPECT_EQ(stream->readInt32(), 0x01020384);
}

TEST(InputStreamTest, OtherValuesAreTheBytesThatTheyHaveInMemory) {
    const Ref<InputStream> stream =
        streamOf(bytes({0x00, 0x00, 0x80, 0x3F}) + bytes({0xEF, 0xCD, 0xAB, 0x89, 0x67, 0x45, 0x23, 0x01}) +
                 bytes({0x00, 0x00, 0x00, 0x00, 0x00, 0x88, 0xE5, 0x40}));
    EXPECT_EQ(readNative<float>(*stream), 1.0f);
    EXPECT_EQ(readNative<int64_t>(*stream), 0x0123456789ABCDEF);
    EXPECT_EQ(readNative<double>(*stream), 44096.0);
}

TEST(InputStreamTest, SkipReadsInPiecesOfAtMost1024Bytes) {
    const Ref<PiecewiseInputStream> stream(new PiecewiseInputStream({std::string(3000, 'x'), "y"}));
    stream->skip(2500);
    EXPECT_EQ(stream->sizesAskedFor, (std::vector<size_t>{1024, 1024, 452}));
    stream->skip(500);
    EXPECT_EQ(stream->readByte(), 'y');
}

TEST(InputStreamTest, SkippingNothingReadsNothing) {
    const Ref<PiecewiseInputStream> stream(new PiecewiseInputStream({}));
    stream->skip(0);
    EXPECT_TRUE(stream->sizesAskedFor.empty());
}

TEST(InputStreamTest, TextIsReadByTheStreamsOwnEncodingOrByAnother) {
    const Ref<InputStream> stream(
        new PiecewiseInputStream({bytes({0xE9, 0xC3, 0xA9, 0xE9, 0x0A, 0xC3, 0xA9, 0x0A, 0xE9})}));
    stream->setTextEncoding(Latin1Encoding::instance);
    EXPECT_EQ(&stream->getTextEncoding(), &Latin1Encoding::instance);
    EXPECT_EQ(stream->readCharacter(), char32_t{0xE9});
    EXPECT_EQ(stream->readCharacter(UTF8Encoding::instance), char32_t{0xE9});
    EXPECT_EQ(stream->readLine().toStdString(), "\xC3\xA9");
    EXPECT_EQ(stream->readLine(UTF8Encoding::instance).toStdString(), "\xC3\xA9");
    EXPECT_EQ(stream->readByte(), 0xE9);
}

TEST(InputStreamTest, ReadTextEndsAtTheTerminatorOrTheLimit) {
    const Ref<InputStream> stream = streamOf("ab;cdef");
    EXPECT_EQ(stream->readText(UTF8Encoding::instance, U';', -1).toStdString(), "ab");
    EXPECT_EQ(stream->readText(UTF8Encoding::instance, U';', 2).toStdString(), "cd");
    EXPECT_EQ(stream->readText(UTF8Encoding::instance, 1).toStdString(), "e");
    EXPECT_EQ(stream->readByte(), 'f');
}

TEST(InputStreamTest, AStreamThatIsMadeWithoutAnEncodingReadsUtf8) {
    const MemoryInputStream stream("", 0);
    EXPECT_EQ(&stream.getTextEncoding(), &UTF8Encoding::instance);
}

TEST(InputStreamTest, TheDefaultsOfAStream) {
    class Bare : public InputStream {
    public:
        size_t read(void*, size_t) override { return 0; }
    };
    Bare stream;
    EXPECT_EQ(stream.available(), 0u);
    EXPECT_TRUE(stream.hasDevice());
    stream.close();
    EXPECT_EQ(failureText<EOSException>([&] { stream.readByte(); }), "End of stream");
}

TEST(MemoryInputStreamTest, MemoryIsReadUpToItsEndAndThenAnswersZero) {
    const Ref<InputStream> stream(new MemoryInputStream("abcde", 5));
    char buffer[4];
    EXPECT_EQ(stream->available(), 5u);
    EXPECT_EQ(stream->read(buffer, 4), 4u);
    EXPECT_EQ(std::string(buffer, 4), "abcd");
    EXPECT_EQ(stream->available(), 1u);
    EXPECT_EQ(stream->read(buffer, 4), 1u);
    EXPECT_EQ(buffer[0], 'e');
    EXPECT_EQ(stream->read(buffer, 4), 0u);
    EXPECT_EQ(stream->read(buffer, 4), 0u);
}

} // namespace
