#pragma once

#include "host/PluginHost.h"
#include "plugin/PluginException.h"
#include "plugin/PluginHostNotifications.h"
#include "vst2/RecordingEffect.h"
#include "vst2/Vst2HostCallback.h"
#include "vst2/Vst2Plugin.h"
#include "vst2/Vst2PluginInstance.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

/// The path of a plug-in file that the tests build.
inline String testPlugin(const char* name) {
    return concat(TEST_PLUGIN_DIRECTORY "/", name, ".so");
}

/// An audio block in the test's own memory.
class LocalAudioContext : public PluginAudioContext {
public:
    LocalAudioContext(int32_t blockSize, int32_t inputs, int32_t outputs, int32_t parameters,
                      int32_t eventCapacity = 256)
        : PluginAudioContext(blockSize, inputs, outputs, parameters) {
        inputEventCapacity = eventCapacity;
        layOut();
        fillGuards();
    }
    ~LocalAudioContext() override { std::free(memory); }

    void* allocate(int32_t size) override {
        void* block = std::aligned_alloc(16, static_cast<size_t>(size));
        std::memset(block, 0, static_cast<size_t>(size));
        return block;
    }
    void startProcessing() override {}
    int32_t process(int32_t, bool, bool) override { return 0; }
    void stopProcessing() override {}

    void addParameterChange(int32_t index, float value) {
        parameterChanges[(*parameterChangeCount)++] = {value, static_cast<uint16_t>(index), 0};
    }
    void addNote(int32_t sampleOffset, uint8_t status, uint8_t data1, uint8_t data2) {
        EventRecord& record = addEvent(EventKind::midi, sampleOffset);
        record.midi[0] = status;
        record.midi[1] = data1;
        record.midi[2] = data2;
    }
    void addSystemExclusive(int32_t sampleOffset, const std::vector<uint8_t>& bytes) {
        EventRecord& record = addEvent(EventKind::systemExclusive, sampleOffset);
        std::memcpy(record.systemExclusive, bytes.data(), bytes.size());
        record.systemExclusiveSize = static_cast<uint8_t>(bytes.size());
    }
    EventRecord& addEvent(EventKind kind, int32_t sampleOffset) {
        EventRecord& record = inputEvents[(*inputEventCount)++];
        record = {};
        record.kind = kind;
        record.sampleOffset = static_cast<uint16_t>(sampleOffset);
        return record;
    }
};

/// Keeps what would go to the client.
class RecordingHandler : public PluginHostProxyHandler {
public:
    RecordingHandler() : PluginHostProxyHandler(nullptr) {}

    void sendReply(PluginHostRequest&, PluginHostReply&) override {}
    void sendEmptyReply(PluginHostRequest&) override {}
    void sendError(PluginHostRequest&, const String&) override {}
    void sendNotification(PluginHostNotification& notification) override {
        notifications.emplace_back(&notification);
    }
    void shutdown() override {}
    void setUpAudio(PluginInstance&) override {}

    std::vector<Ref<PluginHostNotification>> notifications;
};

/// A window without a screen. Its instance owns it.
class TinyWindow : public PluginWindow {
public:
    using Sizes = std::vector<std::pair<uint32_t, uint32_t>>;

    explicit TinyWindow(Sizes& sizes) : sizes(sizes) {}

    void setResizable() override {}
    void hide() override {}
    void show() override {}
    void setTitle(const String&) override {}
    void resize(uint32_t width, uint32_t height) override { sizes.emplace_back(width, height); }
    void move(int32_t, int32_t) override {}
    bool waitForPluginWindow() override { return true; }

private:
    Sizes& sizes;
};

/// A host, an effect of the test's own and an instance of it that isn't initialised yet.
class Vst2Test : public testing::Test {
protected:
    static constexpr int32_t sampleRate = 48000;
    static constexpr int32_t blockSize = 64;
    static constexpr int32_t instanceId = 7;

    Vst2Test() : host(new PluginHost(sampleRate, blockSize)), handler(new RecordingHandler) {
        instance = new Vst2PluginInstance(host.get(), instanceId, false, nullptr, 0);
        instance->attach(&effect.effect);
        effect.calls.clear();
    }
    ~Vst2Test() override { host->handler = nullptr; }

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

    LocalAudioContext& makeAudio(int32_t eventCapacity = 256) {
        context = new LocalAudioContext(host->blockSize, effect.effect.numInputs, effect.effect.numOutputs,
                                        effect.effect.numParams, eventCapacity);
        instance->setAudioContext(context);
        return *context;
    }

    /// From here on the client hears of the instance.
    void announce() { instance->handler = handler.get(); }

    void openWindow() { instance->window = new TinyWindow(windowSizes); }

    /// What the effect hears when it asks its host.
    VstIntPtr ask(VstInt32 opcode, VstInt32 index = 0, VstIntPtr value = 0, void* ptr = nullptr,
                  float opt = 0) {
        return vst2HostCallback(&effect.effect, opcode, index, value, ptr, opt);
    }

    Ref<PluginHost> host;
    Ref<RecordingHandler> handler;
    RecordingEffect effect;
    TinyWindow::Sizes windowSizes;
    Ref<LocalAudioContext> context;
    Ref<Vst2PluginInstance> instance;
};
