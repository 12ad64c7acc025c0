// The contract as a real plug-in meets it. If these fail, a client is offered no way to use a plug-in, or a
// knob jumps out of the user's hand.

#include "support/TestHost.h"
#include "vst2/Vst2PluginApi.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace test_support;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Vst2ContractTest : public testing::Test {
protected:
    Vst2ContractTest() { test.host->addFormat(Vst2PluginApi::instance); }
    ~Vst2ContractTest() override {
        if (instance)
            instance->terminate();
    }

    void create(const char* path) { instance = test.host->createPluginInstance(1, path, "", false); }

    TestHost test;
    Ref<PluginInstance> instance;
};

} // namespace

TEST_F(Vst2ContractTest, APluginWithoutAudioAndNotesStillHasOneDeviceType) {
    create(TEST_PLUGIN_DIRECTORY "/without-audio-and-notes.so");
    EXPECT_THAT(instance->getDeviceTypes(), ElementsAre(0));
}

TEST_F(Vst2ContractTest, AnEffectAndAnInstrumentHaveTheirDeviceTypes) {
    create(EXAMPLE_PLUGIN_DIRECTORY "/echo.so");
    EXPECT_THAT(instance->getDeviceTypes(), ElementsAre(0));
    instance->terminate();
    instance = test.host->createPluginInstance(2, EXAMPLE_PLUGIN_DIRECTORY "/tone.so", "", false);
    EXPECT_THAT(instance->getDeviceTypes(), testing::Contains(1));
}

TEST_F(Vst2ContractTest, TheProcessingStateFollowsTheInstancesLife) {
    create(EXAMPLE_PLUGIN_DIRECTORY "/echo.so");
    EXPECT_EQ(static_cast<int>(instance->getProcessingState()), 1);
    instance->activate();
    instance->startProcessing();
    EXPECT_EQ(static_cast<int>(instance->getProcessingState()), 2);
    instance->stopProcessing();
    EXPECT_EQ(static_cast<int>(instance->getProcessingState()), 1);
    instance->terminate();
    EXPECT_EQ(static_cast<int>(instance->getProcessingState()), 3);
    EXPECT_TRUE(instance->closing);
    instance = nullptr;
}

TEST_F(Vst2ContractTest, AChangeOfAParameterThatTheUserHoldsIsDroppedAndNotAppliedLater) {
    create(EXAMPLE_PLUGIN_DIRECTORY "/echo.so");
    instance->handler = test.handler.get();
    const float before = instance->getParameterValue(0);
    instance->beginParameterEdit(0);
    instance->beginParameterEdit(1);
    instance->setParameterValue(0, 0.875F);
    instance->setParameterValue(1, 0.625F);
    EXPECT_EQ(instance->getParameterValue(0), before);
    EXPECT_EQ(instance->getParameterValue(1), 0.625F) << "only the first of two edits protects its parameter";
    instance->endParameterEdit(1);
    instance->setParameterValue(0, 0.875F);
    EXPECT_EQ(instance->getParameterValue(0), before) << "the end of the other edit freed this one";
    instance->endParameterEdit(0);
    instance->idle();
    EXPECT_EQ(instance->getParameterValue(0), before) << "the dropped change was applied later";
    instance->setParameterValue(0, 0.875F);
    EXPECT_EQ(instance->getParameterValue(0), 0.875F);
}
