#include "vst2/Vst2Block.h"

#include "core/Log.h"
#include "vst2/EffectCall.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

namespace {

// The `byteSize` of both kinds, also where their structure has another size.
constexpr VstInt32 eventByteSize = 32;
constexpr size_t cacheLine = 64; // bytes
constexpr size_t eventSize = std::max(sizeof(VstMidiEvent), sizeof(VstMidiSysexEvent));

// To be freed by `free`. On the boundary of a cache line, so that no event lies across two.
template <class T>
T* allocateBytes(size_t size) {
    void* memory = std::aligned_alloc(cacheLine, (size + cacheLine - 1) / cacheLine * cacheLine);
    if (memory == nullptr)
        throw std::bad_alloc();
    return static_cast<T*>(memory);
}

VstMidiEvent* writeMidiEvent(uint8_t* target, const EventRecord& record) {
    auto* event = new (target) VstMidiEvent{};
    event->type = kVstMidiType;
    event->byteSize = eventByteSize;
    event->deltaFrames = record.sampleOffset;
    std::memcpy(event->midiData, record.midi, 3);
    return event;
}

VstMidiSysexEvent* writeSysexEvent(uint8_t* target, const EventRecord& record) {
    auto* event = new (target) VstMidiSysexEvent{};
    event->type = kVstSysExType;
    event->byteSize = eventByteSize;
    event->deltaFrames = record.sampleOffset;
    event->dumpBytes = std::min<VstInt32>(record.systemExclusiveSize, sizeof record.systemExclusive);
    // Into the audio block itself, so that nothing is copied. The published type has no const.
    event->sysexDump = const_cast<char*>(reinterpret_cast<const char*>(record.systemExclusive));
    return event;
}

// Saturates: an overflow would make a long silence look short.
int32_t addSaturated(int32_t counter, int32_t frames) {
    return static_cast<int32_t>(
        std::min<int64_t>(int64_t{counter} + frames, std::numeric_limits<int32_t>::max()));
}

VstInt32 timeInfoFlags(uint32_t transportFlags) {
    // Oddity bar-start-not-valid: filled in, but its flag stays clear.
    VstInt32 flags = kVstAutomationReading | kVstNanosValid | kVstPpqPosValid | kVstTempoValid |
                     kVstCyclePosValid | kVstTimeSigValid;
    if ((transportFlags & transportPlaying) != 0)
        flags |= kVstTransportPlaying;
    if ((transportFlags & transportChangedMask) != 0)
        flags |= kVstTransportChanged;
    if ((transportFlags & transportLoopOn) != 0)
        flags |= kVstTransportCycleActive;
    if ((transportFlags & transportRecording) != 0)
        flags |= kVstTransportRecording;
    if ((transportFlags & transportAutomationWriting) != 0)
        flags |= kVstAutomationWriting;
    return flags;
}

VstTimeInfo timeInfoOf(const TransportBlock& transport) {
    VstTimeInfo info{};
    info.samplePos = static_cast<double>(transport.samplePosition);
    info.sampleRate = transport.sampleRate;
    info.nanoSeconds = transport.systemTime;
    info.ppqPos = transport.position;
    info.tempo = transport.tempo;
    info.barStartPos = transport.barStart;
    info.cycleStartPos = transport.loopStart;
    info.cycleEndPos = transport.loopEnd;
    info.timeSigNumerator = transport.timeSignatureNumerator;
    info.timeSigDenominator = transport.timeSignatureDenominator;
    info.flags = timeInfoFlags(transport.flags);
    return info;
}

// What `audioMasterGetTime` points to on a thread outside of `process`. Its address also identifies the
// thread.
constinit thread_local VstTimeInfo ownTimeInfo{};

} // namespace

Vst2Block::Vst2Block(InstanceAudio& audio, const ParameterEdit& parameterEdit)
    : audio(audio), parameterEdit(parameterEdit) {}

Vst2Block::~Vst2Block() {
    std::free(eventList);
    std::free(eventBuffer);
}

void Vst2Block::attach(AEffect* newEffect) {
    effect = newEffect;
}

void Vst2Block::prepare(const Abilities& newAbilities) {
    abilities = newAbilities;
    eventList = allocateBytes<VstEvents>(offsetof(VstEvents, events) + eventCapacity * sizeof(void*));
    eventBuffer = allocateBytes<uint8_t>(eventCapacity * eventSize);
    eventBufferSize = eventCapacity * eventSize;
}

void Vst2Block::connectChannels() {
    inputs.connect(audio.getInputChannels(), audio.getInputChannelCount(), audio.getBlockSize());
    outputs.connect(audio.getOutputChannels(), audio.getOutputChannelCount(), audio.getBlockSize());
}

void Vst2Block::startProcessing() {
    callDispatcher(effect, effStartProcess);
    state = ProcessingState::processing;
}

void Vst2Block::stopProcessing() {
    callDispatcher(effect, effStopProcess);
    state = ProcessingState::initialised;
}

bool Vst2Block::hasNoteInput() const {
    return (effect->flags & effFlagsIsSynth) != 0 || abilities.receivesMidi;
}

int32_t Vst2Block::getLatency() const {
    return effect != nullptr ? effect->initialDelay : 0;
}

int32_t Vst2Block::process(int32_t frames, bool keepActive, bool inRealtime) {
    EffectCall call;
    inProcess = true;
    processThread = &ownTimeInfo;
    realtime = inRealtime;
    if (const PluginAudioContext* context = audio.getContext()) {
        lastTransport.publish(context->getTransport());
        applyParameterChanges(*context);
        if (state == ProcessingState::processing) {
            if (hasNoteInput())
                sendEvents(*context);
            if (effect != nullptr)
                render(*context, frames);
        }
    }
    processThread = nullptr;
    inProcess = false;
    call.finish();
    return judgeTail(frames, keepActive);
}

void Vst2Block::setParameterValue(int32_t index, float value) {
    // Oddity edited-parameter-change-dropped: the user is holding this control in the editor.
    if (parameterEdit.holds(index))
        return;
    effect->setParameter(effect, index, value);
    audio.markDisplayDirty(index);
}

void Vst2Block::applyParameterChanges(const PluginAudioContext& context) {
    const std::span<const ParameterChange> changes = context.getParameterChanges();
    for (size_t i = 0; i < changes.size(); ++i) {
        // The count has shrunk, so something else writes to the block: nothing in it can be trusted any more.
        if (context.readParameterChangeCount() < static_cast<int32_t>(i))
            __builtin_trap();
        const ParameterChange& change = changes[i];
        setParameterValue(change.parameterIndex, change.value);
    }
}

void Vst2Block::sendEvents(const PluginAudioContext& context) {
    eventList->numEvents = 0;
    eventList->reserved = 0;
    const std::span<const EventRecord> records = context.getInputEvents();
    if (records.empty())
        return;
    uint8_t* next = eventBuffer;
    const uint8_t* const end = eventBuffer + eventBufferSize;
    const bool takesSysex = abilities.receivesSysex;
    constexpr ptrdiff_t step = eventSize;
    // The array is longer than its type declares.
    VstEvent** const list = eventList->events;
    int32_t count = 0;
    for (const EventRecord& record : records) {
        const bool isMidi = record.kind == EventKind::midi;
        if (!isMidi && !(record.kind == EventKind::systemExclusive && takesSysex))
            continue;
        if (end - next < step)
            break;
        list[count] = isMidi ? reinterpret_cast<VstEvent*>(writeMidiEvent(next, record))
                             : reinterpret_cast<VstEvent*>(writeSysexEvent(next, record));
        next += step;
        ++count;
        // Not reached with records of this size: the buffer ends first.
        if (count > eventCapacity) {
            base::core::logProgress("input event buffer overflow");
            break;
        }
    }
    eventList->numEvents = count;
    callDispatcher(effect, effProcessEvents, 0, 0, eventList);
}

void Vst2Block::render(const PluginAudioContext& context, int32_t frames) {
    // Read once for the block: the effect may change them on any thread.
    const int32_t claimedInputs = std::atomic_ref(effect->numInputs).load(std::memory_order_relaxed);
    const int32_t claimedOutputs = std::atomic_ref(effect->numOutputs).load(std::memory_order_relaxed);
    float** inputTable = inputs.reach(claimedInputs);
    float** outputTable = outputs.reach(claimedOutputs);
    if (inputTable == nullptr || outputTable == nullptr) [[unlikely]] {
        context.silenceOutput();
        return;
    }
    if (inputs.isBeyondBlock(claimedInputs)) [[unlikely]]
        inputs.silenceScratch();
    else if (audio.getInputChannelCount() == 0)
        inputTable = nullptr;
    if (audio.getOutputChannelCount() == 0 && claimedOutputs == 0)
        outputTable = nullptr;
    if ((effect->flags & effFlagsCanReplacing) != 0) {
        effect->processReplacing(effect, inputTable, outputTable, frames);
        return;
    }
    // The older function adds to what its outputs hold.
    context.silenceOutput();
    if (outputs.isBeyondBlock(claimedOutputs)) [[unlikely]]
        outputs.silenceScratch();
    effect->process(effect, inputTable, outputTable, frames);
}

int32_t Vst2Block::judgeTail(int32_t frames, bool keepActive) {
    if (abilities.isGenerator)
        return processActive;
    tailCounter = addSaturated(tailCounter, frames);
    // An open editor keeps a plug-in running.
    if (keepActive || audio.isEditorOpen()) {
        tailCounter = 0;
        return processActive;
    }
    // Oddity tail-counted-twice: the counter runs at twice the block rate.
    tailCounter = addSaturated(tailCounter, frames);
    constexpr VstIntPtr tailUnknown = 0;
    constexpr VstIntPtr noTail = 1;
    const VstIntPtr tailSize = callDispatcher(effect, effGetTailSize);
    if (tailSize == tailUnknown)
        return (effect->flags & effFlagsNoSoundInStop) != 0 ? processSilent : processTail;
    if (tailSize == noTail)
        return processSilent;
    if (tailSize < 0)
        return processTail;
    return int64_t{tailSize} + getLatency() >= tailCounter ? processTail : processSilent;
}

VstIntPtr Vst2Block::queryTime() {
    if (audio.getContext() == nullptr)
        return 0;
    TransportBlock& transport = *audio.getTransport();
    // One object for each thread, so that no other thread changes an earlier answer while it is read.
    const bool isInProcess = processThread == &ownTimeInfo;
    VstTimeInfo& answer = isInProcess ? timeInfo : ownTimeInfo;
    answer = timeInfoOf(isInProcess ? transport : lastTransport.read(transport));
    return reinterpret_cast<VstIntPtr>(&answer);
}

VstIntPtr Vst2Block::receiveEvents(const VstEvents* events) {
    PluginAudioContext* context = audio.getContext();
    if (!inProcess || context == nullptr || events == nullptr)
        return 1;
    const VstEvent* const* const list = events->events;
    for (int32_t i = 0; i < events->numEvents; ++i) {
        const VstEvent* event = list[i];
        if (event->type != kVstMidiType)
            continue;
        EventRecord* record = context->appendOutputEvent();
        if (record == nullptr)
            return 1;
        record->kind = EventKind::midi;
        // Clamped to the block size, not to the frames of this call.
        record->sampleOffset =
            static_cast<uint16_t>(std::clamp(event->deltaFrames, 0, std::max(audio.getBlockSize() - 1, 0)));
        std::memcpy(record->midi, reinterpret_cast<const VstMidiEvent*>(event)->midiData, 3);
    }
    return 1;
}
