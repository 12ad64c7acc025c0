#pragma once

#include "Audio.h"
#include "ChainPlugin.h"
#include "Handover.h"
#include "Midi.h"
#include "Options.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <plugin-host/client.hpp>
#include <span>
#include <vector>

/// What a chain renders in one call, and where it puts it.
struct Period {
    uint32_t frames = 0;
    std::span<const float* const> inputs;
    std::span<float* const> outputs;
    std::span<const MidiMessage> midi;
    /// At the first frame.
    plugin_host_transport transport{};
    ChainPlugin::Clock::time_point begin;
    /// Not in real time: a plug-in is late after two seconds only.
    bool isOffline = false;
};

/// Plug-ins one behind the other: each gets what the one before it gives, in the same period, or, side by
/// side, in the next. The main thread makes and ends it; in between one audio thread renders, which allocates
/// nothing, locks nothing and throws nothing.
class Chain {
public:
    struct Settings {
        bool pipeline = false;
        /// None: 80 % of the period.
        std::optional<std::chrono::nanoseconds> deadline;
        int32_t sampleRate = 0;
        /// The session's. Longer periods are rendered in portions.
        uint32_t blockSize = 0;
        ChainPlugin::Restored restored{};
    };

    /// Starts hosts and plug-ins. The session outlives the chain. Throws `plugin_host::error`.
    Chain(plugin_host::session& session, const std::vector<PluginChoice>& choices, const Settings& settings);
    ~Chain();
    Chain(const Chain&) = delete;
    Chain& operator=(const Chain&) = delete;

    // Main thread.

    [[nodiscard]] std::span<const std::unique_ptr<ChainPlugin>> getPlugins() const noexcept {
        return plugins;
    }
    /// Follows the session, whose plug-ins have come back with these.
    void setFormat(int32_t sampleRate, uint32_t blockSize);
    /// Those of the first plug-in.
    [[nodiscard]] size_t getInputChannels() const;
    /// Those of the last one.
    [[nodiscard]] size_t getOutputChannels() const;
    /// From the audio input to the output, and from the MIDI input, in frames.
    [[nodiscard]] uint32_t getAudioLatency() const { return getLatencyFrom(0); }
    [[nodiscard]] uint32_t getMidiLatency() const { return getLatencyFrom(noteIndex); }

    // Any thread.

    [[nodiscard]] uint64_t getLateBlocks() const noexcept;
    [[nodiscard]] uint64_t getLostMidi() const noexcept { return lostMidi.load(std::memory_order_relaxed); }

    // Audio thread.

    void render(const Period& period) noexcept;
    /// What the last plug-in has sent in that period, in the order of frames.
    [[nodiscard]] std::span<const MidiMessage> getMidiOutput() const noexcept {
        return {midiOutput.data(), midiOutputCount};
    }

private:
    using Clock = ChainPlugin::Clock;

    struct Portion {
        const Period& period;
        uint32_t offset;
        uint32_t frames;
        plugin_host_transport transport;
        Clock::time_point end;
    };

    /// What depends on the session's sample rate and block size.
    struct Format {
        int32_t sampleRate;
        uint32_t blockSize;
        std::vector<DelayLine> delays; // before each plug-in; of no use before the first
    };

    [[nodiscard]] std::unique_ptr<Format> makeFormat(int32_t sampleRate, uint32_t blockSize) const;
    void setPeriod(uint32_t frames) noexcept;
    [[nodiscard]] Portion makePortion(const Period& period, uint32_t offset) const noexcept;
    [[nodiscard]] Clock::time_point getDeadline(const Portion& portion, size_t index) const noexcept;
    void feedMidi(const Portion& portion) noexcept;
    AudioSource renderInOrder(const Portion& portion) noexcept;
    AudioSource renderSideBySide(const Portion& portion) noexcept;
    void renderBlocks(std::span<plugin_host_block> begun, Clock::time_point deadline) noexcept;
    void takeMidi(const Portion& portion, const plugin_host_block& block) noexcept;
    [[nodiscard]] uint32_t getLatencyFrom(size_t first) const;

    const bool isPipeline;
    const std::optional<std::chrono::nanoseconds> chosenDeadline;
    std::vector<std::unique_ptr<ChainPlugin>> plugins;
    Handover<Format> format;
    size_t noteIndex = 0; // of the plug-in that gets the MIDI input
    plugin_host::cycle cycle;
    std::atomic<uint32_t> portionSize;
    std::atomic<uint64_t> lostMidi = 0;

    // The audio thread's.
    uint32_t periodSize = 0;
    std::chrono::nanoseconds limit{};
    std::vector<plugin_host_block> blocks;
    std::vector<size_t> blockOwners;
    std::vector<AudioSource> sources;
    std::vector<MidiMessage> midiOutput;
    size_t midiOutputCount = 0;
    uint64_t lostOutput = 0;
};
