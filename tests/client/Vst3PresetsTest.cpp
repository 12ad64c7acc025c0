// Presets of a VST 3 plug-in, saved and loaded by a host at work for its client. If these fail, a user's
// sound doesn't come back, or the client isn't told why.

#include "RealHost.h"

#include "plugin/PluginException.h"
#include "support/FileBytes.h"
#include "support/PresetBytes.h"
#include "support/TestDirectory.h"

#include <bit>

using namespace test_support;

namespace {

class Vst3PresetsTest : public RealHost, protected PlayingInstance {
protected:
    void SetUp() override {
        RealHost::SetUp();
        play(proxy, createInstance(*proxy, plugin("echo", ".vst3")));
    }

    void TearDown() override {
        letGo(*proxy);
        RealHost::TearDown();
    }

    /// What the echo's preset is with its three values, which its controller keeps no state beside.
    static std::string presetWith(double delay, double feedback, double mix) {
        std::string values;
        for (const double value : {delay, feedback, mix})
            values += littleEndian(std::bit_cast<uint64_t>(value), 8);
        return presetFile({.classText = "4578616D706C6520576F726B45636830",
                           .chunks = values,
                           .entries = {{"Comp", 48, 24}, {"Cont", 72, 0}}});
    }

    void setValues(float delay, float feedback, float mix) {
        change(0, delay);
        change(1, feedback);
        change(2, mix);
        render();
    }

    std::vector<float> valuesOf(int32_t instanceId) {
        const Ref<ReplyWaiter> waiter(new ReplyWaiter(*proxy));
        proxy->updateIO(instanceId, waiter);
        return valuesIn(*waiter->waitFor<DefineIoReply>(patience)->state);
    }

    static std::vector<float> valuesIn(const PluginInstanceState& state) {
        std::vector<float> values;
        for (const Ref<ParameterInfo>& parameter : state.parameters)
            values.push_back(parameter->value);
        return values;
    }

    Ref<SavePresetReply> save(const std::string& file) {
        const Ref<ReplyWaiter> waiter(new ReplyWaiter(*proxy));
        proxy->savePreset(reply->instanceId, file.c_str(), waiter);
        return waiter->waitFor<SavePresetReply>(patience);
    }

    Ref<LoadPresetReply> load(const std::string& file) {
        const Ref<ReplyWaiter> waiter(new ReplyWaiter(*proxy));
        proxy->loadPreset(reply->instanceId, file.c_str(), waiter);
        return waiter->waitFor<LoadPresetReply>(patience);
    }

    Ref<CreatePluginInstanceReply> createWith(const std::string& preset) {
        const Ref<ReplyWaiter> waiter(new ReplyWaiter(*proxy));
        proxy->createPluginInstance(plugin("echo", ".vst3").c_str(), preset.c_str(), "", false, nullptr,
                                    waiter);
        return waiter->waitFor<CreatePluginInstanceReply>(patience);
    }

    /// The host's words about a request that failed.
    template <class Action>
    static std::string failureOf(const Action& action) {
        try {
            action();
        } catch (const PluginException& exception) {
            return exception.getMessage().toStdString();
        }
        return "no failure";
    }

    const TestDirectory folder;
    const std::string path = folder / "some.vstpreset";
};

INSTANTIATE_TEST_SUITE_P(TheHost, Vst3PresetsTest, testing::ValuesIn(hostPrograms), hostProgramName);

} // namespace

TEST_P(Vst3PresetsTest, APresetIsSavedWithTheValuesThatTheBlockSet) {
    setValues(0.5F, 0.25F, 0.75F);
    EXPECT_EQ(save(path)->instanceId, reply->instanceId);
    EXPECT_EQ(readFile(path), presetWith(0.5, 0.25, 0.75));
}

TEST_P(Vst3PresetsTest, FoldersAboveAPresetAreMade) {
    save(folder / "new/folder/some.vstpreset");
    EXPECT_EQ(readFile(folder / "new/folder/some.vstpreset").size(), presetWith(0, 0, 0).size());
}

TEST_P(Vst3PresetsTest, ALoadedPresetShowsInTheValuesAndIsSavedAgain) {
    setValues(0.5F, 0.25F, 0.75F);
    writeFile(path, presetWith(0.125, 1, 0.375));
    EXPECT_EQ(load(path)->instanceId, reply->instanceId);
    EXPECT_EQ(valuesOf(reply->instanceId), (std::vector<float>{0.125F, 1, 0.375F}));
    const std::string again = folder / "again.vstpreset";
    save(again);
    EXPECT_EQ(readFile(again), presetWith(0.125, 1, 0.375));
}

TEST_P(Vst3PresetsTest, APresetInACreateIsInItsReply) {
    writeFile(path, presetWith(0.125, 1, 0.375));
    const Ref<CreatePluginInstanceReply> created = createWith(path);
    EXPECT_EQ(valuesIn(*created->state), (std::vector<float>{0.125F, 1, 0.375F}));
    proxy->destroyPluginInstance(created->instanceId);
    proxy->removePluginInstance(created->instanceId);
}

TEST_P(Vst3PresetsTest, AFileThatIsNoPresetChangesNothingAndIsNoFailure) {
    setValues(0.5F, 0.25F, 0.75F);
    writeFile(path, "no preset at all");
    load(path);
    EXPECT_EQ(valuesOf(reply->instanceId), (std::vector<float>{0.5F, 0.25F, 0.75F}));
}

TEST_P(Vst3PresetsTest, AFileThatIsNotThereIsToldInTheHostsWords) {
    EXPECT_EQ(failureOf([&] { load(path); }), "Error opening VST3 preset for reading: " + path);
    EXPECT_EQ(failureOf([&] { createWith(path); }), "Error opening VST3 preset for reading: " + path);
    proxy->ping();
}

TEST_P(Vst3PresetsTest, APresetThatCannotBeWrittenIsToldInTheHostsWords) {
    const std::string place = folder / "folder";
    std::filesystem::create_directory(place);
    EXPECT_EQ(failureOf([&] { save(place); }), "Error opening VST3 preset for writing: " + place);
    EXPECT_EQ(failureOf([&] { save("/dev/full"); }), "Error saving VST3 preset: /dev/full");
    proxy->ping();
}
