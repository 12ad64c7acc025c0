#include "Chain.h"

#include <algorithm>
#include <utility>

namespace {

constexpr size_t midiOutputRoom = 1024;
constexpr int usualShare = 80; // of a period, in %
constexpr std::chrono::seconds offlineLimit{2};

plugin_host_transport advance(plugin_host_transport transport, uint32_t frames, double sampleRate) noexcept {
    const double seconds = frames / sampleRate;
    transport.system_time += seconds * 1e9;
    if (frames > 0)
        transport.flags &= ~PLUGIN_HOST_TRANSPORT_CHANGED;
    if ((transport.flags & PLUGIN_HOST_PLAYING) == 0)
        return transport;
    transport.frame += frames;
    transport.position += seconds * transport.tempo / 60;
    const double barLength =
        4.0 * transport.time_signature_numerator / std::max(transport.time_signature_denominator, 1U);
    while (barLength > 0 && transport.position >= transport.bar_start + barLength)
        transport.bar_start += barLength;
    return transport;
}

std::vector<std::unique_ptr<ChainPlugin>> makePlugins(plugin_host::session& session,
                                                      const std::vector<PluginChoice>& choices,
                                                      const ChainPlugin::Restored& restored) {
    std::vector<std::unique_ptr<ChainPlugin>> plugins;
    for (const PluginChoice& choice : choices)
        plugins.push_back(std::make_unique<ChainPlugin>(session, choice, restored));
    return plugins;
}

} // namespace

Chain::Chain(plugin_host::session& session, const std::vector<PluginChoice>& choices,
             const Settings& settings)
    : isPipeline(settings.pipeline), chosenDeadline(settings.deadline),
      plugins(makePlugins(session, choices, settings.restored)),
      format(makeFormat(settings.sampleRate, settings.blockSize)), cycle(session, choices.size()),
      portionSize(settings.blockSize), blocks(choices.size()), blockOwners(choices.size()),
      sources(choices.size()), midiOutput(midiOutputRoom) {
    const auto player = std::find_if(plugins.begin(), plugins.end(), [](const auto& plugin) {
        return plugin->getDescription().has_note_input;
    });
    if (player != plugins.end())
        noteIndex = static_cast<size_t>(player - plugins.begin());
}

Chain::~Chain() = default;

std::unique_ptr<Chain::Format> Chain::makeFormat(int32_t sampleRate, uint32_t blockSize) const {
    auto made = std::make_unique<Format>(Format{sampleRate, blockSize, {}});
    for (const auto& plugin : plugins)
        made->delays.emplace_back(isPipeline ? plugin->getDescription().input_channels : 0, blockSize);
    return made;
}

void Chain::setFormat(int32_t sampleRate, uint32_t blockSize) {
    format.give(makeFormat(sampleRate, blockSize));
}

size_t Chain::getInputChannels() const {
    return plugins.front()->getDescription().input_channels;
}

size_t Chain::getOutputChannels() const {
    return plugins.back()->getDescription().output_channels;
}

uint32_t Chain::getLatencyFrom(size_t first) const {
    // What comes before an instrument isn't heard.
    for (size_t index = first + 1; index < plugins.size(); ++index) {
        if (plugins[index]->isInstrument())
            first = index;
    }
    uint32_t latency = isPipeline ? static_cast<uint32_t>(plugins.size() - 1 - first) * portionSize : 0;
    for (size_t index = first; index < plugins.size(); ++index)
        latency += static_cast<uint32_t>(plugins[index]->getLatency());
    return latency;
}

uint64_t Chain::getLateBlocks() const noexcept {
    uint64_t late = 0;
    for (const auto& plugin : plugins)
        late += plugin->getLateBlocks();
    return late;
}

void Chain::render(const Period& period) noexcept {
    if (format.take() || period.frames != periodSize)
        setPeriod(period.frames);
    midiOutputCount = 0;
    for (uint32_t offset = 0; offset < period.frames;) {
        const Portion portion = makePortion(period, offset);
        feedMidi(portion);
        const AudioSource result = isPipeline ? renderSideBySide(portion) : renderInOrder(portion);
        copyAudio(result, period.outputs, offset, portion.frames);
        plugins[noteIndex]->midi.endBlock();
        offset += portion.frames;
    }
    lostMidi.store(plugins[noteIndex]->midi.getLost() + lostOutput, std::memory_order_relaxed);
}

void Chain::setPeriod(uint32_t frames) noexcept {
    periodSize = frames;
    limit = chosenDeadline.value_or(std::chrono::nanoseconds(int64_t{frames} * 1'000'000'000 /
                                                             format.get().sampleRate * usualShare / 100));
    const uint32_t portions = (frames + format.get().blockSize - 1) / format.get().blockSize;
    portionSize = std::max((frames + portions - 1) / std::max(portions, 1U), 1U);
    for (DelayLine& delay : format.get().delays)
        delay.setDelay(portionSize);
}

Chain::Portion Chain::makePortion(const Period& period, uint32_t offset) const noexcept {
    const uint32_t frames = std::min(portionSize.load(std::memory_order_relaxed), period.frames - offset);
    return {period, offset, frames, advance(period.transport, offset, format.get().sampleRate),
            period.isOffline ? Clock::now() + offlineLimit
                             : period.begin + limit * (offset + frames) / period.frames};
}

Chain::Clock::time_point Chain::getDeadline(const Portion& portion, size_t index) const noexcept {
    // What those behind it take is left for them: between a quarter of an equal share and all of it.
    const Clock::duration share = limit / static_cast<int64_t>(plugins.size());
    Clock::time_point deadline = portion.end;
    for (size_t behind = index + 1; behind < plugins.size() && !portion.period.isOffline; ++behind)
        deadline -= std::clamp(plugins[behind]->getReserve(), share / 4, share);
    return deadline;
}

void Chain::feedMidi(const Portion& portion) noexcept {
    MidiQueue& queue = plugins[noteIndex]->midi;
    for (MidiMessage message : portion.period.midi) {
        if (message.frame < portion.offset || message.frame >= portion.offset + portion.frames)
            continue;
        message.frame -= portion.offset;
        queue.add(message);
    }
}

AudioSource Chain::renderInOrder(const Portion& portion) noexcept {
    AudioSource source{portion.period.inputs, portion.offset};
    for (size_t index = 0; index < plugins.size(); ++index) {
        ChainPlugin& plugin = *plugins[index];
        if (!plugin.begin(source, portion.transport, portion.frames)) {
            source = plugin.bypass(source);
            continue;
        }
        const Clock::time_point begin = Clock::now();
        plugin_host_block& block = blocks[0];
        block = plugin.makeBlock(portion.frames, portion.period.isOffline);
        renderBlocks({&block, 1}, getDeadline(portion, index));
        source = plugin.end(block, source, Clock::now() - begin);
        if (index + 1 == plugins.size())
            takeMidi(portion, block);
    }
    return source;
}

AudioSource Chain::renderSideBySide(const Portion& portion) noexcept {
    size_t count = 0;
    for (size_t index = 0; index < plugins.size(); ++index) {
        sources[index] = index == 0 ? AudioSource{portion.period.inputs, portion.offset}
                                    : format.get().delays[index].read(portion.frames);
        if (!plugins[index]->begin(sources[index], portion.transport, portion.frames)) {
            sources[index] = plugins[index]->bypass(sources[index]);
            continue;
        }
        blocks[count] = plugins[index]->makeBlock(portion.frames, portion.period.isOffline);
        blockOwners[count++] = index;
    }
    renderBlocks({blocks.data(), count}, portion.end);
    for (size_t place = 0; place < count; ++place) {
        const size_t index = blockOwners[place];
        sources[index] = plugins[index]->end(blocks[place], sources[index], {});
        if (index + 1 == plugins.size())
            takeMidi(portion, blocks[place]);
    }
    for (size_t index = 1; index < plugins.size(); ++index)
        format.get().delays[index].write(sources[index - 1], portion.frames);
    return sources.back();
}

void Chain::renderBlocks(std::span<plugin_host_block> begun, Clock::time_point deadline) noexcept {
    if (begun.empty())
        return;
    const plugin_host::status status = plugin_host_cycle_begin(cycle.get(), begun.data(), begun.size());
    if (status == PLUGIN_HOST_OK) {
        // Result ignored: each block has its own status.
        cycle.finish(deadline);
        return;
    }
    for (plugin_host_block& block : begun)
        block.status = status;
}

void Chain::takeMidi(const Portion& portion, const plugin_host_block& block) noexcept {
    if (block.status != PLUGIN_HOST_OK)
        return;
    for (size_t index = 0; index < block.event_count; ++index) {
        plugin_host_event event{};
        event.size = sizeof event;
        if (plugin_host_plugin_get_event(block.plugin, index, &event) != PLUGIN_HOST_OK)
            continue;
        MidiMessage message = readMidi(event);
        if (message.size == 0)
            continue;
        if (midiOutputCount == midiOutput.size()) {
            ++lostOutput;
            continue;
        }
        const uint32_t earliest =
            midiOutputCount > 0 ? midiOutput[midiOutputCount - 1].frame : portion.offset;
        message.frame = std::max(portion.offset + std::min(message.frame, portion.frames - 1), earliest);
        midiOutput[midiOutputCount++] = message;
    }
}
