#pragma once

#include "Audio.h"
#include "Midi.h"
#include "Options.h"
#include "ParameterChanges.h"
#include "RevivalLimit.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <plugin-host/client.hpp>
#include <string_view>

/// A plug-in of the chain. The main thread makes it, and owns its presets, its editor and its description;
/// the audio thread renders it. One whose block is late or whose host is dead is bypassed: an effect passes
/// its input on, an instrument, which has no audio input, is silent. One whose host has died comes back, if
/// its session restores plug-ins.
class ChainPlugin {
public:
    using Clock = std::chrono::steady_clock;

    /// Called in the session's callbacks: OK once it is back, or why it stays away.
    using Restored = std::function<void(ChainPlugin&, plugin_host::status, std::string_view)>;

    /// Throws `plugin_host::error`.
    ChainPlugin(plugin_host::session& session, const PluginChoice& choice, const Restored& restored = {});
    ChainPlugin(const ChainPlugin&) = delete;
    ChainPlugin& operator=(const ChainPlugin&) = delete;

    // Main thread.

    [[nodiscard]] plugin_host::plugin& getPlugin() noexcept { return plugin; }
    [[nodiscard]] const plugin_host::description& getDescription() const noexcept { return description; }
    /// The plug-in's own, or that of its file.
    [[nodiscard]] std::string getName() const;
    [[nodiscard]] const PluginChoice& getChoice() const noexcept { return choice; }
    /// The one that it plays in; only to be compared.
    [[nodiscard]] const plugin_host_host* getHost() const noexcept { return host; }
    /// Whether it was in a host that has died, or was to come back there.
    [[nodiscard]] bool isIn(const plugin_host::death& death) const noexcept;
    /// Has it come back after its host has died. False if that has happened too often: then it is gone.
    bool comeBack(Clock::time_point now);
    /// Between the death of its host and its return.
    [[nodiscard]] bool isAway() const noexcept { return away; }
    [[nodiscard]] bool isInstrument() const noexcept { return description.input_channels == 0; }
    /// Describes it again if it has said that anything may have changed.
    void followChanges();
    /// Writes its preset beside the file and replaces the file by it. Throws `std::exception`s.
    void savePreset();
    /// In frames.
    [[nodiscard]] int32_t getLatency() const noexcept { return latency; }

    // Any thread.

    [[nodiscard]] uint64_t getLateBlocks() const noexcept { return late.load(std::memory_order_relaxed); }
    /// The last block's.
    [[nodiscard]] plugin_host::status getStatus() const noexcept {
        return status.load(std::memory_order_relaxed);
    }

    // Audio thread.

    /// Begins a block with this input; false if the plug-in can't render it.
    bool begin(const AudioSource& input, const plugin_host_transport& transport, uint32_t frames) noexcept;
    /// The block of a cycle.
    [[nodiscard]] plugin_host_block makeBlock(uint32_t frames, bool offline) const noexcept {
        return plugin.block(frames, PLUGIN_HOST_KEEP_ACTIVE | (offline ? PLUGIN_HOST_OFFLINE : 0U));
    }
    /// What became of that, and after which time; the chain goes on with the result, valid until the next
    /// block.
    AudioSource end(const plugin_host_block& block, const AudioSource& input, Clock::duration time) noexcept;
    /// The same for a block that has not begun.
    [[nodiscard]] AudioSource bypass(const AudioSource& input) const noexcept;
    /// How long its blocks take of late, and a margin.
    [[nodiscard]] Clock::duration getReserve() const noexcept { return reserve; }

    /// Messages to it: filled by the chain before each block.
    MidiQueue midi;

private:
    void noteReturn(plugin_host::status code, std::string_view text);
    void note(plugin_host::status newStatus) noexcept;

    const PluginChoice choice;
    const Restored restored;
    RevivalLimit limit;
    bool away = false;
    bool isGone = false;
    ParameterChanges changes;
    bool hasChanged = false;
    plugin_host::plugin plugin;
    plugin_host_host* host = nullptr;
    plugin_host::description description;
    int32_t latency = 0;

    std::atomic<plugin_host::status> status = PLUGIN_HOST_OK;
    std::atomic<uint64_t> late = 0;
    Clock::duration reserve{};
};
