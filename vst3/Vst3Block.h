#pragma once

#include "plugin/InstanceAudio.h"
#include "plugin/ParameterEdit.h"
#include "plugin/ProcessingState.h"
#include "vst3/Vst3EventList.h"
#include "vst3/Vst3ParameterChanges.h"

#include <cstdint>
#include <pluginterfaces/vst/ivstaudioprocessor.h>
#include <pluginterfaces/vst/ivsteditcontroller.h>
#include <pluginterfaces/vst/ivstnoteexpression.h>
#include <pluginterfaces/vst/ivstprocesscontext.h>

class Vst3Buses;
class Vst3ParameterList;
class Vst3Programs;

/// What an audio worker uses of a VST 3 instance: converts the flat audio context into a block of the format,
/// and its output back into the context's records. Of the instance it uses only the `InstanceAudio` and what
/// the format allows on an audio thread. Doesn't lock or log, and allocates only while its lists grow beyond
/// changes of 32 parameters and 256 events, which are prepared.
///
/// Owned by the instance.
class Vst3Block : public NonCopyable, public NonMovable {
public:
    /// What a worker may call of a plug-in. Owned by the instance, set before a worker has the instance, and
    /// valid as long as it; the interfaces may be null.
    struct Calls {
        const Vst3Buses& buses;
        const Vst3ParameterList& parameters;
        const Vst3Programs& programs;
        const IPtr<Vst::IAudioProcessor>& processor;
        const IPtr<Vst::IMidiMapping>& midiMapping;
        const IPtr<Vst::INoteExpressionController>& noteExpressionController;
    };

    Vst3Block(InstanceAudio& audio, const ParameterEdit& parameterEdit, const Calls& plugin);
    ~Vst3Block();

    // Audio worker: what the operations of `PluginInstance` call.

    void startProcessing();
    void stopProcessing();
    int32_t process(int32_t frames, bool keepActive, bool realtime);
    /// Drops a change of the parameter that the user is holding in the editor.
    void setParameterValue(int32_t index, float value);

    // Main thread and audio worker.

    bool hasNoteInput() const;
    bool hasNoteOutput() const;
    /// In samples. Oddity latency-through-float: through a single-precision float, so inexact above 2 to the
    /// 24th.
    int32_t getLatency() const;
    /// Sets the program by a point at `sampleOffset`, in frames, of the current block, or else of the next
    /// one.
    void selectProgram(int32_t index, int32_t sampleOffset);

    /// Any thread.
    ProcessingState getState() const { return state; }
    /// Main thread, at the begin and the end of the plug-in's life.
    void setState(ProcessingState newState) { state = newState; }

private:
    // The steps of `process`.
    bool canProcess() const;
    void render(PluginAudioContext& context, int32_t frames, bool keepActive, bool realtime);
    void applyParameterChanges(const PluginAudioContext& context);
    /// `info` is for the controller's record: of `Vst3ParameterList::readAgain`.
    void setParameterValue(int32_t index, float value, Vst::ParameterInfo& info);
    /// Throws `PluginException`.
    int32_t describeBuses(Vst::BusDirection direction, bool isSilent, Vst::AudioBusBuffers* buses) const;
    void fillProcessContext(Vst::ProcessContext& processContext) const;
    void readEvents(const PluginAudioContext& context);
    void readMidiEvent(const EventRecord& record, Vst::Event& event);
    void readNoteExpression(const EventRecord& record, Vst::Event& event);
    void addControllerPoint(int16_t channel, Vst::CtrlNumber number, float value, int32_t sampleOffset);
    double mapVolume(float value) const;
    void writeEvents(PluginAudioContext& context) const;
    int32_t judgeTail(int32_t frames, bool keepActive);

    InstanceAudio& audio;
    const ParameterEdit& parameterEdit;
    const Calls plugin;
    Relaxed<ProcessingState> state = ProcessingState::created;
    /// Empty between blocks, but for what `selectProgram` adds.
    Vst3ParameterChanges inputParameterChanges;
    /// Oddity output-changes-unread: never read and never emptied.
    Vst3ParameterChanges outputParameterChanges;
    Vst3EventList inputEvents;
    Vst3EventList outputEvents;
    /// Frames since the client last kept the plug-in active; saturates.
    int32_t silentFrames = 0;
};
