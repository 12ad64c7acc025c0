#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <plugin-host/client.hpp>
#include <span>
#include <vector>

/// A MIDI message, at a frame of a block or a period.
struct MidiMessage {
    /// What an event of a plug-in can have.
    static constexpr size_t mostBytes = 16;

    uint32_t frame = 0;
    uint32_t size = 0;
    std::array<uint8_t, mostBytes> bytes{};
};

/// The bytes of a message by its first one, 1 to 3; 0 for system exclusive ones, and for what is no message.
uint32_t midiSize(uint8_t status) noexcept;

/// A message that a plug-in has sent; without bytes if it is none.
MidiMessage readMidi(const plugin_host_event& event) noexcept;

/// Messages on their way to a plug-in, which keeps those that its block has no room for, or that come while
/// it is late: no note stays on since its end was dropped. One thread at a time; only the constructor
/// allocates.
class MidiQueue {
public:
    MidiQueue();

    /// In the order of their frames. What finds no room is lost, and all notes of the plug-in end later.
    void add(const MidiMessage& message) noexcept;
    /// Gives them to a block of the plug-in that has begun.
    void deliver(plugin_host_plugin* plugin) noexcept;
    /// What is left is due at the start of the next block.
    void endBlock() noexcept;
    void clear() noexcept;

    [[nodiscard]] uint64_t getLost() const noexcept { return lost; }

private:
    std::vector<MidiMessage> messages;
    size_t count = 0;
    bool hasLost = false;
    uint64_t lost = 0;
};
