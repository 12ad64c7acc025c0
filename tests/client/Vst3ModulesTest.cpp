// VST 3 modules with unusual blocks and states, in a host at work. If these fail, such a plug-in takes its
// host with it, renders something else, or is stopped while it sounds.

#include "RealHost.h"

#include "plugin/PluginException.h"
#include "support/FileBytes.h"
#include "support/PresetBytes.h"
#include "support/TestDirectory.h"

using namespace test_support;

namespace {

class Vst3ModulesTest : public ClientTest, protected PlayingInstance {
protected:
    void SetUp() override {
        ClientTest::SetUp();
        proxy = startHost();
    }
    void TearDown() override {
        letGo(*proxy);
        end(proxy);
        EXPECT_EQ(manager->count(), 0u);
        ClientTest::TearDown();
    }

    void load(const std::string& name) {
        play(proxy, createInstance(*proxy, TEST_PLUGIN_DIRECTORY "/" + name + ".vst3", "", listener));
    }

    const Ref<RecordingListener> listener{new RecordingListener};
    Ref<RemotePluginHostProxy> proxy;
};

} // namespace

TEST_F(Vst3ModulesTest, AnInfiniteTailIsNeverSilent) {
    load("infinite-tail");
    EXPECT_EQ(render(true), 1);
    for (int32_t i = 0; i < 100; ++i)
        EXPECT_EQ(render(false), 2);
}

TEST_F(Vst3ModulesTest, The65thBusHasChannelsAndIsNotRendered) {
    load("sixty-five-buses");
    ASSERT_EQ(reply->inputChannelCount, 65);
    ASSERT_EQ(reply->outputChannelCount, 65);
    EXPECT_EQ(reply->state->inputBuses.size(), 65u);
    EXPECT_EQ(reply->state->outputBuses.back()->channels, std::vector<int32_t>{64});
    for (int32_t i = 0; i < 65; ++i) {
        context->inputChannel(i)[0] = static_cast<float>(100 + i);
        context->outputChannel(i)[0] = context->outputChannel(i)[1] = -1;
    }
    render();
    for (int32_t i = 0; i < 64; ++i) {
        EXPECT_EQ(context->outputChannel(i)[0], 64.0F);
        EXPECT_EQ(context->outputChannel(i)[1], static_cast<float>(100 + i));
    }
    EXPECT_EQ(context->outputChannel(64)[0], -1.0F);
}

TEST_F(Vst3ModulesTest, Of129ChangesInABlockThePluginsQueueHolds128AndItsControllerHearsAll) {
    load("counts-points");
    for (int32_t i = 0; i < 129; ++i)
        change(0, static_cast<float>(i) / 256);
    render();
    EXPECT_EQ(context->outputChannel(0)[0], 128.0F);
    EXPECT_EQ(context->outputChannel(0)[1], 129.0F);
    render();
    EXPECT_EQ(context->outputChannel(0)[0], 0.0F);
    EXPECT_EQ(context->outputChannel(0)[1], 0.0F);
}

TEST_F(Vst3ModulesTest, EditsAndRestartsFromABlockReachTheClient) {
    load("reports-from-its-block");
    render();
    EXPECT_EQ(listener->waitForLines(4),
              (std::vector<std::string>{"1: begin 1", "1: value 1 0.75", "1: end 1", "1: all 2"}));
    render();
    EXPECT_EQ(listener->waitForLines(7).size(), 7u);
}

TEST_F(Vst3ModulesTest, APluginThatRefusesItsStateCannotBeSavedAndStaysAsItIs) {
    load("refuses-states");
    const TestDirectory folder;
    const std::string path = folder / "some.vstpreset";
    const Ref<ReplyWaiter> saved(new ReplyWaiter(*proxy));
    proxy->savePreset(reply->instanceId, path.c_str(), saved);
    try {
        saved->wait(patience);
        ADD_FAILURE() << "no failure";
    } catch (const PluginException& exception) {
        EXPECT_EQ(exception.getMessage().toStdString(), "Error saving VST3 preset: " + path);
    }
    EXPECT_EQ(readFile(path).size(), 48u) << "the header";

    writeFile(path, presetFile({.classText = std::string(32, '1'),
                                .chunks = "12345678",
                                .entries = {{"Comp", 48, 8}, {"Cont", 48, 8}}}));
    const Ref<ReplyWaiter> loaded(new ReplyWaiter(*proxy));
    proxy->loadPreset(reply->instanceId, path.c_str(), loaded);
    loaded->wait(patience);
    const Ref<ReplyWaiter> asked(new ReplyWaiter(*proxy));
    proxy->updateIO(reply->instanceId, asked);
    EXPECT_EQ(asked->waitFor<DefineIoReply>(patience)->state->parameters.at(0)->value, 0.5F);
}
