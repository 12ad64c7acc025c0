// What every instance does whatever its format. If these fail, editors move by themselves in the client,
// channels point outside of the audio block, or an instance leaves its window behind.

#include "support/HeapInUse.h"
#include "support/TestHost.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace test_support;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class PluginInstanceTest : public testing::Test {
protected:
    static Ref<PluginAudioContext> makeContext(int32_t inputs, int32_t outputs) {
        Ref<PluginAudioContext> context(new FakeAudioContext(250, inputs, outputs, 0));
        context->layOut();
        return context;
    }

    TestHost host;
    Ref<FakePluginInstance> instance = host.addInstance(3);
};

} // namespace

TEST_F(PluginInstanceTest, AnInstanceStartsWithoutAudioWindowOrPosition) {
    const Ref<FakePluginInstance> fresh(new FakePluginInstance(host.host.get(), 4, host.log, true));
    EXPECT_EQ(fresh->audio.getContext(), nullptr);
    EXPECT_EQ(fresh->audio.getInputChannels(), nullptr);
    EXPECT_EQ(fresh->audio.getOutputChannels(), nullptr);
    EXPECT_EQ(fresh->audio.getTransport(), nullptr);
    EXPECT_EQ(fresh->handler.get(), nullptr);
    EXPECT_EQ(fresh->window.get(), nullptr);
    EXPECT_FALSE(fresh->notificationsMuted);
    EXPECT_FALSE(fresh->allParametersChanged);
    EXPECT_FALSE(fresh->closing);
    EXPECT_FALSE(fresh->windowHidden);
    EXPECT_FALSE(fresh->windowBusy);
    EXPECT_FALSE(fresh->hasWindowPosition);
    EXPECT_TRUE(fresh->dpiAware);
    EXPECT_EQ(fresh->instanceId, 4);
    EXPECT_EQ(fresh->host, host.host.get());
}

TEST_F(PluginInstanceTest, TheChannelsPointIntoTheBlockByItsPaddedSize) {
    const Ref<PluginAudioContext> context = makeContext(2, 3);
    instance->setAudioContext(context);
    EXPECT_EQ(instance->audio.getContext(), context.get());
    ASSERT_EQ(instance->audio.getInputChannelCount(), 2);
    EXPECT_EQ(instance->audio.getInputChannels()[0], context->getRegions().inputAudio);
    EXPECT_EQ(instance->audio.getInputChannels()[1], context->getRegions().inputAudio + 252);
    ASSERT_EQ(instance->audio.getOutputChannelCount(), 3);
    EXPECT_EQ(instance->audio.getOutputChannels()[2], context->getRegions().outputAudio + 504);
    EXPECT_EQ(instance->audio.getTransport(), context->getRegions().transport);
}

TEST_F(PluginInstanceTest, AnInstanceWithoutInputsOrOutputsHasNullChannels) {
    instance->setAudioContext(makeContext(2, 2));
    instance->setAudioContext(makeContext(0, 2));
    EXPECT_EQ(instance->audio.getInputChannels(), nullptr);
    EXPECT_EQ(instance->audio.getInputChannelCount(), 0);
    EXPECT_NE(instance->audio.getOutputChannels(), nullptr);
    instance->setAudioContext(makeContext(2, 0));
    EXPECT_NE(instance->audio.getInputChannels(), nullptr);
    EXPECT_EQ(instance->audio.getOutputChannels(), nullptr);
}

TEST_F(PluginInstanceTest, AnInstanceHoldsItsAudioContextToItsEnd) {
    const Ref<PluginAudioContext> context = makeContext(0, 0);
    Ref<FakePluginInstance> short_(new FakePluginInstance(host.host.get(), 4, host.log));
    short_->setAudioContext(context);
    EXPECT_EQ(retain(context.get()), 3);
    release(context.get());
    short_ = nullptr;
    EXPECT_EQ(retain(context.get()), 2);
    release(context.get());
}

// Sanitizers have an allocator, and a search for leaks, of their own.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

TEST_F(PluginInstanceTest, AnInstanceTakesItsChannelsWithIt) {
    constexpr int32_t channels = 1000;
    constexpr ptrdiff_t smallestArray = channels * ptrdiff_t{sizeof(float*)};
    const Ref<PluginAudioContext> context = makeContext(channels, channels);
    const auto before = static_cast<ptrdiff_t>(heapInUse());
    const auto growth = [&] { return static_cast<ptrdiff_t>(heapInUse()) - before; };
    Ref<FakePluginInstance> owner(new FakePluginInstance(host.host.get(), 4, host.log));
    owner->setAudioContext(context);
    EXPECT_GE(growth(), 2 * smallestArray);
    owner->setAudioContext(context);
    EXPECT_LT(growth(), 3 * smallestArray) << "the former channels stay";
    owner = nullptr;
    EXPECT_LT(growth(), smallestArray / 2);
}

#endif

TEST_F(PluginInstanceTest, AnInstanceTakesItsWindowWithIt) {
    Ref<FakePluginInstance> owner(new FakePluginInstance(host.host.get(), 4, host.log));
    owner->window = new FakePluginWindow(11, host.log);
    owner = nullptr;
    EXPECT_THAT(host.log.all(), ElementsAre("~instance 4", "window 11 destroy"));
}

TEST_F(PluginInstanceTest, WhatAnInstanceReportsAtItsEndHoldsItNoLongerAndIsDropped) {
    class ReportsAtItsEnd : public FakePluginInstance {
    public:
        using FakePluginInstance::FakePluginInstance;
        ~ReportsAtItsEnd() override {
            notifyParameterChanged(0, 0.5F);
            notifyAllParametersChanged();
        }
    };
    Ref<FakePluginInstance> ending(new ReportsAtItsEnd(host.host.get(), 4, host.log));
    ending->handler = host.handler.get();
    ending = nullptr;
    EXPECT_THAT(host.log.all(), ElementsAre("~instance 4"));
}

TEST_F(PluginInstanceTest, WithoutAClientANewSizeIsStoredAllTheSame) {
    host.host->handler = nullptr;
    instance->editorSizeChanged(1, 2, 300, 200);
    EXPECT_EQ(instance->windowWidth, 300);
    EXPECT_THAT(host.log.all(), IsEmpty());
}

TEST_F(PluginInstanceTest, AWindowsPlaceholdersAreScaleOneAndItsOwnId) {
    const FakePluginWindow window(11, host.log);
    EXPECT_EQ(window.getScaleFactor(), 1.0F);
    EXPECT_EQ(window.getWindowId(), 11U);
}

TEST_F(PluginInstanceTest, AnEditorsNewSizeIsStoredAndToldWhereTheWindowStands) {
    instance->windowX = 10;
    instance->windowY = 20;
    instance->editorSizeChanged(1, 2, 300, 200);
    EXPECT_EQ(instance->windowX, 10) << "the place of a size report is ignored";
    EXPECT_EQ(instance->windowY, 20);
    EXPECT_EQ(instance->windowWidth, 300);
    EXPECT_EQ(instance->windowHeight, 200);
    EXPECT_TRUE(instance->hasWindowPosition);
    EXPECT_THAT(host.log.all(), ElementsAre("notification: " + golden("05 03 00 00 00 00 00 00 0A 00 00 00 14"
                                                                      "00 00 01 2C 00 00 00 C8")));
}

TEST_F(PluginInstanceTest, AReportWhileTheWindowIsBusyChangesNothingAndSendsNothing) {
    instance->windowBusy = true;
    instance->editorSizeChanged(1, 2, 300, 200);
    EXPECT_EQ(instance->windowWidth, 0);
    EXPECT_EQ(instance->windowHeight, 0);
    EXPECT_FALSE(instance->hasWindowPosition);
    EXPECT_THAT(host.log.all(), IsEmpty());
}

TEST_F(PluginInstanceTest, ATitleGoesToTheOpenWindow) {
    instance->setWindowTitle("unseen");
    instance->window = new FakePluginWindow(11, host.log);
    instance->setWindowTitle("Synth €");
    EXPECT_THAT(host.log.all(), ElementsAre("window 11 setTitle Synth €"));
}

TEST_F(PluginInstanceTest, TheSmallBaseOperationsAnswerAsTold) {
    EXPECT_FALSE(instance->PluginInstance::hasMidiControllerMapping());
    EXPECT_FALSE(instance->alwaysFalse());
    instance->noOperation();
    EXPECT_THAT(host.log.all(), IsEmpty());
}
