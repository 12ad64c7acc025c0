// How a change in a plug-in becomes a message. If these fail, the client's knobs and texts go stale, or the
// host floods its client.

#include "support/Eventually.h"
#include "support/TestHost.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

using namespace test_support;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class ChangeTrackingTest : public testing::Test {
protected:
    ChangeTrackingTest() {
        instance->parameters = {{"Gain", "dB", "0.0", 0, {}}, {"Pan", "", "C", 0, {}}};
        context->layOut();
        instance->setAudioContext(context);
    }

    void watch(int32_t index) { context->setParameterFlag(index, parameterWatched); }
    int32_t pending() const { return instance->audio.pendingDisplayUpdates.load(); }

    static std::string sent(std::string_view frame) { return "notification: " + golden(frame); }

    TestHost host;
    Ref<FakePluginInstance> instance = host.addInstance(2);
    Ref<FakeAudioContext> context{new FakeAudioContext(64, 0, 0, 2)};
};

constexpr char gainValue[] = "00 02 00 00 00 00 00 00 00 00 00 00 3F";
constexpr char gainText[] = "01 02 00 00 00 00 00 00 00 00 00 00 04 'Gain' 00 00 00 03 '0.0'";

} // namespace

TEST_F(ChangeTrackingTest, AnAutomationIsToldWithItsValueEachTime) {
    instance->notifyParameterChanged(0, 0.5F);
    instance->notifyParameterChanged(0, 0.5F);
    EXPECT_THAT(host.log.all(), ElementsAre(sent(gainValue), sent(gainValue)));
}

TEST_F(ChangeTrackingTest, AnAutomationOfAWatchedParameterBringsItsTextAtTheNextPoll) {
    watch(0);
    instance->notifyParameterChanged(0, 0.5F);
    EXPECT_EQ(pending(), 1);
    instance->idle();
    EXPECT_EQ(pending(), 0);
    EXPECT_THAT(host.log.all(), ElementsAre(sent(gainValue), sent(gainText)));
}

TEST_F(ChangeTrackingTest, AParameterThatNobodyWatchesChangesWithoutADisplayUpdate) {
    instance->notifyParameterChanged(0, 0.5F);
    instance->setParameterValue(0, 0.5F);
    EXPECT_EQ(pending(), 0);
    instance->idle();
    EXPECT_THAT(host.log.all(), ElementsAre(sent(gainValue)));
}

TEST_F(ChangeTrackingTest, AValueFromTheClientComesBackAsTextAndNotAsValue) {
    watch(0);
    instance->setParameterValue(0, 0.5F);
    EXPECT_THAT(host.log.all(), IsEmpty());
    instance->idle();
    EXPECT_THAT(host.log.all(), ElementsAre(sent(gainText)));
}

TEST_F(ChangeTrackingTest, ManyChangesBetweenTwoPollsAreOneDisplayUpdateWithTheTextOfThePoll) {
    watch(0);
    watch(1);
    for (int i = 0; i < 5; ++i)
        instance->setParameterValue(1, 0.1F);
    EXPECT_EQ(pending(), 5);
    instance->parameters[1].display = "L10";
    instance->idle();
    instance->idle();
    EXPECT_THAT(host.log.all(),
                ElementsAre(sent("01 02 00 00 00 01 00 00 00 00 00 00 03 'Pan' 00 00 00 03 'L10'")));
    EXPECT_FALSE(context->hasParameterFlag(1, parameterDisplayDirty));
    EXPECT_TRUE(context->hasParameterFlag(1, parameterWatched)) << "the client's own bit was touched";
}

TEST_F(ChangeTrackingTest, ADirtyTextIsToldEvenIfTheClientHasStoppedWatching) {
    watch(0);
    instance->setParameterValue(0, 0.5F);
    context->clearParameterFlag(0, parameterWatched);
    instance->idle();
    EXPECT_THAT(host.log.all(), ElementsAre(sent(gainText)));
}

TEST_F(ChangeTrackingTest, ParametersOutsideOfTheBlocksCountAreNeverToldByText) {
    instance->parameters.resize(4);
    watch(0);
    for (const int32_t index : {-1, 2, 3, 1 << 30}) {
        instance->setParameterValue(index, 0.5F);
        instance->notifyParameterChanged(index, 0.5F);
    }
    EXPECT_EQ(pending(), 0);
    host.log.clear();
    instance->idle();
    EXPECT_THAT(host.log.all(), IsEmpty());
}

TEST_F(ChangeTrackingTest, ABlockWithMoreFlagsThanThePluginHasParametersIsPolledOnlyThatFar) {
    watch(1);
    instance->setParameterValue(1, 0.5F);
    instance->parameters.resize(1);
    instance->idle();
    EXPECT_THAT(host.log.all(), IsEmpty());
}

TEST_F(ChangeTrackingTest, WithoutAnAudioBlockThereAreNoFlagsAndNothingToPoll) {
    const Ref<FakePluginInstance> silent = host.addInstance(7);
    silent->parameters = {{}};
    silent->notifyParameterChanged(0, 0.5F);
    silent->setParameterValue(0, 0.5F);
    silent->audio.pendingDisplayUpdates = 3;
    silent->idle();
    EXPECT_EQ(silent->audio.pendingDisplayUpdates.load(), 3) << "the poll did not stop at its first step";
    EXPECT_THAT(host.log.all(), ElementsAre(sent("00 07 00 00 00 00 00 00 00 00 00 00 3F")));
}

TEST_F(ChangeTrackingTest, AMutedChangeIsNotToldAndNotMadeUpForLater) {
    watch(0);
    instance->notificationsMuted = true;
    instance->notifyParameterChanged(0, 0.5F);
    instance->notifyAllParametersChanged();
    instance->beginParameterEdit(0);
    instance->endParameterEdit(0);
    instance->notificationsMuted = false;
    instance->idle();
    EXPECT_THAT(host.log.all(), IsEmpty());
    EXPECT_EQ(pending(), 0);
    EXPECT_FALSE(instance->allParametersChanged);
}

TEST_F(ChangeTrackingTest, AnInstanceThatTheClientDoesntKnowYetTellsNothing) {
    const Ref<FakePluginInstance> unannounced = host.addInstance(7, false);
    unannounced->setAudioContext(context);
    watch(0);
    unannounced->notifyParameterChanged(0, 0.5F);
    unannounced->beginParameterEdit(0);
    unannounced->endParameterEdit(0);
    EXPECT_FALSE(context->hasParameterFlag(0, parameterDisplayDirty));
    unannounced->notifyAllParametersChanged();
    EXPECT_TRUE(unannounced->allParametersChanged) << "preset loading tests the flag";
    EXPECT_THAT(host.log.all(), IsEmpty());
}

TEST_F(ChangeTrackingTest, TwoFullUpdatesSendTwoSnapshotsOfTheirMoments) {
    instance->parameters.clear();
    instance->latency = 1;
    instance->notifyAllParametersChanged();
    EXPECT_TRUE(instance->allParametersChanged);
    instance->latency = 2;
    instance->notifyAllParametersChanged();
    const std::string counts = "02 02 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00";
    EXPECT_THAT(host.log.all(),
                ElementsAre(sent(counts + "01 00 00 00 00 00 00"), sent(counts + "02 00 00 00 00 00 00")));
}

TEST_F(ChangeTrackingTest, BeginAndEndOfAnEditAreTold) {
    instance->beginParameterEdit(1);
    instance->endParameterEdit(1);
    EXPECT_THAT(host.log.all(),
                ElementsAre(sent("03 02 00 00 00 01 00 00 00 01"), sent("03 02 00 00 00 01 00 00 00 00")));
}

TEST_F(ChangeTrackingTest, WhatAPluginsOwnThreadReportsWaitsForTheMainThread) {
    std::thread plugin([&] {
        instance->notifyParameterChanged(0, 0.5F);
        instance->beginParameterEdit(0);
        instance->notifyAllParametersChanged();
    });
    plugin.join();
    EXPECT_THAT(host.log.all(), IsEmpty()) << "sent on the plug-in's thread";
    EXPECT_TRUE(instance->allParametersChanged);
}
