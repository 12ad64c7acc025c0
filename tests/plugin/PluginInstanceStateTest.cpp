// The snapshot of an instance. If these fail, a client shows wrong names, values or channels, or loses step
// with its host as soon as a plug-in has something unusual to tell.

#include "plugin/PluginInstanceState.h"
#include "support/StateBytes.h"
#include "support/TestHost.h"
#include "tests/plugin/RichInstance.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace test_support;
using testing::IsEmpty;

namespace {

class PluginInstanceStateTest : public testing::Test {
protected:
    TestHost host;
    Ref<FakePluginInstance> instance = host.addInstance(3);
};

} // namespace

TEST_F(PluginInstanceStateTest, AStateOfNothingStillWritesItsCountsNotesLatencyAndFlags) {
    EXPECT_EQ(written(PluginInstanceState(*instance)), golden(emptyState));
}

TEST_F(PluginInstanceStateTest, AStateOfEverythingWritesEachFieldInItsPlace) {
    makeRich(*instance);
    EXPECT_EQ(written(PluginInstanceState(*instance)), golden(richState()));
}

TEST_F(PluginInstanceStateTest, AStateIsReadIntoItsFields) {
    GoldenStream stream(richState());
    const PluginInstanceState state(stream);
    EXPECT_EQ(stream.available(), 0U);
    ASSERT_EQ(state.inputBuses.size(), 1U);
    EXPECT_EQ(state.inputBuses[0]->name, "In");
    EXPECT_EQ(state.inputBuses[0]->channels, (std::vector<int32_t>{0, 1}));
    ASSERT_EQ(state.outputBuses.size(), 2U);
    EXPECT_EQ(state.outputBuses[1]->name, "é!");
    EXPECT_EQ(state.outputBuses[1]->channels, std::vector<int32_t>{258});
    ASSERT_EQ(state.parameters.size(), 2U);
    const ParameterInfo& gain = *state.parameters[0];
    EXPECT_EQ(gain.name, "Gain");
    EXPECT_EQ(gain.shortName, "Gn");
    EXPECT_EQ(gain.display, "-6.0");
    EXPECT_EQ(gain.label, "dB");
    EXPECT_EQ(gain.category, "€");
    EXPECT_EQ(gain.value, 0.5F);
    EXPECT_EQ(gain.id, 258);
    EXPECT_TRUE(gain.canBeAutomated);
    EXPECT_TRUE(gain.isSwitch);
    EXPECT_TRUE(gain.usesIntegerRange);
    EXPECT_EQ(gain.minInteger, -1);
    EXPECT_EQ(gain.maxInteger, 7);
    EXPECT_EQ(state.parameters[1]->value, 1);
    EXPECT_FALSE(state.parameters[1]->canBeAutomated);
    ASSERT_EQ(state.programs.size(), 2U);
    EXPECT_EQ(state.programs[0]->name, "Init");
    EXPECT_TRUE(state.programs[1]->name.isEmpty());
    EXPECT_TRUE(state.hasNoteNames);
    EXPECT_TRUE(state.noteNames[59].isEmpty());
    EXPECT_EQ(state.noteNames[60], "Kick");
    EXPECT_EQ(state.latency, 320);
    EXPECT_TRUE(state.supportsMpe);
    EXPECT_FALSE(state.hasMidiControllerMapping);
    EXPECT_TRUE(state.hasNoteOutput);
}

TEST_F(PluginInstanceStateTest, EachOfTheThreeFlagsAtTheEndHasItsOwnPlace) {
    instance->mpe = true;
    EXPECT_THAT(written(PluginInstanceState(*instance)), testing::EndsWith("01 00 00 "));
    instance->mpe = false;
    instance->controllerMapping = true;
    EXPECT_THAT(written(PluginInstanceState(*instance)), testing::EndsWith("00 01 00 "));
    instance->controllerMapping = false;
    instance->noteOutput = true;
    EXPECT_THAT(written(PluginInstanceState(*instance)), testing::EndsWith("00 00 01 "));
}

TEST_F(PluginInstanceStateTest, EachFlagOfAParameterHasItsOwnPlace) {
    const std::string texts =
        "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 05 00 00 00";
    const auto stateOf = [&](const ParameterProperties& properties) {
        instance->parameters = {{}};
        instance->parameters[0].properties = properties;
        return written(PluginInstanceState(*instance));
    };
    ParameterProperties automated;
    automated.id = 5;
    automated.canBeAutomated = true;
    EXPECT_THAT(stateOf(automated), testing::HasSubstr(golden(texts + "01 00 00")));
    ParameterProperties isSwitch;
    isSwitch.id = 5;
    isSwitch.isSwitch = true;
    EXPECT_THAT(stateOf(isSwitch), testing::HasSubstr(golden(texts + "00 01 00")));
    ParameterProperties range;
    range.id = 5;
    range.usesIntegerRange = true;
    EXPECT_THAT(stateOf(range), testing::HasSubstr(golden(texts + "00 00 01")));
}

TEST_F(PluginInstanceStateTest, WithoutNoteNamesNoTextFollowsTheirFlag) {
    GoldenStream stream(emptyState);
    const PluginInstanceState state(stream);
    EXPECT_EQ(stream.available(), 0U) << "128 texts were expected that nobody wrote";
    EXPECT_FALSE(state.hasNoteNames);
    EXPECT_EQ(written(state), golden(emptyState));
}

TEST_F(PluginInstanceStateTest, AStateThatEndsAnywhereInItsMiddleThrowsTheEndOfTheStream) {
    const std::string bytes = bytesOf(richState());
    for (size_t size = 0; size < bytes.size(); ++size) {
        GoldenStream stream(bytes, size);
        EXPECT_THROW(PluginInstanceState state(stream), EOSException) << "cut to " << size << " bytes";
    }
}

TEST_F(PluginInstanceStateTest, CountsThatNoStreamCanFillEndWithTheStream) {
    GoldenStream parameters("00 00 00 00 00 00 00 00 FF FF FF 7F");
    EXPECT_THROW(PluginInstanceState state(parameters), EOSException);
    GoldenStream channels("01 00 00 00 00 00 00 00 7F FF FF FF 00 00 00 00");
    EXPECT_THROW(PluginInstanceState state(channels), EOSException);
}

TEST_F(PluginInstanceStateTest, ATextThatFillsItsBufferWithoutATerminatorIsCutThere) {
    instance->parameters = {{std::string(300, 'n'), "", "", 0, {}}};
    const PluginInstanceState state(*instance);
    EXPECT_EQ(state.parameters[0]->name.toStdString(), std::string(256, 'n'));
}

TEST_F(PluginInstanceStateTest, TextsOfAPluginAreUtf8AndNothingElse) {
    instance->parameters = {{"Höhe", "", "", 0, {}}};
    EXPECT_EQ(PluginInstanceState(*instance).parameters[0]->name, "Höhe");
    instance->parameters = {{"H\xF6he", "", "", 0, {}}};
    EXPECT_THROW(PluginInstanceState state(*instance), IOException);
}

TEST_F(PluginInstanceStateTest, AnAutomationDuringASnapshotIsSwallowedAndItsValueIsInTheSnapshot) {
    instance->parameters = {{"Gain", "", "", 0.25F, {}}};
    instance->onValueQuestion = [&] {
        instance->parameters[0].value = 0.75F;
        instance->notifyParameterChanged(0, 0.75F);
        instance->notifyAllParametersChanged();
        instance->beginParameterEdit(0);
        instance->endParameterEdit(0);
    };
    const PluginInstanceState state(*instance);
    EXPECT_EQ(state.parameters[0]->value, 0.75F);
    EXPECT_THAT(host.log.all(), IsEmpty());
    EXPECT_FALSE(instance->allParametersChanged);
}

TEST_F(PluginInstanceStateTest, ASnapshotThatFailsEndsTheMutingToo) {
    instance->parameters = {{}};
    instance->onValueQuestion = [] { throw IOException("no text"); };
    EXPECT_THROW(const PluginInstanceState state(*instance), IOException);
    EXPECT_FALSE(instance->notificationsMuted);
}

TEST_F(PluginInstanceStateTest, ASnapshotEndsAMutingThatWasThereBefore) {
    instance->notificationsMuted = true;
    bool mutedMeanwhile = false;
    instance->parameters = {{}};
    instance->onValueQuestion = [&] { mutedMeanwhile = instance->notificationsMuted; };
    const PluginInstanceState state(*instance);
    EXPECT_TRUE(mutedMeanwhile);
    EXPECT_FALSE(instance->notificationsMuted);
}
