// What becomes of a window's events on the main thread. If these fail, a window's cross closes another
// editor, or windows wander because the host's own moves are taken for the user's.

#include "plugin/PluginWindowActions.h"
#include "support/TestHost.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace test_support;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class PluginWindowActionsTest : public testing::Test {
protected:
    PluginWindowActionsTest() {
        instance->window = new FakePluginWindow(11, test.log);
        other->window = new FakePluginWindow(12, test.log);
    }

    void close(uint32_t window) { PluginWindowClosedAction(test.host.get(), window).run(); }
    void move(uint32_t window, int32_t x, int32_t y) {
        PluginWindowMovedAction(test.host.get(), window, x, y).run();
    }

    TestHost test;
    Ref<FakePluginInstance> instance = test.addInstance(3);
    Ref<FakePluginInstance> other = test.addInstance(4);
};

} // namespace

TEST_F(PluginWindowActionsTest, ClosingAWindowClosesTheEditorOfItsInstance) {
    close(12);
    EXPECT_THAT(test.log.all(), ElementsAre("closeEditor 4"));
}

TEST_F(PluginWindowActionsTest, AWindowThatNoInstanceHasClosesNothing) {
    close(13);
    EXPECT_THAT(test.log.all(), IsEmpty());
}

TEST_F(PluginWindowActionsTest, AnInstanceWithoutAWindowCountsAsWindowZero) {
    const Ref<FakePluginInstance> closed = test.addInstance(5);
    close(0);
    EXPECT_THAT(test.log.all(), ElementsAre("closeEditor 5"));
}

TEST_F(PluginWindowActionsTest, OfSeveralWithoutAWindowTheFirstOfTheTableIsMeant) {
    const Ref<FakePluginInstance> closed = test.addInstance(5);
    const Ref<FakePluginInstance> alsoClosed = test.addInstance(6);
    std::vector<int32_t> order;
    test.host->instances.forEach([&](PluginInstance& each) {
        if (each.window == nullptr)
            order.push_back(each.instanceId);
    });
    ASSERT_EQ(order.size(), 2u);
    close(0);
    EXPECT_THAT(test.log.all(), ElementsAre("closeEditor " + std::to_string(order[0])));
}

TEST_F(PluginWindowActionsTest, AMoveIsStoredAndToldWithTheStoredSize) {
    instance->windowWidth = 300;
    instance->windowHeight = 200;
    move(11, -10, 20);
    EXPECT_EQ(instance->windowX, -10);
    EXPECT_EQ(instance->windowY, 20);
    EXPECT_TRUE(instance->hasWindowPosition);
    EXPECT_THAT(test.log.all(), ElementsAre("notification: " + golden("05 03 00 00 00 FF FF FF F6 00 00 00 14"
                                                                      "00 00 01 2C 00 00 00 C8")));
    EXPECT_FALSE(other->hasWindowPosition);
}

TEST_F(PluginWindowActionsTest, AMoveOfAWindowThatNoInstanceHasIsPassedOver) {
    move(13, 10, 20);
    EXPECT_THAT(test.log.all(), IsEmpty());
}

TEST_F(PluginWindowActionsTest, AMoveWhileTheEditorIsBeingOpenedIsPassedOver) {
    instance->windowBusy = true;
    move(11, 10, 20);
    EXPECT_FALSE(instance->hasWindowPosition);
    EXPECT_EQ(instance->windowX, 0);
    EXPECT_THAT(test.log.all(), IsEmpty());
}

TEST_F(PluginWindowActionsTest, AMoveOfAHiddenWindowIsPassedOver) {
    instance->windowHidden = true;
    move(11, 10, 20);
    EXPECT_FALSE(instance->hasWindowPosition);
    EXPECT_EQ(instance->windowX, 0);
    EXPECT_THAT(test.log.all(), IsEmpty());
}

TEST_F(PluginWindowActionsTest, AnOpeningThatHasSettledLetsMovesThrough) {
    instance->beginWindowChange();
    other->beginWindowChange();
    PluginWindowSettledAction(test.host.get(), 11, instance->windowSerial).run();
    EXPECT_FALSE(instance->windowBusy);
    EXPECT_TRUE(other->windowBusy);
}

TEST_F(PluginWindowActionsTest, AnEarlierOpeningThatHasSettledLeavesALaterOneAlone) {
    instance->beginWindowChange();
    const uint32_t earlier = instance->windowSerial;
    instance->beginWindowChange();
    PluginWindowSettledAction(test.host.get(), 11, earlier).run();
    EXPECT_TRUE(instance->windowBusy);
}

TEST_F(PluginWindowActionsTest, AWindowThatIsGoneSettlesNothing) {
    instance->beginWindowChange();
    PluginWindowSettledAction(test.host.get(), 13, instance->windowSerial).run();
    EXPECT_TRUE(instance->windowBusy);
}

TEST_F(PluginWindowActionsTest, ANewSizeIsToldToTheInstanceWhileTheWindowStands) {
    PluginWindowResizedAction(test.host.get(), 13, 640, 480).run();
    EXPECT_THAT(test.log.all(), IsEmpty());
    PluginWindowResizedAction(test.host.get(), 11, 640, 480).run();
    EXPECT_EQ(instance->windowWidth, 640);
    EXPECT_EQ(instance->windowHeight, 480);
    EXPECT_THAT(test.log.all(), ElementsAre("notification: " + golden("05 03 00 00 00 00 00 00 00 00 00 00 00"
                                                                      "00 00 02 80 00 00 01 E0")));
}
