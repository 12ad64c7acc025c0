#pragma once

#include "plugin/Plugin.h"
#include "plugin/PluginInstance.h"
#include "support/CallLog.h"

#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace test_support {

/// An audio block in the test's own memory.
class FakeAudioContext : public PluginAudioContext {
public:
    using PluginAudioContext::PluginAudioContext;

    void* allocate(int32_t size) override {
        allocatedSize = size;
        block.assign((static_cast<size_t>(size) + 15) / 16, Unit{});
        return block.data();
    }
    void startProcessing() override {}
    int32_t process(int32_t, bool, bool) override { return processSilent; }
    void stopProcessing() override {}

    using PluginAudioContext::regions;

    int32_t allocatedSize = -1;

private:
    struct alignas(16) Unit {
        uint8_t bytes[16];
    };
    std::vector<Unit> block;
};

/// A window that is told of in the log and shown nowhere.
class FakePluginWindow : public PluginWindow {
public:
    FakePluginWindow(uint32_t id, CallLog& log) : log(log) { windowId = id; }
    ~FakePluginWindow() override { add("destroy"); }

    void setResizable() override { add("setResizable"); }
    void hide() override {
        add("hide");
        if (onChange)
            onChange();
    }
    void show() override {
        add("show");
        if (onChange)
            onChange();
    }
    void setTitle(const String& title) override { add("setTitle " + title.toStdString()); }
    void resize(uint32_t width, uint32_t height) override {
        add("resize " + std::to_string(width) + " " + std::to_string(height));
    }
    void move(int32_t x, int32_t y) override {
        add("move " + std::to_string(x) + " " + std::to_string(y));
        if (onChange)
            onChange();
    }
    bool waitForPluginWindow() override { return true; }

    /// Called inside of `hide`, `show` and `move`.
    std::function<void()> onChange;

private:
    void add(const std::string& what) { log.add("window " + std::to_string(windowId) + " " + what); }

    CallLog& log;
};

/// An instance without a plug-in: it answers what its knobs say and logs what drives it.
class FakePluginInstance : public PluginInstance {
public:
    struct Parameter {
        std::string name;
        std::string label;
        std::string display;
        float value = 0;
        ParameterProperties properties;
    };

    FakePluginInstance(PluginHostContext* host, int32_t instanceId, CallLog& log, bool dpiAware = false)
        : PluginInstance(host, instanceId, dpiAware), log(log) {}
    ~FakePluginInstance() override { log.add("~instance " + std::to_string(instanceId)); }

    PluginApi* getApi() const override { return nullptr; }
    bool isOpen() const override { return true; }
    void activate() override { call("activate"); }
    std::vector<int32_t> getDeviceTypes() override { return {audioToAudioDevice}; }
    bool hasAudioInput() override { return inputs > 0; }
    bool hasNoteInput() override { return false; }
    bool hasAudioOutput() override { return outputs > 0; }
    bool hasNoteOutput() override { return noteOutput; }
    bool hasSysexInput() override { return false; }
    bool supportsMpe() override { return mpe; }
    bool hasMidiControllerMapping() override { return controllerMapping; }
    bool supportsViewDpiScaling() override { return false; }
    ProcessingState getProcessingState() const override { return ProcessingState::initialised; }
    std::vector<Ref<PluginAudioBus>> getInputBuses() override { return inputBuses; }
    std::vector<Ref<PluginAudioBus>> getOutputBuses() override { return outputBuses; }
    int32_t getInputChannelCount() override { return inputs; }
    int32_t getOutputChannelCount() override { return outputs; }
    String getName() override { return name.c_str(); }
    String getVendor() override { return "vendor"; }
    String getIdentifier() override { return "1"; }
    String getCategory() override { return "category"; }
    String getVersion() override { return "1"; }
    int32_t getLatency() override {
        if (onLatencyQuestion)
            onLatencyQuestion();
        return latency;
    }
    void initialize() override { call("initialize"); }
    void terminate() override { call("terminate"); }
    void startProcessing() override { call("startProcessing"); }
    void stopProcessing() override { call("stopProcessing"); }
    int32_t getProgramCount() override { return static_cast<int32_t>(programs.size()); }
    void getProgramName(int32_t index, char* buffer, int32_t size) override {
        answer(programs.at(static_cast<size_t>(index)), buffer, size);
    }
    int32_t getCurrentProgram() override { return 0; }
    void setCurrentProgram(int32_t index) override { call("setCurrentProgram " + std::to_string(index)); }
    void getParameterName(int32_t index, char* buffer, int32_t size) override {
        answer(parameter(index).name, buffer, size);
    }
    void getParameterDisplay(int32_t index, char* buffer, int32_t size) override {
        answer(parameter(index).display, buffer, size);
    }
    void getParameterLabel(int32_t index, char* buffer, int32_t size) override {
        answer(parameter(index).label, buffer, size);
    }
    void getParameterProperties(int32_t index, ParameterProperties& properties) override {
        properties = parameter(index).properties;
    }
    float getParameterValue(int32_t index) override {
        if (onValueQuestion)
            onValueQuestion();
        return parameter(index).value;
    }
    int32_t process(int32_t frames, bool keepActive, bool realtime) override {
        call("process " + std::to_string(frames) + (keepActive ? " keepActive" : "") +
             (realtime ? " realtime" : ""));
        if (onProcess)
            onProcess();
        return processTail;
    }
    int32_t getParameterCount() override { return static_cast<int32_t>(parameters.size()); }
    String getNoteName(int32_t note) override {
        const auto found = noteNames.find(note);
        return found != noteNames.end() ? String(found->second.c_str()) : String();
    }
    bool hasEditor() override { return editor; }
    bool canResizeEditor() override { return false; }
    bool checkEditorSize(int32_t&, int32_t&) override { return false; }
    void openEditor(uint32_t parentWindow, bool resizable, const String& title) override {
        call("openEditor " + std::to_string(parentWindow) + (resizable ? " resizable " : " fixed ") +
             title.toStdString());
    }
    void closeEditor() override { call("closeEditor " + std::to_string(instanceId)); }
    void editorWasClosed() override {}
    void editorMouseWheel(float) override {}
    bool editorKeyDown(uint16_t, int16_t, int32_t) override { return false; }
    bool editorKeyUp(uint16_t, int16_t, int32_t) override { return false; }
    void editorFocusChanged(bool) override {}
    void editorSetSize(int32_t&, int32_t&) override {}
    void idle() override {
        if (onIdle)
            onIdle();
        PluginInstance::idle();
    }
    void loadPreset(const String& path) override { call("loadPreset " + path.toStdString()); }
    void savePreset(const String& path) override { call("savePreset " + path.toStdString()); }

    using PluginInstance::notifyAllParametersChanged;
    using PluginInstance::notifyParameterChanged;

    CallLog& log;
    std::string name = "Fake";
    std::vector<Parameter> parameters;
    std::vector<std::string> programs;
    std::vector<Ref<PluginAudioBus>> inputBuses;
    std::vector<Ref<PluginAudioBus>> outputBuses;
    std::map<int32_t, std::string> noteNames;
    int32_t inputs = 0;
    int32_t outputs = 0;
    int32_t latency = 0;
    bool editor = false;
    bool mpe = false;
    bool controllerMapping = false;
    bool noteOutput = false;
    /// Called behind the log entry of each call that drives the instance; may throw in its place.
    std::function<void(const std::string& call)> onCall;
    std::function<void()> onLatencyQuestion;
    std::function<void()> onProcess;
    std::function<void()> onValueQuestion;
    std::function<void()> onIdle;

private:
    void call(const std::string& what) {
        log.add(what);
        if (onCall)
            onCall(what);
    }

    Parameter& parameter(int32_t index) { return parameters.at(static_cast<size_t>(index)); }

    // Like a plug-in that fills the whole buffer: a text of its size has no terminator.
    static void answer(const std::string& text, char* buffer, int32_t size) {
        std::memcpy(buffer, text.data(), std::min(text.size(), static_cast<size_t>(size)));
    }
};

/// A loaded file whose instances are fakes.
class FakePlugin : public Plugin {
public:
    FakePlugin(const String& path, PluginHostContext* host, CallLog& log)
        : Plugin(path), host(host), log(log) {}

    bool isValid() const override { return valid; }
    PluginInstance* createInstance(int32_t instanceId, const String& identifier, bool dpiAware) override {
        log.add("createInstance " + std::to_string(instanceId) + " " + identifier.toStdString() +
                (dpiAware ? " dpiAware" : ""));
        if (onCreate)
            onCreate();
        if (!offersInstance)
            return nullptr;
        auto* instance = new FakePluginInstance(host, instanceId, log, dpiAware);
        if (onInstance)
            onInstance(*instance);
        return instance;
    }
    void getPluginIds(std::vector<String>& list) override { list.emplace_back("1"); }
    PluginApi* getApi() const override { return nullptr; }

    bool valid = true;
    bool offersInstance = true;
    /// May throw in the place of `createInstance`.
    std::function<void()> onCreate;
    /// Sets the knobs of a new instance.
    std::function<void(FakePluginInstance&)> onInstance;

private:
    PluginHostContext* host;
    CallLog& log;
};

} // namespace test_support
