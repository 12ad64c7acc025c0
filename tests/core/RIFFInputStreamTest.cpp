// Chunks: a preset whose chunks are read out of step loads somebody else's sound.

#include "core/RIFFInputStream.h"

#include "RecordingStreams.h"
#include "support/FailureText.h"

#include "core/Exception.h"
#include "core/MemoryInputStream.h"

#include <gtest/gtest.h>

#include <string>

using namespace base::core;
using namespace core_tests;
using namespace test_support;

namespace {

// "NISI" of 4 bytes, "odd1" of 5 bytes and a pad byte, "none" of 0 bytes, "last" of 2 bytes.
const std::string file =
    bytes({0x4E, 0x49, 0x53, 0x49, 0x04, 0x00, 0x00, 0x00, 0x01, 0x02, 0x03, 0x04}) +
    bytes({0x6F, 0x64, 0x64, 0x31, 0x05, 0x00, 0x00, 0x00, 0x61, 0x62, 0x63, 0x64, 0x65, 0x00}) +
    bytes({0x6E, 0x6F, 0x6E, 0x65, 0x00, 0x00, 0x00, 0x00}) +
    bytes({0x6C, 0x61, 0x73, 0x74, 0x02, 0x00, 0x00, 0x00, 0x68, 0x69});

class RIFFInputStreamTest : public testing::Test {
protected:
    void walk(const std::string& data) {
        source = new PiecewiseInputStream({data});
        stream = new RIFFInputStream(Ref<InputStream>(source));
    }
    std::string readOnce(size_t size) {
        std::string text(size, '\0');
        text.resize(stream->read(text.data(), size));
        return text;
    }

    Ref<PiecewiseInputStream> source;
    Ref<RIFFInputStream> stream;
};

TEST_F(RIFFInputStreamTest, AnOddChunkIsReadWithItsPadByte) {
    walk(file.substr(12));
    stream->nextChunk();
    EXPECT_EQ(stream->getChunkSize(), 6u);
    EXPECT_EQ(readOnce(100), bytes({0x61, 0x62, 0x63, 0x64, 0x65, 0x00}));
    EXPECT_EQ(readOnce(100), "");
}

TEST_F(RIFFInputStreamTest, TheEndOfAChunkIsAnEndThoughTheSourceHasMore) {
    walk(file);
    stream->nextChunk();
    EXPECT_EQ(stream->readNativeInt32(), 0x04030201);
    EXPECT_EQ(readOnce(4), "");
    EXPECT_GT(source->available(), 0u);
    EXPECT_EQ(failureText<EOSException>([&] { stream->readByte(); }), "End of stream");
}

TEST_F(RIFFInputStreamTest, AtTheEndOfAChunkTheSourceIsNotAsked) {
    walk(file);
    stream->nextChunk();
    EXPECT_EQ(readOnce(4), bytes({0x01, 0x02, 0x03, 0x04}));
    const size_t readsBefore = source->sizesAskedFor.size();
    EXPECT_EQ(readOnce(4), "");
    EXPECT_EQ(source->sizesAskedFor.size(), readsBefore);
}

TEST_F(RIFFInputStreamTest, AValueThatGoesBeyondTheChunkIsAnEndOfStreamToo) {
    walk(file);
    stream->nextChunk();
    stream->readByte();
    EXPECT_EQ(failureText<EOSException>([&] { stream->readNativeInt32(); }), "End of stream");
    // What was taken belongs to the chunk, and the next one is in step.
    stream->nextChunk();
    EXPECT_EQ(stream->getChunkId().toStdString(), "odd1");
}

TEST_F(RIFFInputStreamTest, ChunksFollowEachOther) {
    walk(file);
    stream->nextChunk();
    EXPECT_EQ(stream->getChunkId().toStdString(), "NISI");
    EXPECT_EQ(stream->getChunkSize(), 4u);
    stream->skip(4);
    stream->nextChunk();
    EXPECT_EQ(stream->getChunkId().toStdString(), "odd1");
    stream->skip(6);
    stream->nextChunk();
    EXPECT_EQ(stream->getChunkId().toStdString(), "none");
    EXPECT_EQ(stream->getChunkSize(), 0u);
    EXPECT_EQ(readOnce(1), "");
    stream->nextChunk();
    EXPECT_EQ(stream->getChunkId().toStdString(), "last");
    EXPECT_EQ(readOnce(2), "hi");
}

TEST_F(RIFFInputStreamTest, TheSizeIsLittleEndian) {
    walk(bytes({0x64, 0x61, 0x74, 0x61, 0x04, 0x03, 0x02, 0x01}));
    stream->nextChunk();
    EXPECT_EQ(stream->getChunkSize(), 0x01020304u);
}

TEST_F(RIFFInputStreamTest, AnIdEndsAtAZero) {
    walk(bytes({0x61, 0x62, 0x00, 0x63, 0x00, 0x00, 0x00, 0x00}));
    stream->nextChunk();
    EXPECT_EQ(stream->getChunkId().toStdString(), "ab");
}

TEST_F(RIFFInputStreamTest, AReadStaysWithinTheChunk) {
    walk(file);
    stream->nextChunk();
    EXPECT_EQ(readOnce(3), bytes({0x01, 0x02, 0x03}));
    EXPECT_EQ(readOnce(100), bytes({0x04}));
    EXPECT_EQ(source->sizesAskedFor.back(), 1u);
}

TEST_F(RIFFInputStreamTest, AShortReadOfTheSourceIsPassedOn) {
    source =
        new PiecewiseInputStream({bytes({0x64, 0x61, 0x74, 0x61, 0x04, 0x00, 0x00, 0x00}), "a", "bcdef"});
    stream = new RIFFInputStream(Ref<InputStream>(source));
    stream->nextChunk();
    EXPECT_EQ(readOnce(4), "a");
    EXPECT_EQ(readOnce(4), "bcd");
    EXPECT_EQ(readOnce(4), "");
}

TEST_F(RIFFInputStreamTest, SkippingBeyondTheChunkIsAFailureThatSkipsNothing) {
    walk(file);
    stream->nextChunk();
    stream->skip(1);
    EXPECT_EQ(failureText<IOException>([&] { stream->skip(4); }), "Skipping beyond end of current chunk");
    EXPECT_EQ(readOnce(4), bytes({0x02, 0x03, 0x04}));
}

TEST_F(RIFFInputStreamTest, SkippingToTheEndOfTheChunkIsAllowed) {
    walk(file);
    stream->nextChunk();
    stream->skip(4);
    stream->skip(0);
    EXPECT_EQ(failureText<IOException>([&] { stream->skip(1); }), "Skipping beyond end of current chunk");
}

TEST_F(RIFFInputStreamTest, AHugeSkipIsBeyondTheChunkToo) {
    walk(file);
    stream->nextChunk();
    stream->skip(2);
    EXPECT_EQ(failureText<IOException>([&] { stream->skip(static_cast<size_t>(0xFFFFFFFF)); }),
              "Skipping beyond end of current chunk");
}

TEST_F(RIFFInputStreamTest, AfterTheEndOfTheDataReadAndSkipAreAnEndOfStream) {
    walk(file.substr(26, 8));
    stream->nextChunk();
    EXPECT_EQ(stream->getChunkId().toStdString(), "none");
    EXPECT_EQ(readOnce(1), "");
    EXPECT_EQ(failureText<EOSException>([&] { stream->nextChunk(); }), "End of stream");
    EXPECT_EQ(failureText<EOSException>([&] { readOnce(1); }), "End of stream");
    EXPECT_EQ(failureText<EOSException>([&] { stream->skip(0); }), "End of stream");
}

TEST_F(RIFFInputStreamTest, AHeaderThatIsCutShortIsTheEndOfTheData) {
    walk(bytes({0x64, 0x61, 0x74, 0x61, 0x04, 0x00}));
    EXPECT_EQ(failureText<EOSException>([&] { stream->nextChunk(); }), "End of stream");
    EXPECT_EQ(failureText<EOSException>([&] { readOnce(1); }), "End of stream");
}

TEST_F(RIFFInputStreamTest, AChunkThatIsCutShortEndsWithTheSource) {
    walk(bytes({0x64, 0x61, 0x74, 0x61, 0x08, 0x00, 0x00, 0x00, 0x61, 0x62}));
    stream->nextChunk();
    EXPECT_EQ(readOnce(8), "ab");
    EXPECT_EQ(readOnce(8), "");
    EXPECT_EQ(failureText<EOSException>([&] { stream->skip(1); }), "End of stream");
}

TEST_F(RIFFInputStreamTest, BeforeTheFirstChunkThereIsNothingToRead) {
    walk(file);
    EXPECT_EQ(readOnce(4), "");
    EXPECT_EQ(failureText<IOException>([&] { stream->skip(1); }), "Skipping beyond end of current chunk");
}

TEST_F(RIFFInputStreamTest, CloseIsForwardedAndTheEncodingTakenOn) {
    source = new PiecewiseInputStream({}, Latin1Encoding::instance);
    stream = new RIFFInputStream(Ref<InputStream>(source));
    EXPECT_EQ(&stream->getTextEncoding(), &Latin1Encoding::instance);
    stream->close();
    EXPECT_EQ(source->closes, 1);
}

} // namespace
