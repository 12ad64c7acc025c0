#pragma once

#include "plugin/CallGate.h"
#include "plugin/PluginInstance.h"
#include "vst2/EffectCall.h"
#include "vst2/Vst24.h"
#include "vst2/Vst2Block.h"

#include <cstdint>

class Vst2Plugin;

/// The instance of one VST 2 effect, which the callback finds by the effect's `resvd1`. Most operations are
/// one call of the effect's dispatcher; what an audio worker runs is `Vst2Block`. See `PluginInstance` for
/// the threads.
class Vst2PluginInstance : public PluginInstance {
public:
    Vst2PluginInstance(PluginHostContext* host, int32_t instanceId, bool dpiAware, Vst2Plugin* plugin,
                       int32_t shellPluginId);
    /// Closes an effect that was initialised and never terminated.
    ~Vst2PluginInstance() override;
    /// Clears the link of an effect that stays, and waits for calls of the effect's threads. If one doesn't
    /// return, the instance is leaked, which is logged.
    bool prepareForDeletion() override;

    /// Adopts a new effect and links the two. Calls of the effect before that find no instance.
    void attach(AEffect* newEffect);
    /// The `resvd1` of an effect: 0 while it isn't linked, `closedLink` from its `effClose` on, else its
    /// instance. Any thread; the instance is valid while a `CallGate::Call` of `gateOf` that was made before
    /// exists.
    static VstIntPtr linkOf(AEffect& effect);
    static const VstIntPtr closedLink;
    static Vst2PluginInstance* instanceOf(VstIntPtr link);
    /// Counts the calls of an effect into the host. Not in the instance, whose end waits for them. Several
    /// effects share one.
    static CallGate& gateOf(const AEffect* effect);

    PluginApi* getApi() const override;
    bool isOpen() const override;
    /// Oddity mains-switched-on-twice: turns mains on a second time, after `initialize`.
    void activate() override;
    std::vector<int32_t> getDeviceTypes() override;
    bool hasAudioInput() override;
    bool hasNoteInput() override;
    bool hasAudioOutput() override;
    bool hasNoteOutput() override;
    bool hasSysexInput() override;
    bool supportsMpe() override;
    bool supportsViewDpiScaling() override;
    ProcessingState getProcessingState() const override;
    std::vector<Ref<PluginAudioBus>> getInputBuses() override;
    std::vector<Ref<PluginAudioBus>> getOutputBuses() override;
    int32_t getInputChannelCount() override;
    int32_t getOutputChannelCount() override;
    String getName() override;
    String getVendor() override;
    /// The unique id in lower-case hexadecimal.
    String getIdentifier() override;
    String getCategory() override;
    String getVersion() override;
    int32_t getLatency() override;
    void initialize() override;
    void terminate() override;
    void startProcessing() override;
    void stopProcessing() override;
    int32_t getProgramCount() override;
    void getProgramName(int32_t index, char* buffer, int32_t size) override;
    int32_t getCurrentProgram() override;
    void setCurrentProgram(int32_t index) override;
    void getParameterName(int32_t index, char* buffer, int32_t size) override;
    void getParameterDisplay(int32_t index, char* buffer, int32_t size) override;
    void getParameterLabel(int32_t index, char* buffer, int32_t size) override;
    void getParameterProperties(int32_t index, ParameterProperties& properties) override;
    float getParameterValue(int32_t index) override;
    /// Drops a change of the parameter that the user is holding in the editor.
    void setParameterValue(int32_t index, float value) override;
    int32_t process(int32_t frames, bool keepActive, bool realtime) override;
    int32_t getParameterCount() override;
    String getNoteName(int32_t note) override;
    bool hasEditor() override;
    bool canResizeEditor() override;
    bool checkEditorSize(int32_t& width, int32_t& height) override;
    void openEditor(uint32_t parentWindow, bool resizable, const String& title) override;
    void closeEditor() override;
    void editorWasClosed() override;
    void editorMouseWheel(float distance) override;
    bool editorKeyDown(uint16_t key, int16_t keyCode, int32_t modifiers) override;
    bool editorKeyUp(uint16_t key, int16_t keyCode, int32_t modifiers) override;
    void editorFocusChanged(bool focused) override;
    void editorSetSize(int32_t& width, int32_t& height) override;
    void idle() override;
    void loadPreset(const String& path) override;
    void savePreset(const String& path) override;

    /// Applies the last requested size to an editor's window, also one that a thread of the effect requests
    /// meanwhile. Main thread.
    void applyEditorSize(PluginWindow& open);

    // The effect's callbacks: any thread, lock-free. Each returns the answer for the effect.

    VstIntPtr parameterAutomated(int32_t index, float value);
    VstIntPtr everythingChanged();
    VstIntPtr requestIdle();
    /// In pixels. Sizes below 10 are stored and not applied: plug-ins report them before they have a real
    /// one.
    VstIntPtr sizeWindow(int32_t width, int32_t height);
    VstIntPtr currentProcessLevel() const;
    VstIntPtr queryTime();
    VstIntPtr receiveEvents(const VstEvents* events);
    VstIntPtr queryInputLatency() const;
    VstIntPtr queryOutputLatency() const;

private:
    using DispatcherAnswer = VstIntPtr;

    DispatcherAnswer dispatch(VstInt32 opcode, VstInt32 index = 0, VstIntPtr value = 0, void* ptr = nullptr,
                              float opt = 0.0F) const {
        return callDispatcher(effect, opcode, index, value, ptr, opt);
    }
    DispatcherAnswer canDo(const char* ability) const;
    String dispatchedText(VstInt32 opcode) const;
    std::vector<Ref<PluginAudioBus>> collectBuses(VstInt32 propertiesOpcode, int32_t channelCount,
                                                  const char* direction) const;
    /// Adopts the size that the effect reports for its editor, if any.
    void adoptEditorSize();
    void loadBankOrProgram(const String& path);
    bool dispatchKey(VstInt32 opcode, uint16_t key, int32_t modifiers) const;
    void switchMains(bool on);
    void setLink(VstIntPtr link);
    void channelsChanged() override;

    Vst2Plugin* plugin;
    AEffect* effect = nullptr;
    VstIntPtr vstVersion = 0;
    Vst2Block block{audio, parameterEdit};
    bool sendsMidi = false;
    Relaxed<bool> mainsOn = false;
    Relaxed<bool> needsIdle = false;
    bool isShell = false;
    /// `terminate` has timed out waiting for the effect's threads.
    bool callIsStuck = false;
    int32_t shellPluginId;
};
