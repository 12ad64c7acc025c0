// Buffers: a message that stays in one is a client that waits for ever; one that leaves in pieces costs a
// system call for each.

#include "core/BufferedStreams.h"

#include "RecordingStreams.h"
#include "support/FailureText.h"

#include "core/Exception.h"
#include "core/TextEncoding.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

using namespace base::core;
using namespace core_tests;
using namespace test_support;

namespace {

using Pieces = std::vector<std::string>;
using Sizes = std::vector<size_t>;
using Places = std::vector<const void*>;

std::string readOnce(InputStream& stream, size_t size) {
    std::string text(size, '\0');
    text.resize(stream.read(text.data(), size));
    return text;
}

void writeText(OutputStream& stream, const std::string& text) {
    stream.write(text.data(), text.size());
}

class BufferedOutputStreamTest : public testing::Test {
protected:
    Ref<RecordingOutputStream> device{new RecordingOutputStream};
    Ref<OutputStream> stream{new BufferedOutputStream(Ref<OutputStream>(device))};
};

TEST_F(BufferedOutputStreamTest, AWriteOf1024BytesIntoAnEmptyBufferPassesThroughAndOneOf1023Stays) {
    writeText(*stream, std::string(1024, 'a'));
    EXPECT_EQ(device->writes, Pieces{std::string(1024, 'a')});
    writeText(*stream, std::string(1023, 'b'));
    EXPECT_EQ(device->writes.size(), 1u);
    stream->flush();
    EXPECT_EQ(device->writes, (Pieces{std::string(1024, 'a'), std::string(1023, 'b')}));
}

TEST_F(BufferedOutputStreamTest, SmallWritesLeaveTogetherAtTheFlush) {
    stream->writeByte(1);
    stream->writeBigEndianInt32(2);
    stream->writeString("abc");
    EXPECT_TRUE(device->writes.empty());
    EXPECT_EQ(device->flushes, 0);
    stream->flush();
    EXPECT_EQ(device->writes,
              Pieces{bytes({0x01, 0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00, 0x03, 0x61, 0x62, 0x63})});
    EXPECT_EQ(device->flushes, 1);
}

TEST_F(BufferedOutputStreamTest, AFlushOfAnEmptyBufferWritesNothingAndIsPassedOn) {
    stream->flush();
    EXPECT_TRUE(device->writes.empty());
    EXPECT_EQ(device->flushes, 1);
}

TEST_F(BufferedOutputStreamTest, AWriteThatDoesNotFitSendsTheBufferAheadAndStaysItself) {
    writeText(*stream, std::string(1000, 'a'));
    writeText(*stream, std::string(24, 'b')); // would fill it to the last byte
    EXPECT_EQ(device->writes, Pieces{std::string(1000, 'a')});
    stream->flush();
    EXPECT_EQ(device->writes, (Pieces{std::string(1000, 'a'), std::string(24, 'b')}));
}

TEST_F(BufferedOutputStreamTest, AWriteThatLeavesAByteFreeStays) {
    writeText(*stream, std::string(1000, 'a'));
    writeText(*stream, std::string(23, 'b'));
    EXPECT_TRUE(device->writes.empty());
    stream->flush();
    EXPECT_EQ(device->writes, Pieces{std::string(1000, 'a') + std::string(23, 'b')});
}

TEST_F(BufferedOutputStreamTest, BytesOneByOneLeaveInTheSamePiecesHoweverTheyAreWritten) {
    const Ref<RecordingOutputStream> plain(new RecordingOutputStream);
    const Ref<OutputStream> plainStream(new BufferedOutputStream(Ref<OutputStream>(plain)));
    for (size_t start = 1015; start <= 1023; ++start) {
        device->writes.clear();
        plain->writes.clear();
        writeText(*stream, std::string(start, 'a'));
        writeText(*plainStream, std::string(start, 'a'));
        for (int32_t i = 0; i < 3; ++i) {
            stream->writeBigEndianInt32(0x01020304);
            for (const char byte : {'\1', '\2', '\3', '\4'})
                plainStream->writeByte(static_cast<uint8_t>(byte));
        }
        stream->flush();
        plainStream->flush();
        EXPECT_EQ(device->writes.size(), 2u);
        EXPECT_EQ(device->writes, plain->writes) << start;
    }
}

TEST_F(BufferedOutputStreamTest, ABigWritePassesThroughBehindWhatWasBuffered) {
    writeText(*stream, "head");
    writeText(*stream, std::string(5000, 'x'));
    writeText(*stream, "tail");
    EXPECT_EQ(device->writes, (Pieces{"head", std::string(5000, 'x')}));
    stream->flush();
    EXPECT_EQ(device->all(), "head" + std::string(5000, 'x') + "tail");
}

TEST_F(BufferedOutputStreamTest, ATextLeavesInThePiecesOfItsCharacters) {
    const TextEncoding* encodings[] = {&UTF8Encoding::instance, &Latin1Encoding::instance,
                                       &ASCIIEncoding::instance, &UTF16BEEncoding::instance};
    // 23 is the most that fits behind 1,000 bytes; the fifth has code points beyond 127 in it and at its end.
    for (const std::string& given :
         {std::string(), std::string("a"), std::string(23, 'b'), std::string(24, 'c'),
          std::string("d\xC3\xA9 \x7F\xC2\x80"), std::string(2100, 'e')}) {
        const String text(given.c_str());
        for (const TextEncoding* encoding : encodings) {
            const auto piecesOf = [&](const auto& write) {
                const Ref<RecordingOutputStream> target(new RecordingOutputStream);
                const Ref<OutputStream> buffered(new BufferedOutputStream(Ref<OutputStream>(target)));
                writeText(*buffered, std::string(1000, '-'));
                try {
                    write(*buffered);
                } catch (const IOException&) {
                    writeText(*buffered, "failed");
                }
                buffered->flush();
                return target->writes;
            };
            EXPECT_EQ(piecesOf([&](OutputStream& out) { out.writeText(text, *encoding); }),
                      piecesOf([&](OutputStream& out) {
                          for (int32_t i = 0; i < text.length(); ++i)
                              encoding->encodeCharacter(text[i], out);
                      }))
                << given;
        }
    }
}

TEST_F(BufferedOutputStreamTest, ABytesOwnWriteLeavesAByteFreeToo) {
    writeText(*stream, std::string(1022, 'a'));
    stream->writeByte('b');
    EXPECT_TRUE(device->writes.empty());
    stream->writeByte('c');
    EXPECT_EQ(device->writes, Pieces{std::string(1022, 'a') + "b"});
}

TEST_F(BufferedOutputStreamTest, CloseFlushesAndClosesTheWrappedStream) {
    writeText(*stream, "last words");
    stream->close();
    EXPECT_EQ(device->writes, Pieces{"last words"});
    EXPECT_EQ(device->flushes, 1);
    EXPECT_EQ(device->closes, 1);
}

TEST_F(BufferedOutputStreamTest, ACloseWhoseFlushFailsStillClosesTheWrappedStreamAndThenThrows) {
    writeText(*stream, "last words");
    device->failsToWrite = true;
    EXPECT_EQ(failureText<IOException>([&] { stream->close(); }), "The device is full");
    EXPECT_EQ(device->closes, 1);
}

TEST_F(BufferedOutputStreamTest, ACloseThatFailsTwiceTellsTheFailureOfTheFlush) {
    writeText(*stream, "last words");
    device->failsToWrite = true;
    device->failsToClose = true;
    EXPECT_EQ(failureText<IOException>([&] { stream->close(); }), "The device is full");
    EXPECT_EQ(device->closes, 1);
}

TEST_F(BufferedOutputStreamTest, AFailureOfTheWrappedCloseIsPassedOn) {
    device->failsToClose = true;
    EXPECT_EQ(failureText<IOException>([&] { stream->close(); }), "The device is stuck");
}

TEST_F(BufferedOutputStreamTest, TheDestructorDoesNotFlush) {
    writeText(*stream, "never seen");
    stream = nullptr;
    EXPECT_TRUE(device->writes.empty());
    EXPECT_EQ(device->flushes, 0);
    EXPECT_EQ(device->closes, 0);
}

TEST_F(BufferedOutputStreamTest, AnEncodingIsTakenFromTheWrappedStreamAndHandedToIt) {
    const Ref<RecordingOutputStream> wrapped(new RecordingOutputStream(Latin1Encoding::instance));
    const Ref<OutputStream> wrapping(new BufferedOutputStream(Ref<OutputStream>(wrapped)));
    EXPECT_EQ(&wrapping->getTextEncoding(), &Latin1Encoding::instance);
    wrapping->setTextEncoding(UTF16BEEncoding::instance);
    EXPECT_EQ(&wrapping->getTextEncoding(), &UTF16BEEncoding::instance);
    EXPECT_EQ(&wrapped->getTextEncoding(), &UTF16BEEncoding::instance);
}

TEST_F(BufferedOutputStreamTest, WhetherThereIsADeviceIsForTheWrappedStreamToSay) {
    EXPECT_TRUE(stream->hasDevice());
    device->device = false;
    EXPECT_FALSE(stream->hasDevice());
}

class BufferedInputStreamTest : public testing::Test {
protected:
    void deliver(const Pieces& pieces) {
        source = new PiecewiseInputStream(pieces);
        stream = new BufferedInputStream(Ref<InputStream>(source));
    }

    Ref<PiecewiseInputStream> source;
    Ref<InputStream> stream;
};

TEST_F(BufferedInputStreamTest, SmallReadsAskTheWrappedStreamOnceForTheWholeCapacity) {
    deliver({"abcdefgh"});
    EXPECT_EQ(readOnce(*stream, 1), "a");
    EXPECT_EQ(readOnce(*stream, 3), "bcd");
    EXPECT_EQ(source->sizesAskedFor, Sizes{1024});
}

TEST_F(BufferedInputStreamTest, AReadDeliversTheRestOfTheBufferEvenIfItIsLess) {
    deliver({"abcdef", "ghi"});
    EXPECT_EQ(readOnce(*stream, 4), "abcd");
    EXPECT_EQ(readOnce(*stream, 100), "ef");
    EXPECT_EQ(source->sizesAskedFor, Sizes{1024});
    EXPECT_EQ(readOnce(*stream, 100), "ghi");
}

TEST_F(BufferedInputStreamTest, AReadOfMoreThanTheCapacityGoesStraightToTheWrappedStream) {
    deliver({std::string(3000, 'x')});
    std::string text(1025, '\0');
    EXPECT_EQ(stream->read(text.data(), text.size()), 1025u);
    EXPECT_EQ(text, std::string(1025, 'x'));
    EXPECT_EQ(source->sizesAskedFor, Sizes{1025});
    EXPECT_EQ(source->targets, Places{text.data()});
}

TEST_F(BufferedInputStreamTest, AReadOfExactlyTheCapacityGoesThroughTheBuffer) {
    deliver({std::string(700, 'x'), "y"});
    std::string text(1024, '\0');
    EXPECT_EQ(stream->read(text.data(), text.size()), 700u);
    EXPECT_EQ(text.substr(0, 700), std::string(700, 'x'));
    EXPECT_EQ(source->sizesAskedFor, Sizes{1024});
    EXPECT_NE(source->targets, Places{text.data()});
}

TEST_F(BufferedInputStreamTest, ABigReadTakesWhatIsBufferedFirst) {
    deliver({"abcdef", std::string(2000, 'x')});
    EXPECT_EQ(readOnce(*stream, 2), "ab");
    EXPECT_EQ(readOnce(*stream, 2000), "cdef");
    EXPECT_EQ(readOnce(*stream, 2000), std::string(2000, 'x'));
}

TEST_F(BufferedInputStreamTest, WhatWasReadBeforeABigReadDoesNotComeAgainBehindIt) {
    deliver({"abcdef", std::string(2000, 'x'), "ghi"});
    EXPECT_EQ(readOnce(*stream, 6), "abcdef");
    EXPECT_EQ(readOnce(*stream, 2000), std::string(2000, 'x'));
    EXPECT_EQ(stream->available(), 3u);
    EXPECT_EQ(readOnce(*stream, 6), "ghi");
}

TEST_F(BufferedInputStreamTest, TheEndOfTheWrappedStreamIsTheEnd) {
    deliver({"a"});
    EXPECT_EQ(readOnce(*stream, 10), "a");
    EXPECT_EQ(readOnce(*stream, 10), "");
    EXPECT_EQ(readOnce(*stream, 5000), "");
    EXPECT_EQ(failureText<EOSException>([&] { stream->readByte(); }), "End of stream");
}

TEST_F(BufferedInputStreamTest, ValuesMayLieAcrossTheBuffers) {
    std::string data;
    for (int i = 0; i < 3000; ++i)
        data.push_back(static_cast<char>(i * 7));
    deliver({data.substr(0, 1), data.substr(1, 1500), data.substr(1501)});
    std::string read(3000, '\0');
    for (size_t i = 0; i < 3000; i += 60)
        stream->readFully(read.data() + i, 60);
    EXPECT_EQ(read, data);
}

TEST_F(BufferedInputStreamTest, WhatIsBufferedCanBeReadInPlaceIfAllOfItIs) {
    deliver({"abcdef", "ghi"});
    EXPECT_EQ(stream->readBuffered(1), nullptr) << "nothing is buffered yet";
    EXPECT_TRUE(source->sizesAskedFor.empty());
    EXPECT_EQ(stream->readByte(), 'a');
    const uint8_t* const found = stream->readBuffered(3);
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(std::string(found, found + 3), "bcd");
    EXPECT_EQ(stream->readBuffered(3), nullptr);
    const uint8_t* const rest = stream->readBuffered(2);
    ASSERT_NE(rest, nullptr);
    EXPECT_EQ(std::string(rest, rest + 2), "ef");
    EXPECT_EQ(readOnce(*stream, 100), "ghi");
    EXPECT_EQ(source->readBuffered(0), nullptr) << "a stream without a buffer";
}

TEST_F(BufferedInputStreamTest, AvailableAddsWhatIsBuffered) {
    deliver({"abcdef", "ghi"});
    EXPECT_EQ(stream->available(), 6u);
    stream->readByte();
    EXPECT_EQ(stream->available(), 5u + 3u);
}

TEST_F(BufferedInputStreamTest, AFailedReadLeavesAStreamThatMayBeReadAgain) {
    class FailsOnce : public InputStream {
    public:
        size_t read(void* buffer, size_t) override {
            if (calls++ == 1)
                throw IOException("Interrupted");
            std::memcpy(buffer, calls == 1 ? "ab" : "cd", 2);
            return 2;
        }
        int calls = 0;
    };
    const Ref<InputStream> buffered(new BufferedInputStream(new FailsOnce));
    EXPECT_EQ(readOnce(*buffered, 2), "ab");
    EXPECT_EQ(failureText<IOException>([&] { readOnce(*buffered, 2); }), "Interrupted");
    EXPECT_EQ(readOnce(*buffered, 10), "cd");
}

TEST_F(BufferedInputStreamTest, OtherCallsAreForwarded) {
    deliver({"a"});
    stream->close();
    EXPECT_EQ(source->closes, 1);
    EXPECT_TRUE(stream->hasDevice());
    source->device = false;
    EXPECT_FALSE(stream->hasDevice());
    stream->setTextEncoding(Latin1Encoding::instance);
    EXPECT_EQ(&stream->getTextEncoding(), &Latin1Encoding::instance);
    EXPECT_EQ(&source->getTextEncoding(), &Latin1Encoding::instance);
}

TEST_F(BufferedInputStreamTest, AnEncodingIsTakenFromTheWrappedStream) {
    const Ref<InputStream> buffered(
        new BufferedInputStream(new PiecewiseInputStream({"\xE9"}, Latin1Encoding::instance)));
    EXPECT_EQ(buffered->readCharacter(), char32_t{0xE9});
}

} // namespace
