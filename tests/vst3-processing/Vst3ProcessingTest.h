#pragma once

#include "host/PluginHost.h"
#include "support/LocalAudioContext.h"
#include "support/RecordingHandler.h"
#include "support/TinyWindow.h"
#include "vst3-processing/RecordingFactory.h"
#include "vst3/Vst3Plugin.h"
#include "vst3/Vst3PluginInstance.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

/// A host, a plug-in of the test's own with component and controller, and an instance of it once it is made.
class Vst3ProcessingTest : public testing::Test {
protected:
    static constexpr int32_t sampleRate = 48000;
    static constexpr int32_t blockSize = 64;
    static constexpr int32_t instanceId = 7;

    Vst3ProcessingTest() { component.controllerClass = RecordingFactory::controllerClass; }
    ~Vst3ProcessingTest() override {
        if (instance)
            instance->terminate();
        handler->notifications.clear();
        instance = nullptr;
        plugin = nullptr;
        EXPECT_EQ(component.references, 0u);
        EXPECT_EQ(controller.references, 0u);
        EXPECT_EQ(factory.references, 0u);
    }

    /// As far as an instance comes when it is created.
    template <class Instance = Vst3PluginInstance>
    void create() {
        loadPlugin();
        instance = new Instance(host.get(), plugin.get(), instanceId, RecordingFactory::componentText, false);
        instance->createComponents();
        instance->initialize();
        controller.changes.clear();
        calls.clear();
    }

    /// As far as an instance comes before its first block.
    template <class Instance = Vst3PluginInstance>
    void startProcessing() {
        create<Instance>();
        context = new test_support::LocalAudioContext(blockSize, instance->getInputChannelCount(),
                                                      instance->getOutputChannelCount(),
                                                      instance->getParameterCount());
        instance->setAudioContext(context);
        instance->startProcessing();
    }

    void addStereo() {
        component.addBus(Vst::kAudio, Vst::kInput, 2);
        component.addBus(Vst::kAudio, Vst::kOutput, 2);
    }
    void addNoteInput() { component.addBus(Vst::kEvent, Vst::kInput, 16); }
    void addNoteOutput() { component.addBus(Vst::kEvent, Vst::kOutput, 16); }

    /// What reached the plug-in in a block.
    const test_support::RecordedBlock& process(bool keepActive = true, bool realtime = true) {
        const size_t before = component.blocks.size();
        instance->process(blockSize, keepActive, realtime);
        EXPECT_EQ(component.blocks.size(), before + 1);
        return component.blocks.at(before);
    }

    /// From here on the client hears of the instance.
    void announce() { instance->handler = handler.get(); }

    Ref<PluginHost> host{new PluginHost(sampleRate, blockSize)};
    Ref<test_support::RecordingHandler> handler{new test_support::RecordingHandler};
    std::vector<std::string> calls;
    test_support::RecordingComponent component{calls};
    test_support::RecordingController controller{calls};
    RecordingFactory factory{component, controller};
    Ref<Vst3Plugin> plugin{new Vst3Plugin(host.get(), "recording.vst3")};
    Ref<test_support::LocalAudioContext> context;
    Ref<Vst3PluginInstance> instance;
    test_support::TinyWindow::Sizes windowSizes;

private:
    /// What loading a module would leave behind.
    void loadPlugin() {
        plugin->factory = IPtr<Steinberg::IPluginFactory>(&factory);
        plugin->factory2 = IPtr<Steinberg::IPluginFactory2>(&factory);
        plugin->classIds.emplace_back(RecordingFactory::componentText);
        factory.getClassInfo(0, &plugin->classInfos[RecordingFactory::componentText]);
        factory.getClassInfo2(0, &plugin->classInfos2[RecordingFactory::componentText]);
    }
};
