// Writing: the bytes of the wire. The process on the other side may be of another build, so each is fixed.

#include "core/OutputStream.h"

#include "RecordingStreams.h"
#include "support/CapturedOutput.h"
#include "support/FailureText.h"

#include "core/BufferedStreams.h"
#include "core/NamedPipe.h"
#include "core/Ref.h"
#include "core/String.h"

#include <gtest/gtest.h>

#include <string>
#include <unistd.h>
#include <vector>

using namespace base::core;
using namespace core_tests;
using namespace test_support;

namespace {

Ref<RecordingOutputStream> newStream() {
    return new RecordingOutputStream;
}

std::string wireString(const String& text) {
    const Ref<RecordingOutputStream> stream = newStream();
    stream->writeString(text);
    return stream->all();
}

String textOf(char32_t codePoint) {
    StringBuilder builder;
    builder.append(codePoint);
    return builder.toString();
}

TEST(OutputStreamTest, WriteStringOfAscii) {
    EXPECT_EQ(wireString("abc"), bytes({0x00, 0x00, 0x00, 0x03, 0x61, 0x62, 0x63}));
}

TEST(OutputStreamTest, WriteStringOnAPipe) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    {
        const Ref<OutputStream> stream(new BufferedOutputStream(new NamedPipeOutputStream(ends[1])));
        stream->writeString("abc");
        stream->flush();
    }
    char buffer[16];
    const ssize_t count = read(ends[0], buffer, sizeof buffer);
    close(ends[0]);
    ASSERT_EQ(count, 7);
    EXPECT_EQ(std::string(buffer, 7), bytes({0x00, 0x00, 0x00, 0x03, 0x61, 0x62, 0x63}));
}

TEST(OutputStreamTest, WriteStringOfOneCodePointAboveAscii) {
    EXPECT_EQ(wireString("\xC3\xA9"), bytes({0x80, 0x00, 0x00, 0x01, 0x00, 0xE9}));
}

TEST(OutputStreamTest, WriteStringIsWideFrom128On) {
    EXPECT_EQ(wireString(textOf(0x7F)), bytes({0x00, 0x00, 0x00, 0x01, 0x7F}));
    EXPECT_EQ(wireString(textOf(0x80)), bytes({0x80, 0x00, 0x00, 0x01, 0x00, 0x80}));
    EXPECT_EQ(wireString("a\xE2\x82\xAC"), bytes({0x80, 0x00, 0x00, 0x02, 0x00, 0x61, 0x20, 0xAC}));
}

TEST(OutputStreamTest, WriteStringOfAnEmptyTextIsAWordAlone) {
    EXPECT_EQ(wireString(""), bytes({0x00, 0x00, 0x00, 0x00}));
    EXPECT_EQ(wireString(String()), bytes({0x00, 0x00, 0x00, 0x00}));
}

TEST(OutputStreamTest, WriteStringCountsCodePointsAndNeverSurrogates) {
    EXPECT_EQ(wireString(textOf(0x1F3B9)), bytes({0x80, 0x00, 0x00, 0x01, 0xD8, 0x3C, 0xDF, 0xB9}));
    EXPECT_EQ(wireString(textOf(0x10000)), bytes({0x80, 0x00, 0x00, 0x01, 0xD8, 0x00, 0xDC, 0x00}));
}

TEST(OutputStreamTest, WriteStringFollowsTheEndianModeForItsLengthAlone) {
    const Ref<RecordingOutputStream> stream = newStream();
    stream->setEndianMode(littleEndianMode);
    stream->writeString("\xE2\x82\xAC");
    EXPECT_EQ(stream->all(), bytes({0x01, 0x00, 0x00, 0x80, 0x20, 0xAC}));
}

TEST(OutputStreamTest, WriteStringOfALongText) {
    EXPECT_EQ(wireString(std::string(0x1234, 'x').c_str()),
              bytes({0x00, 0x00, 0x12, 0x34}) + std::string(0x1234, 'x'));
}

TEST(OutputStreamTest, BigEndianIntegersAreFourWritesOfOneByte) {
    const Ref<RecordingOutputStream> stream = newStream();
    stream->writeInt32(0x01020384);
    EXPECT_EQ(stream->writes, (std::vector<std::string>{"\x01", "\x02", "\x03", "\x84"}));
    const Ref<RecordingOutputStream> explicitly = newStream();
    explicitly->writeBigEndianInt32(-2);
    EXPECT_EQ(explicitly->writes, (std::vector<std::string>{"\xFF", "\xFF", "\xFF", "\xFE"}));
}

TEST(OutputStreamTest, LittleEndianIntegersAreFourWritesOfOneByte) {
    const Ref<RecordingOutputStream> stream = newStream();
    stream->setEndianMode(littleEndianMode);
    stream->writeInt32(0x01020384);
    EXPECT_EQ(stream->writes, (std::vector<std::string>{"\x84", "\x03", "\x02", "\x01"}));
}

TEST(OutputStreamTest, IntegersInTheMachinesOrderAreOneWrite) {
    const Ref<RecordingOutputStream> stream = newStream();
    stream->setEndianMode(machineEndianMode);
    stream->writeInt32(0x01020384);
    EXPECT_EQ(stream->writes, (std::vector<std::string>{"\x84\x03\x02\x01"}));
    const Ref<RecordingOutputStream> explicitly = newStream();
    explicitly->writeNativeInt32(0x01020384);
    EXPECT_EQ(explicitly->writes, (std::vector<std::string>{"\x84\x03\x02\x01"}));
}

TEST(OutputStreamTest, AnUnknownEndianModeIsAFailedAssertionAndWritesNothing) {
    const Ref<RecordingOutputStream> stream = newStream();
    stream->setEndianMode(3);
    std::string report;
    {
        const CapturedOutput captured(STDERR_FILENO);
        stream->writeInt32(1);
        report = captured.text();
    }
    EXPECT_TRUE(stream->writes.empty());
    EXPECT_NE(report.find("Condition: false\nIllegal state: Unknown endian mode\n"), std::string::npos)
        << report;
}

TEST(OutputStreamTest, OtherValuesAreTheBytesThatTheyHaveInMemory) {
    const Ref<RecordingOutputStream> stream = newStream();
    writeNative(*stream, 1.0f);
    writeNative(*stream, int64_t{0x0123456789ABCDEF});
    writeNative(*stream, 44096.0);
    EXPECT_EQ(stream->writes,
              (std::vector<std::string>{bytes({0x00, 0x00, 0x80, 0x3F}),
                                        bytes({0xEF, 0xCD, 0xAB, 0x89, 0x67, 0x45, 0x23, 0x01}),
                                        bytes({0x00, 0x00, 0x00, 0x00, 0x00, 0x88, 0xE5, 0x40})}));
}

TEST(OutputStreamTest, TextIsWrittenByTheStreamsOwnEncodingOrByAnother) {
    const Ref<RecordingOutputStream> stream = newStream();
    EXPECT_EQ(&stream->getTextEncoding(), &UTF8Encoding::instance);
    const String text("\xC3\xA9");
    stream->writeText(text);
    stream->writeText(text, Latin1Encoding::instance);
    stream->writeText("\xC3\xA9");
    stream->writeText("\xC3\xA9", UTF16BEEncoding::instance);
    stream->writeCharacter(0xE9);
    stream->writeCharacter(0xE9, UTF16LEEncoding::instance);
    EXPECT_EQ(stream->all(), bytes({0xC3, 0xA9, 0xE9, 0xC3, 0xA9, 0x00, 0xE9, 0xC3, 0xA9, 0xE9, 0x00}));

    const Ref<RecordingOutputStream> other = newStream();
    other->setTextEncoding(UTF16BEEncoding::instance);
    other->writeText("a");
    other->writeText(text);
    other->writeCharacter(0x20AC);
    EXPECT_EQ(other->all(), bytes({0x00, 0x61, 0x00, 0xE9, 0x20, 0xAC}));
}

TEST(OutputStreamTest, WriteLineEndsWithALineFeedOfTheSameEncodingAndAFlush) {
    const Ref<RecordingOutputStream> stream = newStream();
    stream->writeLine(String("a"), UTF16BEEncoding::instance);
    EXPECT_EQ(stream->all(), bytes({0x00, 0x61, 0x00, 0x0A}));
    EXPECT_EQ(stream->writesAtFlush, (std::vector<size_t>{2}));
    stream->writeLine("b", UTF16BEEncoding::instance);
    EXPECT_EQ(stream->all(), bytes({0x00, 0x61, 0x00, 0x0A, 0x00, 0x62, 0x00, 0x0A}));
    EXPECT_EQ(stream->writesAtFlush, (std::vector<size_t>{2, 4}));
}

TEST(OutputStreamTest, PrintLineUsesTheStreamsOwnEncodingAndFlushes) {
    const Ref<RecordingOutputStream> stream(new RecordingOutputStream(Latin1Encoding::instance));
    stream->printLine("\xC3\xA9");
    EXPECT_EQ(stream->all(), bytes({0xE9, 0x0A}));
    stream->printLine(String("\xC3\xA9"));
    EXPECT_EQ(stream->all(), bytes({0xE9, 0x0A, 0xE9, 0x0A}));
    EXPECT_EQ(stream->writesAtFlush, (std::vector<size_t>{2, 4}));
}

TEST(OutputStreamTest, PrintLineOfABuilderAlsoFlushesBeforeTheLineFeed) {
    const Ref<RecordingOutputStream> stream = newStream();
    stream->printLine(StringBuilder("ab"));
    EXPECT_EQ(stream->all(), "ab\n");
    EXPECT_EQ(stream->writesAtFlush, (std::vector<size_t>{2, 3}));
}

TEST(OutputStreamTest, WriteByteIsAWriteOfOne) {
    const Ref<RecordingOutputStream> stream = newStream();
    stream->writeByte(0xFE);
    EXPECT_EQ(stream->writes, (std::vector<std::string>{"\xFE"}));
}

TEST(OutputStreamTest, TheDefaultsOfAStream) {
    class Bare : public OutputStream {
    public:
        void write(const void*, size_t) override {}
    };
    Bare stream;
    EXPECT_TRUE(stream.hasDevice());
    EXPECT_FALSE(stream.hasWholeLines());
    stream.flush();
    stream.close();
}

} // namespace
