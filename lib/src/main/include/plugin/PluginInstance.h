#pragma once

#include "plugin/CoreNames.h"
#include "plugin/InstanceAudio.h"
#include "plugin/ParameterEdit.h"
#include "plugin/ParameterInfo.h"
#include "plugin/PluginAudioBus.h"
#include "plugin/PluginAudioContext.h"
#include "plugin/PluginWindow.h"
#include "plugin/ProcessingState.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <vector>

class PluginApi;
class PluginHostContext;
class PluginHostNotification;
class PluginHostProxyHandler;

/// How a plug-in can be used.
enum DeviceType : int32_t {
    audioToAudioDevice = 0,
    noteToAudioDevice = 1,
    noteToNoteDevice = 2,
    audioToNoteDevice = 3,
};

/// One running plug-in, independent of its format. Parameters, programs and channels are flat lists by index,
/// values are normalised to 0..1, one block of audio is rendered at a time, and there is one editor window.
///
/// Made on the main thread, and held by the host's table of instances until the client destroys it. The main
/// thread calls everything except `startProcessing`, `stopProcessing` and `process`, which an audio worker
/// calls; they are kept apart by the client's order of commands, not by a lock. A plug-in's own threads call
/// the notification makers, which pass the notifications to the main thread.
class PluginInstance : public Object {
public:
    /// Bytes of the buffer for a name or a display text.
    static constexpr int32_t textSize = 256;

    PluginInstance(PluginHostContext* host, int32_t instanceId, bool dpiAware);
    ~PluginInstance() override;

    virtual PluginApi* getApi() const = 0;
    /// Whether the plug-in's own object exists.
    virtual bool isOpen() const = 0;
    /// Called once, when the instance has been created.
    virtual void activate() = 0;
    /// `DeviceType`s; never empty.
    virtual std::vector<int32_t> getDeviceTypes() = 0;
    virtual bool hasAudioInput() = 0;
    virtual bool hasNoteInput() = 0;
    virtual bool hasAudioOutput() = 0;
    virtual bool hasNoteOutput() = 0;
    virtual bool hasSysexInput() = 0;
    virtual bool supportsMpe() = 0;
    virtual bool hasMidiControllerMapping();
    virtual bool supportsViewDpiScaling() = 0;
    /// Any thread.
    virtual ProcessingState getProcessingState() const = 0;
    virtual std::vector<Ref<PluginAudioBus>> getInputBuses() = 0;
    virtual std::vector<Ref<PluginAudioBus>> getOutputBuses() = 0;
    virtual int32_t getInputChannelCount() = 0;
    virtual int32_t getOutputChannelCount() = 0;
    virtual String getName() = 0;
    virtual String getVendor() = 0;
    /// The client's identifier for the plug-in, not always the one that selects it in its file.
    virtual String getIdentifier() = 0;
    virtual String getCategory() = 0;
    virtual String getVersion() = 0;
    /// In samples.
    virtual int32_t getLatency() = 0;
    /// Initialises the plug-in; once, before the instance enters the host's table.
    virtual void initialize() = 0;
    /// Shuts it down, before the instance leaves the table.
    virtual void terminate() = 0;
    /// Audio worker.
    virtual void startProcessing() = 0;
    /// Audio worker; also called by `terminate`.
    virtual void stopProcessing() = 0;
    virtual int32_t getProgramCount() = 0;
    /// Fills a zeroed buffer of `size` bytes, which the plug-in may leave without a terminator.
    virtual void getProgramName(int32_t index, char* buffer, int32_t size) = 0;
    virtual int32_t getCurrentProgram() = 0;
    virtual void setCurrentProgram(int32_t index) = 0;
    virtual void getParameterName(int32_t index, char* buffer, int32_t size) = 0;
    virtual void getParameterDisplay(int32_t index, char* buffer, int32_t size) = 0;
    virtual void getParameterLabel(int32_t index, char* buffer, int32_t size) = 0;
    /// Fills a record that the caller has zeroed.
    virtual void getParameterProperties(int32_t index, ParameterProperties& properties) = 0;
    virtual float getParameterValue(int32_t index) = 0;
    /// What a change of a block does, which a worker does by the format's block object. The base only marks
    /// the parameter for a display update. The index isn't checked: one that the plug-in doesn't have is
    /// passed to it.
    virtual void setParameterValue(int32_t index, float value);
    /// Renders one block of `frames`, at most the block size; returns a `ProcessResult`. `keepActive`: the
    /// client continues to call for any result. `realtime`: it waits for the output. Audio worker: doesn't
    /// allocate or lock, except for notifications from inside of the plug-in's call.
    virtual int32_t process(int32_t frames, bool keepActive, bool realtime) = 0;
    virtual int32_t getParameterCount() = 0;
    /// `note` is 0 to 127; empty if the plug-in has no name for it.
    virtual String getNoteName(int32_t note) = 0;
    virtual bool hasEditor() = 0;
    virtual bool canResizeEditor() = 0;
    /// Part of the contract, like the operations for the mouse, keys, focus and size below; this host calls
    /// none of them: a plug-in's window gets its events from the X server.
    virtual bool checkEditorSize(int32_t& width, int32_t& height) = 0;
    /// `parentWindow` is the client's X window, 0 for none.
    virtual void openEditor(uint32_t parentWindow, bool resizable, const String& title) = 0;
    virtual void setWindowTitle(const String& title);
    /// No effect without an open editor.
    virtual void closeEditor() = 0;
    virtual void editorWasClosed() = 0;
    virtual void editorMouseWheel(float distance) = 0;
    virtual bool editorKeyDown(uint16_t key, int16_t keyCode, int32_t modifiers) = 0;
    virtual bool editorKeyUp(uint16_t key, int16_t keyCode, int32_t modifiers) = 0;
    /// Stores the size, in pixels, and notifies the client, on the calling thread, unless the editor is being
    /// opened or shown. The place is ignored.
    virtual void editorSizeChanged(int32_t x, int32_t y, int32_t width, int32_t height);
    virtual void editorFocusChanged(bool focused) = 0;
    virtual void editorSetSize(int32_t& width, int32_t& height) = 0;
    /// The periodic call of the main thread, about every 40 ms. The base notifies the client of changed
    /// display texts.
    virtual void idle();
    /// Both keep their place in the contract; not called.
    virtual void noOperation();
    virtual bool alwaysFalse();
    /// Throws `IOException`.
    virtual void loadPreset(const String& path) = 0;
    /// Throws `IOException`.
    virtual void savePreset(const String& path) = 0;
    /// The first of overlapping edits is protected from the client's changes. Any thread.
    virtual void beginParameterEdit(int32_t index);
    /// Any thread.
    virtual void endParameterEdit(int32_t index);

    /// Adopts the audio block: points the channel arrays and the transport of `audio` into it and publishes
    /// the context last, so that a thread that sees the context sees the rest. Main thread, before the
    /// instance is announced to the client.
    void setAudioContext(const Ref<PluginAudioContext>& context);

    /// Call it before the editor's window is opened or shown again: its moves don't count as the user's until
    /// that has settled. Main thread.
    void beginWindowChange();
    /// Call it after the last request of such a change. `windowBusy` is cleared later, when the server has
    /// reported the results.
    void endWindowChange();

    /// Ends a worker's turn with this instance and publishes the worker's writes to `awaitWorkerTurns`.
    /// Lock-free.
    void endWorkerTurn() { workerTurns.fetch_add(1, std::memory_order_release); }
    /// Makes what workers did in their ended turns visible to the caller.
    void awaitWorkerTurns() const { (void)workerTurns.load(std::memory_order_acquire); }

    /// What the audio worker may use of the instance, set up before it has the instance.
    InstanceAudio audio{window};

    // Touched by any thread.

    /// No notification is sent while this is set: the host itself is calling the plug-in.
    Relaxed<bool> notificationsMuted = false;
    PluginHostContext* const host;
    const int32_t instanceId;
    /// Null until the instance has been announced to the client; no notification is sent without it.
    PublishedPointer<PluginHostProxyHandler> handler;
    /// A full update was requested; preset loading clears and tests it.
    Relaxed<bool> allParametersChanged = false;
    /// `terminate` has begun.
    Relaxed<bool> closing = false;
    Relaxed<bool> windowHidden = false;
    /// The client shows its editors scaled.
    const bool dpiAware;
    /// The editor is being opened or shown again: its moves aren't the user's.
    Relaxed<bool> windowBusy = false;
    /// Counts the openings and showings of the editor. Main thread.
    uint32_t windowSerial = 0;

    // The editor window: where it is, in pixels of the screen, and the window itself, null while closed.

    /// The four numbers below hold: the client has sent a place, or the window had one.
    bool hasWindowPosition = false;
    int32_t windowX = 0;
    int32_t windowY = 0;
    Relaxed<int32_t> windowWidth = 0;
    Relaxed<int32_t> windowHeight = 0;
    /// Owned.
    PublishedPointer<PluginWindow> window;

protected:
    /// The second half of an opening, once the plug-in has the window: waits for the plug-in's own window,
    /// calls `adoptSize` to set the size, and shows the window. Nothing may touch the instance after this.
    /// Main thread.
    ///
    /// Oddity windowless-editor-left-open: if the plug-in makes no window, the editor is closed again without
    /// a call to the plug-in, and `windowBusy` stays set.
    void finishOpening(PluginWindow& open, bool resizable, const String& title,
                       const std::function<void()>& adoptSize);
    /// Destroys the editor's window, if there is one. The window may hold the last reference: nothing may
    /// touch the instance after this.
    void destroyWindow();
    /// Notifies the client of a value that the plug-in itself changed. Any thread; allocates.
    void notifyParameterChanged(int32_t index, float value);
    /// Sends the client the whole state anew. Any thread; allocates.
    void notifyAllParametersChanged();
    /// Ends an edit that the plug-in left open, such as a drag that the editor's end cut off, and notifies
    /// the client.
    void endLeftEdit();

    String parameterNameText(int32_t index);
    String parameterDisplayText(int32_t index);
    String programNameText(int32_t index);

    /// Called when the channel arrays of `audio` are new, before a worker sees them. Main thread.
    virtual void channelsChanged();

    ParameterEdit parameterEdit;

private:
    /// Null once the last reference has gone: a caller that comes during the end must not add a new owner.
    Ref<PluginInstance> holdUnlessEnding();
    void notifyParameterEdit(int32_t index, bool isBegin);

    std::atomic<uint32_t> workerTurns{0};

    friend class PluginInstanceState;
};
