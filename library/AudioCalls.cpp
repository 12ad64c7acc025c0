// The functions of audio threads: they allocate nothing, lock nothing, and leave the thread's last error as
// it is.

#include "library/AudioUse.h"
#include "library/Calls.h"
#include "library/ClientCycle.h"

using namespace client_library;

namespace {

/// One command to a worker. What it throws means that the host is gone.
template <class Command>
plugin_host_status command(const AudioUse& use, const Command& body) noexcept {
    if (const plugin_host_status status = use.getStatus(); status != PLUGIN_HOST_OK)
        return status;
    PluginAudio& audio = use.get();
    const WorkerUse worker(audio.turn);
    if (!worker)
        return PLUGIN_HOST_BUSY;
    try {
        return body(audio);
    } catch (...) {
        audio.host->reportLoss();
        return PLUGIN_HOST_DEAD;
    }
}

/// OK for a plug-in whose block can be filled.
plugin_host_status fillableStatus(const AudioUse& use) {
    const plugin_host_status status = use.getStatus();
    if (status != PLUGIN_HOST_OK)
        return status;
    if (use.get().isInCycle)
        return PLUGIN_HOST_INVALID_STATE;
    return use.get().isLate ? PLUGIN_HOST_LATE : PLUGIN_HOST_OK;
}

EventRecord recordOf(const plugin_host_event& event) {
    EventRecord record{};
    record.kind = static_cast<EventKind>(event.kind);
    record.sampleOffset = static_cast<uint16_t>(event.frame);
    record.position = event.position;
    if (event.kind == PLUGIN_HOST_NOTE_EXPRESSION) {
        record.noteExpression.channel = static_cast<uint16_t>(event.channel);
        record.noteExpression.key = static_cast<uint16_t>(event.key);
        record.noteExpression.kind = static_cast<uint8_t>(event.expression);
        record.noteExpression.value = event.value;
        return record;
    }
    std::memcpy(record.systemExclusive, event.data, event.data_size);
    if (event.kind == PLUGIN_HOST_SYSTEM_EXCLUSIVE)
        record.systemExclusiveSize = static_cast<uint8_t>(event.data_size);
    return record;
}

bool isValid(const plugin_host_event& event, int32_t blockSize) {
    if (event.frame >= static_cast<uint32_t>(blockSize))
        return false;
    switch (event.kind) {
    case PLUGIN_HOST_MIDI:
        return event.data_size >= 1 && event.data_size <= 3;
    case PLUGIN_HOST_SYSTEM_EXCLUSIVE:
        return event.data_size >= 1 && event.data_size <= sizeof event.data;
    case PLUGIN_HOST_NOTE_EXPRESSION:
        return event.channel <= 0xFFFF && event.key <= 0xFFFF && event.expression <= 0xFF;
    }
    return false;
}

plugin_host_event eventOf(const EventRecord& record) {
    plugin_host_event event{};
    event.kind = static_cast<plugin_host_event_kind>(record.kind);
    event.frame = record.sampleOffset;
    event.position = record.position;
    switch (record.kind) {
    case EventKind::midi:
        event.data_size = 3;
        break;
    case EventKind::systemExclusive:
        event.data_size = std::min<uint32_t>(record.systemExclusiveSize, sizeof event.data);
        break;
    default:
        event.channel = record.noteExpression.channel;
        event.key = record.noteExpression.key;
        event.expression = record.noteExpression.kind;
        event.value = record.noteExpression.value;
        return event;
    }
    std::memcpy(event.data, record.systemExclusive, event.data_size);
    return event;
}

template <class Structure>
bool readAudioStructure(const Structure* given, Structure& target) {
    if (!canFill(given))
        return false;
    target = {};
    std::memcpy(&target, given, std::min(given->size, sizeof target));
    return true;
}

uint32_t flagsOf(uint32_t flags) {
    const auto flag = [&](uint32_t from, uint32_t to) { return (flags & from) != 0 ? to : 0; };
    return flag(PLUGIN_HOST_PLAYING, transportPlaying) | flag(PLUGIN_HOST_RECORDING, transportRecording) |
           flag(PLUGIN_HOST_LOOPING, transportLoopOn) |
           flag(PLUGIN_HOST_WRITING_AUTOMATION, transportAutomationWriting) |
           flag(PLUGIN_HOST_TRANSPORT_CHANGED, transportChangedMask);
}

void fillTransport(TransportBlock& block, const plugin_host_transport& transport) {
    block.tempo = transport.tempo;
    block.position = transport.position;
    block.systemTime = transport.system_time;
    block.barStart = transport.bar_start;
    block.loopStart = transport.loop_start;
    block.loopEnd = transport.loop_end;
    block.inputLatency = transport.input_latency;
    block.outputLatency = transport.output_latency;
    block.samplePosition = transport.frame;
    block.flags = flagsOf(transport.flags);
    block.timeSignatureNumerator = static_cast<uint16_t>(transport.time_signature_numerator);
    block.timeSignatureDenominator = static_cast<uint16_t>(transport.time_signature_denominator);
}

} // namespace

plugin_host_status plugin_host_plugin_start(plugin_host_plugin* plugin) {
    const AudioUse use(plugin);
    return command(use, [](PluginAudio& audio) {
        if (!audio.isStarted.exchange(true))
            audio.context->startProcessing();
        return PLUGIN_HOST_OK;
    });
}

plugin_host_status plugin_host_plugin_stop(plugin_host_plugin* plugin) {
    const AudioUse use(plugin);
    return command(use, [](PluginAudio& audio) {
        if (audio.isStarted.exchange(false)) {
            audio.context->stopProcessing();
            // The worker has no answer to a stop: afterwards it is done with the plug-in.
            audio.context->drain();
        }
        return PLUGIN_HOST_OK;
    });
}

plugin_host_status plugin_host_plugin_begin(plugin_host_plugin* plugin, plugin_host_input* input) {
    const AudioUse use(plugin);
    if (const plugin_host_status status = use.getStatus(); status != PLUGIN_HOST_OK)
        return status;
    PluginAudio& audio = use.get();
    if (audio.isInCycle)
        return PLUGIN_HOST_INVALID_STATE;
    if (input != nullptr && !canFill(input))
        return PLUGIN_HOST_INVALID_ARGUMENT;
    plugin_host_status status = PLUGIN_HOST_OK;
    if (audio.isLate)
        status = command(use, [](PluginAudio& late) {
            late.isLate = !late.context->isAnswered();
            return late.isLate ? PLUGIN_HOST_LATE : PLUGIN_HOST_OK;
        });
    if (status == PLUGIN_HOST_OK) {
        audio.context->beginBlock();
        audio.hasBegun = true;
    }
    if (input != nullptr && status != PLUGIN_HOST_DEAD)
        fill(*input, {0, (audio.isLate ? audio.dropped : audio.inputs).data(), audio.inputs.size()});
    return status;
}

plugin_host_status plugin_host_plugin_add_event(plugin_host_plugin* plugin, const plugin_host_event* event) {
    const AudioUse use(plugin);
    if (const plugin_host_status status = fillableStatus(use); status != PLUGIN_HOST_OK)
        return status;
    plugin_host_event given;
    if (!readAudioStructure(event, given) || !isValid(given, use.get().context->blockSize))
        return PLUGIN_HOST_INVALID_ARGUMENT;
    return use.get().context->addEvent(recordOf(given)) ? PLUGIN_HOST_OK : PLUGIN_HOST_FULL;
}

plugin_host_status plugin_host_plugin_add_midi(plugin_host_plugin* plugin, uint32_t frame, uint8_t status,
                                               uint8_t data1, uint8_t data2) {
    const AudioUse use(plugin);
    if (const plugin_host_status failure = fillableStatus(use); failure != PLUGIN_HOST_OK)
        return failure;
    if (frame >= static_cast<uint32_t>(use.get().context->blockSize))
        return PLUGIN_HOST_INVALID_ARGUMENT;
    return use.get().context->addMidiEvent(static_cast<uint16_t>(frame), status, data1, data2)
               ? PLUGIN_HOST_OK
               : PLUGIN_HOST_FULL;
}

plugin_host_status plugin_host_plugin_add_change(plugin_host_plugin* plugin, uint32_t index, float value,
                                                 uint32_t frame) {
    const AudioUse use(plugin);
    if (const plugin_host_status status = fillableStatus(use); status != PLUGIN_HOST_OK)
        return status;
    const RemotePluginAudioContextProxy& context = *use.get().context;
    if (index >= static_cast<uint32_t>(context.parameterCount))
        return PLUGIN_HOST_NOT_FOUND;
    // Also refuses what is no number.
    if (frame >= static_cast<uint32_t>(context.blockSize) || !(value >= 0 && value <= 1))
        return PLUGIN_HOST_INVALID_ARGUMENT;
    if (!use.get().context->addParameterChange(static_cast<uint16_t>(index), value,
                                               static_cast<uint16_t>(frame)))
        return PLUGIN_HOST_FULL;
    if (use.get().kept)
        use.get().kept->noteChange(index, value);
    return PLUGIN_HOST_OK;
}

plugin_host_status plugin_host_plugin_set_transport(plugin_host_plugin* plugin,
                                                    const plugin_host_transport* transport) {
    const AudioUse use(plugin);
    if (const plugin_host_status status = fillableStatus(use); status != PLUGIN_HOST_OK)
        return status;
    plugin_host_transport given;
    if (!readAudioStructure(transport, given))
        return PLUGIN_HOST_INVALID_ARGUMENT;
    fillTransport(use.get().context->getTransport(), given);
    return PLUGIN_HOST_OK;
}

plugin_host_status plugin_host_plugin_process(plugin_host_plugin* plugin, uint32_t frames, uint32_t flags,
                                              plugin_host_output* output) {
    const AudioUse use(plugin);
    return command(use, [&](PluginAudio& audio) {
        if (output != nullptr && !canFill(output))
            return PLUGIN_HOST_INVALID_ARGUMENT;
        const plugin_host_status status = use.getStatus(frames);
        if (status == PLUGIN_HOST_LATE && output != nullptr)
            fill(*output, {0, PLUGIN_HOST_SILENT, audio.silence.data(), audio.silence.size(), 0});
        if (status != PLUGIN_HOST_OK)
            return status;
        const int32_t tail =
            audio.context->process(static_cast<int32_t>(frames), (flags & PLUGIN_HOST_KEEP_ACTIVE) != 0,
                                   (flags & PLUGIN_HOST_OFFLINE) == 0);
        audio.hasOutput = true;
        if (output != nullptr)
            fill(*output, {0, static_cast<plugin_host_tail>(tail), audio.outputs.data(), audio.outputs.size(),
                           audio.context->getOutputEvents().size()});
        return PLUGIN_HOST_OK;
    });
}

plugin_host_status plugin_host_plugin_get_event(plugin_host_plugin* plugin, size_t index,
                                                plugin_host_event* event) {
    const AudioUse use(plugin);
    if (const plugin_host_status status = use.getStatus(); status != PLUGIN_HOST_OK)
        return status;
    // Otherwise the block is the worker's.
    if (!use.get().hasOutput)
        return PLUGIN_HOST_NOT_FOUND;
    const std::span<const EventRecord> events = use.get().context->getOutputEvents();
    if (index >= events.size())
        return PLUGIN_HOST_NOT_FOUND;
    if (!canFill(event))
        return PLUGIN_HOST_INVALID_ARGUMENT;
    fill(*event, eventOf(events[index]));
    return PLUGIN_HOST_OK;
}

plugin_host_status plugin_host_cycle_begin(plugin_host_cycle* cycle, plugin_host_block* blocks,
                                           size_t count) {
    const HandleUse use(HandleKind::cycle, cycle);
    return use.get() != nullptr ? static_cast<ClientCycle&>(*use.get()).begin(blocks, count)
                                : PLUGIN_HOST_INVALID_HANDLE;
}

plugin_host_status plugin_host_cycle_finish(plugin_host_cycle* cycle, int64_t deadline) {
    constexpr int64_t nanosecondsOfSecond = 1'000'000'000;
    const HandleUse use(HandleKind::cycle, cycle);
    if (use.get() == nullptr)
        return PLUGIN_HOST_INVALID_HANDLE;
    auto& object = static_cast<ClientCycle&>(*use.get());
    if (deadline == 0)
        return object.finish(nullptr);
    const int64_t time = std::max<int64_t>(deadline, 0);
    // Where a time has 32 bits, the last second is that of 68 years.
    const auto seconds = static_cast<time_t>(std::min<int64_t>(time / nanosecondsOfSecond, INT32_MAX));
    const timespec moment{seconds, static_cast<long>(time % nanosecondsOfSecond)};
    return object.finish(&moment);
}
