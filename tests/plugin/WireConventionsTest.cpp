// The primitives of the wire and what all requests share. If these fail, a client and a host that were built
// apart from each other read past one another from the first frame on.

#include "plugin/Frames.h"
#include "plugin/PluginHostRequests.h"
#include "support/RequestFrames.h"
#include "support/TestHost.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

using namespace test_support;
using testing::HasSubstr;

namespace {

std::string writtenString(const String& text) {
    return writtenBy([&](OutputStream& stream) { stream.writeString(text); });
}

} // namespace

TEST(WireConventionsTest, AStringOfAsciiIsItsLengthAndItsBytes) {
    EXPECT_EQ(writtenString("abc"), golden("00 00 00 03 61 62 63"));
    EXPECT_EQ(GoldenStream("00 00 00 03 61 62 63").readString(), "abc");
}

TEST(WireConventionsTest, AStringWithAWideCodePointIsUtf16WithTheTopBitOfItsLengthSet) {
    EXPECT_EQ(writtenString("é"), golden("80 00 00 01 00 E9"));
    EXPECT_EQ(GoldenStream("80 00 00 01 00 E9").readString(), "é");
}

TEST(WireConventionsTest, OneWideCodePointMakesTheWholeStringWide) {
    EXPECT_EQ(writtenString("aé€"), golden("80 00 00 03 00 61 00 E9 20 AC"));
    EXPECT_EQ(GoldenStream("80 00 00 03 00 61 00 E9 20 AC").readString(), "aé€");
}

TEST(WireConventionsTest, TheEmptyStringIsFourZeroBytes) {
    EXPECT_EQ(writtenString(""), golden("00 00 00 00"));
    GoldenStream stream("00 00 00 00");
    EXPECT_TRUE(stream.readString().isEmpty());
    EXPECT_EQ(stream.available(), 0U);
}

TEST(WireConventionsTest, ACodePointAboveTheFirstPlaneLeavesItsReaderTwoBytesShort) {
    // The length counts code points and the reader takes it as units: known, and not to be widened.
    EXPECT_EQ(writtenString("\U0001D11E"), golden("80 00 00 01 D8 34 DD 1E"));
    GoldenStream stream("80 00 00 02 D8 34 DD 1E");
    EXPECT_EQ(stream.readString(), "\U0001D11E");
}

TEST(WireConventionsTest, ANativeIntegerIsLittleEndianAndABigEndianOneIsNot) {
    EXPECT_EQ(writtenBy([](OutputStream& stream) { stream.writeNativeInt32(5); }), golden("05 00 00 00"));
    EXPECT_EQ(writtenBy([](OutputStream& stream) { stream.writeInt32(5); }), golden("00 00 00 05"));
    EXPECT_EQ(GoldenStream("05 00 00 00").readNativeInt32(), 5);
    EXPECT_EQ(GoldenStream("00 00 00 05").readInt32(), 5);
}

TEST(WireConventionsTest, ABoolOfTwoIsRefusedAndNotTakenAsTrue) {
    EXPECT_FALSE(GoldenStream("00").readBool());
    EXPECT_TRUE(GoldenStream("01").readBool());
    try {
        GoldenStream("02").readBool();
        FAIL() << "the byte 2 passed as a bool";
    } catch (const IOException& exception) {
        EXPECT_EQ(exception.getMessage(), "Unexpected value for bool");
    }
}

TEST(WireConventionsTest, EachTypeByteHasItsRequestReplyAndRequestId) {
    int32_t type = 0;
    for (const RequestRow& row : requestRows) {
        SCOPED_TRACE(row.frame);
        GoldenStream stream(row.frame);
        const Ref<PluginHostRequest> request = readRequest(nullptr, stream);
        EXPECT_EQ(stream.available(), 0U) << "bytes of the frame were left";
        EXPECT_EQ(request->getType(), type++);
        EXPECT_EQ(request->needsReply(), row.needsReply);
        EXPECT_EQ(request->isAsync(), row.isAsync);
        EXPECT_EQ(request->requestId, row.needsReply && row.isAsync ? 9 : -1);
        EXPECT_EQ(request->isForInstance(3), row.isForInstance);
        EXPECT_FALSE(request->isForInstance(4));
        EXPECT_EQ(writtenFrame(*request), golden(row.frame));
    }
    EXPECT_EQ(type, 16);
}

TEST(WireConventionsTest, ARequestThatHasBeenReadKnowsItsHandlerAndNoReplyHandler) {
    TestHost host;
    GoldenStream stream("0D");
    const Ref<PluginHostRequest> request = readRequest(host.handler, stream);
    EXPECT_EQ(request->handler, host.handler.get());
    EXPECT_FALSE(request->replyHandler);
}

TEST(WireConventionsTest, AnUnknownRequestTypeIsNamedInItsException) {
    for (const int type : {16, 200, 255}) {
        GoldenStream stream(std::string(1, static_cast<char>(type)), 1);
        try {
            readRequest(nullptr, stream);
            ADD_FAILURE() << "type " << type << " passed";
        } catch (const IOException& exception) {
            EXPECT_EQ(exception.getMessage().toStdString(), "Unknown request type " + std::to_string(type));
        }
    }
}

TEST(WireConventionsTest, ARequestThatEndsInItsMiddleThrowsTheEndOfTheStream) {
    for (const RequestRow& row : requestRows) {
        const std::string frame = bytesOf(row.frame);
        for (size_t size = 0; size < frame.size(); ++size) {
            GoldenStream stream(frame, size);
            EXPECT_THROW(readRequest(nullptr, stream), EOSException) << row.frame << " cut to " << size;
        }
    }
}

TEST(WireConventionsTest, ARequestStartsWithoutIdAndWithUnreadFields) {
    EXPECT_EQ(PingRequest().requestId, -1);
    EXPECT_EQ(CloseGUIRequest().instanceId, -7);
    const CreatePluginInstanceRequest create;
    EXPECT_EQ(create.instanceId, -7);
    EXPECT_TRUE(create.path.isEmpty());
    EXPECT_TRUE(create.presetPath.isEmpty());
    EXPECT_TRUE(create.identifier.isEmpty());
    EXPECT_FALSE(create.dpiAware);
    EXPECT_FALSE(create.callContext);
    const OpenGUIRequest open;
    EXPECT_EQ(open.parentWindow, 0);
    EXPECT_FALSE(open.openEditorFlag);
    EXPECT_TRUE(open.title.isEmpty());
    EXPECT_EQ(SetCurrentProgramRequest().program, 0);
    const SetWindowPositionRequest position;
    EXPECT_EQ(position.x, -1);
    EXPECT_EQ(position.y, -1);
    EXPECT_EQ(position.width, -1);
    EXPECT_EQ(position.height, -1);
}

TEST(WireConventionsTest, RequestsWithoutAReplyReadNone) {
    GoldenStream nothing("");
    EXPECT_FALSE(DestroyPluginInstanceRequest(3).readReply(nothing));
    EXPECT_FALSE(PingRequest().readReply(nothing));
    EXPECT_FALSE(ShutdownRequest().readReply(nothing));
    EXPECT_FALSE(SetWindowTitleRequest(3, "title").readReply(nothing));
}
