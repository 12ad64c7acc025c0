#pragma once

#include "host/PluginHost.h"
#include "plugin/PluginException.h"
#include "plugin/PluginHostNotifications.h"
#include "support/LocalAudioContext.h"
#include "support/RecordingEffect.h"
#include "support/RecordingHandler.h"
#include "support/TinyWindow.h"
#include "vst2/Vst2HostCallback.h"
#include "vst2/Vst2Plugin.h"
#include "vst2/Vst2PluginApi.h"
#include "vst2/Vst2PluginInstance.h"

#include <gtest/gtest.h>

#include <string>

/// The path of a plug-in file that the tests build.
inline String testPlugin(const char* name) {
    return concat(TEST_PLUGIN_DIRECTORY "/", name, ".so");
}

/// A host, an effect of the test's own and an instance of it that isn't initialised yet.
class Vst2Test : public testing::Test {
protected:
    static constexpr int32_t sampleRate = 48000;
    static constexpr int32_t blockSize = 64;
    static constexpr int32_t instanceId = 7;

    Vst2Test() : host(new PluginHost(sampleRate, blockSize)), handler(new test_support::RecordingHandler) {
        host->addFormat(Vst2PluginApi::instance);
        instance = new Vst2PluginInstance(host.get(), instanceId, false, nullptr, 0);
        instance->attach(&effect.effect);
        effect.calls.clear();
    }
    ~Vst2Test() override {
        host->handler = nullptr;
        // They hold the instance, which is to go before its effect.
        handler->notifications.clear();
    }

    void initialize() {
        instance->initialize();
        effect.calls.clear();
    }

    /// As far as an instance comes before its first block.
    void startProcessing() {
        initialize();
        instance->startProcessing();
        effect.calls.clear();
    }

    test_support::LocalAudioContext& makeAudio(int32_t eventCapacity = 256) {
        context = new test_support::LocalAudioContext(host->blockSize, effect.effect.numInputs,
                                                      effect.effect.numOutputs, effect.effect.numParams,
                                                      eventCapacity);
        instance->setAudioContext(context);
        return *context;
    }

    /// From here on the client hears of the instance.
    void announce() { instance->handler = handler.get(); }

    void openWindow() { instance->window = new test_support::TinyWindow(windowSizes); }

    /// What the effect hears when it asks its host.
    VstIntPtr ask(VstInt32 opcode, VstInt32 index = 0, VstIntPtr value = 0, void* ptr = nullptr,
                  float opt = 0) {
        return vst2HostCallback(&effect.effect, opcode, index, value, ptr, opt);
    }

    Ref<PluginHost> host;
    Ref<test_support::RecordingHandler> handler;
    test_support::RecordingEffect effect;
    test_support::TinyWindow::Sizes windowSizes;
    Ref<test_support::LocalAudioContext> context;
    Ref<Vst2PluginInstance> instance;
};
