#include "vst3/Vst3Block.h"

#include "vst3/Vst3Buses.h"
#include "vst3/Vst3ParameterList.h"
#include "vst3/Vst3Programs.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <limits>
#include <pluginterfaces/vst/ivstmidicontrollers.h>
#include <span>

namespace {

constexpr int32_t maximumBusCount = 64; // of a direction
constexpr int32_t silenceBits = 64;
constexpr size_t preparedParameters = 32;
constexpr size_t preparedEvents = 256; // as many as a block holds
constexpr float perMidiStep = 1.0F / 127.0F;
constexpr float perPitchBendStep = 1.0F / 16383.0F;
constexpr float perTuningStep = 1.0F / 240.0F;
constexpr double slowestTempo = 1.0; // beats a minute
constexpr double fallbackTempo = 110.0;

/// Room on the stack for the buses of a direction, of which only those in use are made.
class BusArray {
public:
    Vst::AudioBusBuffers* get() { return reinterpret_cast<Vst::AudioBusBuffers*>(memory); }

private:
    alignas(16) std::byte memory[maximumBusCount * sizeof(Vst::AudioBusBuffers)];
};

/// Empties the lists of a block at its end, also on an exception.
class BlockLists : public NonCopyable, public NonMovable {
public:
    BlockLists(Vst3ParameterChanges& changes, Vst3EventList& inputEvents, Vst3EventList& outputEvents)
        : changes(changes), inputEvents(inputEvents), outputEvents(outputEvents) {}
    ~BlockLists() {
        changes.clear();
        inputEvents.clear();
        outputEvents.clear();
    }

private:
    Vst3ParameterChanges& changes;
    Vst3EventList& inputEvents;
    Vst3EventList& outputEvents;
};

uint64_t silenceMask(int32_t channels) {
    return channels >= silenceBits ? ~uint64_t{0} : (uint64_t{1} << std::max(channels, 0)) - 1;
}

// The same for a note's on and off, without a table.
int32_t noteIdOf(int32_t channel, int32_t pitch) {
    return channel << 8 | pitch;
}

/// The MIDI status byte for an event, on channel 0; 0 for an event that isn't sent.
uint8_t statusOf(const Vst::Event& event) {
    switch (event.type) {
    case Vst::Event::kNoteOnEvent:
        return 0x90;
    case Vst::Event::kNoteOffEvent:
        return 0x80;
    case Vst::Event::kPolyPressureEvent:
        return 0xA0;
    default:
        return 0;
    }
}

struct NoteData {
    int16_t pitch;
    float strength;
};

NoteData noteDataOf(const Vst::Event& event) {
    switch (event.type) {
    case Vst::Event::kNoteOnEvent:
        return {event.noteOn.pitch, event.noteOn.velocity};
    case Vst::Event::kNoteOffEvent:
        return {event.noteOff.pitch, event.noteOff.velocity};
    default:
        return {event.polyPressure.pitch, event.polyPressure.pressure};
    }
}

} // namespace

Vst3Block::Vst3Block(InstanceAudio& audio, const ParameterEdit& parameterEdit, const Calls& plugin)
    : audio(audio), parameterEdit(parameterEdit), plugin(plugin) {
    inputParameterChanges.reserve(preparedParameters);
    inputEvents.reserve(preparedEvents);
    outputEvents.reserve(preparedEvents);
}

Vst3Block::~Vst3Block() = default;

void Vst3Block::startProcessing() {
    if (plugin.processor)
        plugin.processor->setProcessing(true);
    state = ProcessingState::processing;
}

void Vst3Block::stopProcessing() {
    if (plugin.processor)
        plugin.processor->setProcessing(false);
    state = ProcessingState::initialised;
}

bool Vst3Block::hasNoteInput() const {
    return plugin.buses.count(Vst::kEvent, Vst::kInput) > 0;
}

bool Vst3Block::hasNoteOutput() const {
    return plugin.buses.count(Vst::kEvent, Vst::kOutput) > 0;
}

int32_t Vst3Block::getLatency() const {
    if (!plugin.processor)
        return 0;
    constexpr float greatest = 2147483520.0F; // that an int32 holds
    const auto latency = static_cast<float>(static_cast<int32_t>(plugin.processor->getLatencySamples()));
    return static_cast<int32_t>(std::clamp(latency, 0.0F, greatest));
}

void Vst3Block::selectProgram(int32_t index, int32_t sampleOffset) {
    plugin.programs.select(index, sampleOffset, inputParameterChanges);
}

int32_t Vst3Block::process(int32_t frames, bool keepActive, bool realtime) {
    if (PluginAudioContext* context = audio.getContext(); context != nullptr && canProcess())
        render(*context, frames, keepActive, realtime);
    return judgeTail(frames, keepActive);
}

bool Vst3Block::canProcess() const {
    // Queried for every block: plug-ins change their answer.
    return state == ProcessingState::processing && plugin.processor &&
           plugin.processor->canProcessSampleSize(Vst::kSample32) == kResultOk;
}

void Vst3Block::render(PluginAudioContext& context, int32_t frames, bool keepActive, bool realtime) {
    const BlockLists lists(inputParameterChanges, inputEvents, outputEvents);
    applyParameterChanges(context);

    Vst::ProcessData data;
    data.processMode = realtime ? Vst::kRealtime : Vst::kOffline;
    data.symbolicSampleSize = Vst::kSample32;
    data.numSamples = frames;
    data.inputParameterChanges = &inputParameterChanges;
    data.outputParameterChanges = &outputParameterChanges;

    BusArray inputs;
    BusArray outputs;
    data.inputs = inputs.get();
    data.outputs = outputs.get();
    data.numInputs = describeBuses(Vst::kInput, !keepActive, inputs.get());
    data.numOutputs = describeBuses(Vst::kOutput, false, outputs.get());

    if (hasNoteInput()) {
        readEvents(context);
        data.inputEvents = &inputEvents;
    }
    const bool sendsNotes = hasNoteOutput();
    if (sendsNotes)
        data.outputEvents = &outputEvents;

    Vst::ProcessContext processContext;
    fillProcessContext(processContext);
    data.processContext = &processContext;

    // The result is ignored: the output is what counts.
    plugin.processor->process(data);

    if (sendsNotes)
        writeEvents(context);
}

void Vst3Block::applyParameterChanges(const PluginAudioContext& context) {
    const std::span<const ParameterChange> changes = context.getParameterChanges();
    if (changes.empty())
        return;
    Vst::ParameterInfo info{};
    for (const ParameterChange& change : changes) {
        if (plugin.parameters.readAgain(change.parameterIndex, info)) {
            if (Vst3ParamValueQueue* queue = inputParameterChanges.queueOf(info.id))
                queue->append(change.sampleOffset, change.value);
        }
        // The controller gets the change on this thread as well.
        setParameterValue(change.parameterIndex, change.value, info);
    }
}

void Vst3Block::setParameterValue(int32_t index, float value) {
    Vst::ParameterInfo info{};
    setParameterValue(index, value, info);
}

void Vst3Block::setParameterValue(int32_t index, float value, Vst::ParameterInfo& info) {
    // Oddity edited-parameter-change-dropped: the user is holding this control in the editor.
    if (parameterEdit.holds(index))
        return;
    audio.markDisplayDirty(index);
    if (plugin.parameters.readAgain(index, info))
        plugin.parameters.setValue(info.id, value);
}

int32_t Vst3Block::describeBuses(Vst::BusDirection direction, bool isSilent,
                                 Vst::AudioBusBuffers* buses) const {
    const bool isInput = direction == Vst::kInput;
    float** channels = isInput ? audio.getInputChannels() : audio.getOutputChannels();
    int32_t channelsLeft = isInput ? audio.getInputChannelCount() : audio.getOutputChannelCount();
    const int32_t count = std::clamp(plugin.buses.count(Vst::kAudio, direction), 0, maximumBusCount);
    for (int32_t i = 0; i < count; ++i) {
        // A plug-in may have grown since the block was laid out.
        const int32_t channelCount = std::clamp(plugin.buses.get(direction, i).channelCount, 0, channelsLeft);
        auto* bus = new (buses + i) Vst::AudioBusBuffers;
        bus->numChannels = channelCount;
        bus->channelBuffers32 = channels;
        bus->silenceFlags = isSilent ? silenceMask(channelCount) : 0;
        if (channels != nullptr)
            channels += channelCount;
        channelsLeft -= channelCount;
    }
    return count;
}

void Vst3Block::fillProcessContext(Vst::ProcessContext& processContext) const {
    const TransportBlock& transport = *audio.getTransport();
    processContext = {};
    processContext.sampleRate = audio.getSampleRate();
    processContext.projectTimeSamples = static_cast<Vst::TSamples>(transport.samplePosition);
    // Oddity system-time-not-valid: filled in, but its flag stays clear.
    processContext.systemTime = static_cast<Steinberg::int64>(transport.systemTime);
    processContext.projectTimeMusic = transport.position;
    processContext.tempo = transport.tempo;
    processContext.timeSigNumerator = transport.timeSignatureNumerator;
    processContext.timeSigDenominator = transport.timeSignatureDenominator;
    processContext.state = Vst::ProcessContext::kProjectTimeMusicValid | Vst::ProcessContext::kTempoValid |
                           Vst::ProcessContext::kTimeSigValid;
    if (transport.tempo < slowestTempo) {
        processContext.tempo = fallbackTempo;
        processContext.state &= ~static_cast<uint32_t>(Vst::ProcessContext::kTempoValid);
    }
    if ((transport.flags & transportPlaying) != 0)
        processContext.state |= Vst::ProcessContext::kPlaying;
    if ((transport.flags & transportRecording) != 0)
        processContext.state |= Vst::ProcessContext::kRecording;
    if ((transport.flags & transportLoopOn) != 0) {
        processContext.state |= Vst::ProcessContext::kCycleActive | Vst::ProcessContext::kCycleValid;
        processContext.cycleStartMusic = transport.loopStart;
        processContext.cycleEndMusic = transport.loopEnd;
    }
}

void Vst3Block::readEvents(const PluginAudioContext& context) {
    for (const EventRecord& record : context.getInputEvents()) {
        Vst::Event event;
        std::memset(&event, 0, sizeof event);
        event.sampleOffset = record.sampleOffset;
        event.ppqPosition = record.position;
        switch (record.kind) {
        case EventKind::midi:
            readMidiEvent(record, event);
            break;
        case EventKind::systemExclusive:
            event.type = Vst::Event::kDataEvent;
            event.data.type = Vst::DataEvent::kMidiSysEx;
            event.data.size = std::min<uint32_t>(record.systemExclusiveSize, sizeof record.systemExclusive);
            // Into the audio block itself, so that nothing is copied: valid during this block.
            event.data.bytes = record.systemExclusive;
            inputEvents.addEvent(event);
            break;
        case EventKind::noteExpression:
            readNoteExpression(record, event);
            break;
        }
    }
}

void Vst3Block::readMidiEvent(const EventRecord& record, Vst::Event& event) {
    const auto channel = static_cast<int16_t>(record.midi[0] & 0x0F);
    // Seven bits of each byte: no pitch above 127 and no value above 1 reaches a plug-in.
    constexpr int dataMask = 0x7F;
    const auto data1 = static_cast<int16_t>(record.midi[1] & dataMask);
    const auto data2 = static_cast<int16_t>(record.midi[2] & dataMask);
    switch (record.midi[0] & 0xF0) {
    case 0x90:
        event.type = Vst::Event::kNoteOnEvent;
        event.noteOn.channel = channel;
        event.noteOn.pitch = data1;
        event.noteOn.velocity = static_cast<float>(data2) * perMidiStep;
        event.noteOn.length = -1;
        event.noteOn.noteId = noteIdOf(channel, data1);
        inputEvents.addEvent(event);
        break;
    case 0x80:
        event.type = Vst::Event::kNoteOffEvent;
        event.noteOff.channel = channel;
        event.noteOff.pitch = data1;
        event.noteOff.velocity = static_cast<float>(data2) * perMidiStep;
        event.noteOff.noteId = noteIdOf(channel, data1);
        inputEvents.addEvent(event);
        break;
    case 0xA0:
        event.type = Vst::Event::kPolyPressureEvent;
        event.polyPressure.channel = channel;
        event.polyPressure.pitch = data1;
        event.polyPressure.pressure = static_cast<float>(data2) * perMidiStep;
        event.polyPressure.noteId = noteIdOf(channel, data1);
        inputEvents.addEvent(event);
        break;
    case 0xB0:
        addControllerPoint(channel, data1, static_cast<float>(data2) * perMidiStep, record.sampleOffset);
        break;
    case 0xC0:
        selectProgram(data1, record.sampleOffset);
        break;
    case 0xD0:
        addControllerPoint(channel, Vst::kAfterTouch, static_cast<float>(data1) * perMidiStep,
                           record.sampleOffset);
        break;
    case 0xE0:
        addControllerPoint(channel, Vst::kPitchBend,
                           static_cast<float>(data2 << 7 | data1) * perPitchBendStep, record.sampleOffset);
        break;
    default:
        break;
    }
}

void Vst3Block::addControllerPoint(int16_t channel, Vst::CtrlNumber number, float value,
                                   int32_t sampleOffset) {
    Vst::ParamID id = Vst::kNoParamId;
    if (!plugin.midiMapping ||
        plugin.midiMapping->getMidiControllerAssignment(0, channel, number, id) != kResultOk)
        return;
    int32_t index = 0;
    if (Vst::IParamValueQueue* queue = inputParameterChanges.addParameterData(id, index))
        queue->addPoint(sampleOffset, value, index);
}

void Vst3Block::readNoteExpression(const EventRecord& record, Vst::Event& event) {
    const int32_t channel = record.noteExpression.channel;
    const int32_t key = record.noteExpression.key;
    const float value = record.noteExpression.value;
    event.type = Vst::Event::kNoteExpressionValueEvent;
    event.noteExpressionValue.noteId = noteIdOf(channel, key);
    switch (record.noteExpression.kind) {
    case 0:
        event.noteExpressionValue.typeId = Vst::kVolumeTypeID;
        event.noteExpressionValue.value = mapVolume(value);
        break;
    case 1:
        event.noteExpressionValue.typeId = Vst::kPanTypeID;
        event.noteExpressionValue.value = (value + 1.0) * 0.5;
        break;
    case 2:
        event.noteExpressionValue.typeId = Vst::kTuningTypeID;
        event.noteExpressionValue.value = value * perTuningStep + 0.5;
        break;
    case 3:
        event.noteExpressionValue.typeId = Vst::kBrightnessTypeID;
        event.noteExpressionValue.value = value;
        break;
    case 4:
        event.type = Vst::Event::kPolyPressureEvent;
        event.polyPressure = {static_cast<int16_t>(channel), static_cast<int16_t>(key), value,
                              noteIdOf(channel, key)};
        break;
    default:
        return;
    }
    inputEvents.addEvent(event);
}

double Vst3Block::mapVolume(float value) const {
    Vst::INoteExpressionController* expressions = plugin.noteExpressionController;
    const int32_t count = expressions != nullptr ? expressions->getNoteExpressionCount(0, 0) : 0;
    for (int32_t i = 0; i < count; ++i) {
        Vst::NoteExpressionTypeInfo info{};
        if (expressions->getNoteExpressionInfo(0, 0, i, info) != kResultOk ||
            info.typeId != Vst::kVolumeTypeID)
            continue;
        const Vst::NoteExpressionValueDescription& range = info.valueDesc;
        if (value > 1.0F)
            return range.defaultValue + (range.maximum - range.defaultValue) * (value - 1.0);
        if (value < 1.0F)
            return range.minimum + (range.defaultValue - range.minimum) * value;
        return range.defaultValue;
    }
    return std::min((value * 0.25) * (double{value} * value), 1.0);
}

void Vst3Block::writeEvents(PluginAudioContext& context) const {
    const int32_t lastFrame = std::max(audio.getBlockSize() - 1, 0);
    for (const Vst::Event& event : outputEvents.getEvents()) {
        const uint8_t status = statusOf(event);
        if (status == 0)
            continue;
        EventRecord* appended = context.appendOutputEvent();
        if (appended == nullptr)
            return;
        const NoteData note = noteDataOf(event);
        EventRecord& record = *appended;
        record.kind = EventKind::midi;
        // Clamped to the block size, not to the frames of this call.
        record.sampleOffset = static_cast<uint16_t>(std::clamp(event.sampleOffset, 0, lastFrame));
        record.midi[0] = status;
        record.midi[1] = static_cast<uint8_t>(note.pitch);
        // Oddity note-strength-truncated: to 0 or 1, and not scaled.
        record.midi[2] = static_cast<uint8_t>(static_cast<int32_t>(note.strength));
        record.midi[3] = 0;
    }
}

int32_t Vst3Block::judgeTail(int32_t frames, bool keepActive) {
    if (keepActive) {
        silentFrames = 0;
        return processActive;
    }
    silentFrames = static_cast<int32_t>(
        std::min<int64_t>(int64_t{silentFrames} + frames, std::numeric_limits<int32_t>::max()));
    // An open editor keeps a plug-in running.
    if (audio.isEditorOpen())
        return processActive;
    const bool canRender = plugin.processor && audio.getContext() != nullptr;
    const int32_t tail = canRender ? static_cast<int32_t>(plugin.processor->getTailSamples()) : 0;
    if (tail < 0)
        return processTail;
    if (tail == 0)
        return processSilent;
    return silentFrames <= int64_t{tail} + getLatency() ? processTail : processSilent;
}
