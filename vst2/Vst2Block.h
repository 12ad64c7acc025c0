#pragma once

#include "plugin/InstanceAudio.h"
#include "plugin/ParameterEdit.h"
#include "plugin/ProcessingState.h"
#include "vst2/LastTransport.h"
#include "vst2/Vst24.h"
#include "vst2/Vst2Channels.h"

#include <cstdint>

/// What an audio worker uses of a VST 2 instance: renders the blocks, and answers the effect's callbacks
/// about them. Of the instance it uses only the effect and the `InstanceAudio`. Doesn't allocate, lock or
/// log, except when the main thread sets it up, and when a plug-in reports from inside of its own calls.
///
/// Owned by the instance, which sets it up on the main thread before a worker has the instance.
class Vst2Block : public NonCopyable, public NonMovable {
public:
    /// What an effect reported when it was initialised.
    struct Abilities {
        bool receivesMidi = false;
        bool receivesSysex = false;
        bool isGenerator = false;
    };

    /// Both are the instance's and outlive this.
    Vst2Block(InstanceAudio& audio, const ParameterEdit& parameterEdit);
    ~Vst2Block();

    // Main thread, before a worker has the instance.

    void attach(AEffect* newEffect);
    /// Once.
    void prepare(const Abilities& newAbilities);
    /// Adopts the channels of a new audio block.
    void connectChannels();

    // Audio worker: what the operations of `PluginInstance` call.

    void startProcessing();
    void stopProcessing();
    int32_t process(int32_t frames, bool keepActive, bool inRealtime);
    /// Drops a change of the parameter that the user is holding in the editor.
    void setParameterValue(int32_t index, float value);

    // Any thread.

    ProcessingState getState() const { return state; }
    /// Main thread, at the begin and the end of the effect's life.
    void setState(ProcessingState newState) { state = newState; }
    const Abilities& getAbilities() const { return abilities; }
    bool hasNoteInput() const;
    /// In samples.
    int32_t getLatency() const;
    /// The client waits for the output of the block that runs, or ran last.
    bool isRealtime() const { return realtime; }
    /// A pointer to a `VstTimeInfo`, valid until the same thread's next query: of the running block, in this
    /// object, for the thread inside of `process`; of the last block, in memory of the thread, for any other.
    /// 0 without an audio block.
    VstIntPtr queryTime();
    /// Stores the MIDI events that the effect sends during `process`; drops others.
    VstIntPtr receiveEvents(const VstEvents* events);

private:
    static constexpr int32_t eventCapacity = 256;

    // The steps of `process`.
    void applyParameterChanges(const PluginAudioContext& context);
    void sendEvents(const PluginAudioContext& context);
    void render(const PluginAudioContext& context, int32_t frames);
    int32_t judgeTail(int32_t frames, bool keepActive);

    InstanceAudio& audio;
    const ParameterEdit& parameterEdit;
    AEffect* effect = nullptr;
    Abilities abilities;
    Relaxed<ProcessingState> state = ProcessingState::created;
    /// What `audioMasterGetTime` points to on the thread inside of `process`, which alone touches it.
    VstTimeInfo timeInfo{};
    LastTransport lastTransport;
    /// The thread inside of `process`, by the address of a variable that is its own; null outside.
    Relaxed<const void*> processThread = nullptr;
    // What the effect gets as its channels; connected before the worker has the audio context.
    Vst2Channels inputs;
    Vst2Channels outputs;
    /// Freed by `free`: room for `eventCapacity` pointers and as many records of the larger kind of event.
    VstEvents* eventList = nullptr;
    uint8_t* eventBuffer = nullptr;
    int32_t eventBufferSize = 0;
    /// Frames since the client last kept the plug-in active, counted twice; saturates.
    int32_t tailCounter = 0;
    Relaxed<bool> realtime = true;
    Relaxed<bool> inProcess = false;
};
