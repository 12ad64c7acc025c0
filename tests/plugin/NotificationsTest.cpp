// What a host tells its client unasked. If these fail, knobs in the client's window stand still, jump to
// wrong values, or the client loses step with its host.

#include "plugin/Frames.h"
#include "plugin/PluginHostNotificationListener.h"
#include "plugin/PluginHostNotifications.h"
#include "support/StateBytes.h"
#include "support/TestHost.h"
#include "tests/plugin/RichInstance.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace test_support;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// What each frame has behind the `int32n` 0 of its channel.
constexpr char parameterFrame[] = "00 02 00 00 00 03 00 00 00 00 00 00 3F";
constexpr char displayFrame[] = "01 02 00 00 00 03 00 00 00 00 00 00 04 'Gain' 80 00 00 02 00 B1 00 30";
const std::string allFrame = "02 02 00 00 00" + richState();
constexpr char beginFrame[] = "03 02 00 00 00 03 00 00 00 01";
constexpr char endFrame[] = "03 02 00 00 00 03 00 00 00 00";
constexpr char closedFrame[] = "04 05 00 00 00";
constexpr char movedFrame[] = "05 01 00 00 00 00 00 00 0A 00 00 00 14 00 00 01 2C 00 00 00 C8";

std::string sent(std::string_view frame) {
    return "notification: " + golden(frame);
}

class NotificationsTest : public testing::Test {
protected:
    TestHost host;
    LoggingHandler* handler = host.handler.get();
    Ref<FakePluginInstance> instance = host.addInstance(2);
};

// Reads a frame as the client does and holds it as the class that its type byte stands for.
template <class Notification>
Ref<Notification> readAs(std::string_view frame, Object* sender = nullptr) {
    GoldenStream stream(frame);
    const Ref<PluginHostNotification> notification = readNotification(stream, sender);
    EXPECT_EQ(stream.available(), 0U) << "bytes of the frame were left";
    EXPECT_EQ(notification->sender, sender);
    auto* read = dynamic_cast<Notification*>(notification.get());
    if (read == nullptr)
        throw IOException("the frame made a notification of another class");
    return read;
}

class RecordingListener : public PluginHostNotificationListener {
public:
    void onUpdateParameter(const UpdateParameterNotification&) override { log.add("parameter"); }
    void onUpdateParameterDisplay(const UpdateParameterDisplayNotification&) override { log.add("display"); }
    void onUpdateAllParameters(const UpdateAllParametersNotification&) override { log.add("all"); }
    void onBeginOrEndEditParameter(const BeginOrEndEditParameterNotification&) override { log.add("edit"); }
    void onPluginWindowMoved(const PluginWindowMovedNotification&) override { log.add("moved"); }
    void onPluginWindowClosed(const PluginWindowClosedNotification&) override { log.add("closed"); }

    CallLog log;
};

} // namespace

TEST_F(NotificationsTest, UpdateParameterCarriesItsIndexAndTheBitsOfItsValue) {
    const UpdateParameterNotification notification(*instance, handler, 3, 0.5F);
    EXPECT_EQ(notification.getType(), 0);
    EXPECT_EQ(written(notification), golden(parameterFrame));
    const auto read = readAs<UpdateParameterNotification>(parameterFrame, instance.get());
    EXPECT_EQ(read->instanceId, 2);
    EXPECT_EQ(read->parameterIndex, 3);
    EXPECT_EQ(read->value, 0.5F);
    EXPECT_FALSE(read->instance);
}

TEST_F(NotificationsTest, UpdateParameterDisplayCarriesNameAndText) {
    const UpdateParameterDisplayNotification notification(*instance, handler, 3, "Gain", "±0");
    EXPECT_EQ(notification.getType(), 1);
    EXPECT_EQ(written(notification), golden(displayFrame));
    const auto read = readAs<UpdateParameterDisplayNotification>(displayFrame);
    EXPECT_EQ(read->instanceId, 2);
    EXPECT_EQ(read->parameterIndex, 3);
    EXPECT_EQ(read->name, "Gain");
    EXPECT_EQ(read->display, "±0");
    EXPECT_FALSE(read->instance);
}

TEST_F(NotificationsTest, UpdateAllParametersCarriesTheState) {
    makeRich(*instance);
    UpdateAllParametersNotification notification(*instance, handler);
    EXPECT_EQ(notification.getType(), 2);
    notification.run();
    EXPECT_EQ(written(notification), golden(allFrame));
    const auto read = readAs<UpdateAllParametersNotification>(allFrame);
    EXPECT_EQ(read->instanceId, 2);
    ASSERT_TRUE(read->state);
    EXPECT_EQ(written(*read->state), golden(richState()));
}

TEST_F(NotificationsTest, AnEditEndsInOneForItsBeginAndZeroForItsEnd) {
    EXPECT_EQ(written(BeginOrEndEditParameterNotification(2, handler, 3, true)), golden(beginFrame));
    const BeginOrEndEditParameterNotification end(2, handler, 3, false);
    EXPECT_EQ(end.getType(), 3);
    EXPECT_EQ(written(end), golden(endFrame));
    EXPECT_TRUE(readAs<BeginOrEndEditParameterNotification>(beginFrame)->isBegin);
    const auto read = readAs<BeginOrEndEditParameterNotification>(endFrame);
    EXPECT_EQ(read->instanceId, 2);
    EXPECT_EQ(read->parameterIndex, 3);
    EXPECT_FALSE(read->isBegin);
}

TEST_F(NotificationsTest, AClosedWindowIsItsInstanceAlone) {
    const PluginWindowClosedNotification notification(5, handler);
    EXPECT_EQ(notification.getType(), 4);
    EXPECT_EQ(written(notification), golden(closedFrame));
    EXPECT_EQ(readAs<PluginWindowClosedNotification>(closedFrame)->instanceId, 5);
}

TEST_F(NotificationsTest, TheGeometryOfAMovedWindowIsBigEndian) {
    const PluginWindowMovedNotification notification(1, handler, 10, 20, 300, 200);
    EXPECT_EQ(notification.getType(), 5);
    EXPECT_EQ(written(notification), golden(movedFrame));
    const auto read = readAs<PluginWindowMovedNotification>(movedFrame);
    EXPECT_EQ(read->instanceId, 1);
    EXPECT_EQ(read->x, 10);
    EXPECT_EQ(read->y, 20);
    EXPECT_EQ(read->width, 300);
    EXPECT_EQ(read->height, 200);
}

TEST_F(NotificationsTest, AnUnknownTypeMakesNoNotificationAndIsReadAloneOfItsFrame) {
    for (const char* frame : {"06 01 00 00 00", "FF 01 00 00 00"}) {
        GoldenStream stream(frame);
        EXPECT_FALSE(readNotification(stream, nullptr));
        EXPECT_EQ(stream.available(), 4U);
    }
}

TEST_F(NotificationsTest, ANotificationThatEndsInItsMiddleThrowsTheEndOfTheStream) {
    for (const std::string& frame :
         {std::string(parameterFrame), std::string(displayFrame), allFrame, std::string(beginFrame),
          std::string(closedFrame), std::string(movedFrame)}) {
        const std::string bytes = bytesOf(frame);
        for (size_t size = 0; size < bytes.size(); ++size) {
            GoldenStream stream(bytes, size);
            EXPECT_THROW(readNotification(stream, nullptr), EOSException) << frame << " cut to " << size;
        }
    }
}

TEST_F(NotificationsTest, RunningOneHandsItToItsSender) {
    UpdateParameterNotification(*instance, handler, 3, 0.5F).run();
    UpdateParameterDisplayNotification(*instance, handler, 3, "Gain", "±0").run();
    BeginOrEndEditParameterNotification(2, handler, 3, true).run();
    PluginWindowClosedNotification(5, handler).run();
    PluginWindowMovedNotification(1, handler, 10, 20, 300, 200).run();
    EXPECT_THAT(host.log.all(), ElementsAre(sent(parameterFrame), sent(displayFrame), sent(beginFrame),
                                            sent(closedFrame), sent(movedFrame)));
}

TEST_F(NotificationsTest, ParameterNotificationsWithoutAnInstanceAreNotSent) {
    readAs<UpdateParameterNotification>(parameterFrame, handler)->run();
    readAs<UpdateParameterDisplayNotification>(displayFrame, handler)->run();
    EXPECT_THAT(host.log.all(), IsEmpty());
}

TEST_F(NotificationsTest, UpdateAllParametersShowsTheInstanceAsItIsWhenItRuns) {
    UpdateAllParametersNotification notification(*instance, handler);
    EXPECT_FALSE(notification.state);
    instance->latency = 7;
    notification.run();
    EXPECT_EQ(notification.state->latency, 7);
    EXPECT_THAT(host.log.all(),
                ElementsAre(sent("02 02 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
                                 "00 07 00 00 00 00 00 00")));
}

TEST_F(NotificationsTest, UpdateAllParametersIsDroppedOnceItsInstanceIsClosing) {
    UpdateAllParametersNotification notification(*instance, handler);
    instance->closing = true;
    notification.run();
    EXPECT_THAT(host.log.all(), IsEmpty());
    EXPECT_FALSE(notification.state);
}

TEST_F(NotificationsTest, EachKindReachesTheListenersOperationOfItsName) {
    RecordingListener listener;
    readAs<UpdateParameterNotification>(parameterFrame)->deliver(listener);
    readAs<UpdateParameterDisplayNotification>(displayFrame)->deliver(listener);
    readAs<UpdateAllParametersNotification>(allFrame)->deliver(listener);
    readAs<BeginOrEndEditParameterNotification>(endFrame)->deliver(listener);
    readAs<PluginWindowClosedNotification>(closedFrame)->deliver(listener);
    readAs<PluginWindowMovedNotification>(movedFrame)->deliver(listener);
    EXPECT_THAT(listener.log.all(), ElementsAre("parameter", "display", "all", "edit", "closed", "moved"));
}
