#include "Midi.h"

#include <algorithm>

namespace {

constexpr size_t queueRoom = 1024;
constexpr uint8_t systemExclusive = 0xF0;
constexpr uint8_t controlChange = 0xB0;
constexpr uint8_t allNotesOff = 123;
constexpr uint8_t channels = 16;

plugin_host_status add(plugin_host_plugin* plugin, const MidiMessage& message) noexcept {
    if (message.bytes[0] != systemExclusive)
        return plugin_host_plugin_add_midi(plugin, message.frame, message.bytes[0], message.bytes[1],
                                           message.bytes[2]);
    plugin_host_event event{};
    event.size = sizeof event;
    event.kind = PLUGIN_HOST_SYSTEM_EXCLUSIVE;
    event.frame = message.frame;
    event.data_size = message.size;
    std::copy(message.bytes.begin(), message.bytes.end(), event.data);
    return plugin_host_plugin_add_event(plugin, &event);
}

} // namespace

uint32_t midiSize(uint8_t status) noexcept {
    if (status < 0x80 || status == systemExclusive || status == 0xF7)
        return 0;
    if (status >= 0xF0)
        return status == 0xF2 ? 3 : status == 0xF1 || status == 0xF3 ? 2 : 1;
    return (status & 0xE0) == 0xC0 ? 2 : 3;
}

MidiMessage readMidi(const plugin_host_event& event) noexcept {
    MidiMessage message{.frame = event.frame};
    std::copy(std::begin(event.data), std::end(event.data), message.bytes.begin());
    if (event.kind == PLUGIN_HOST_MIDI)
        message.size = midiSize(event.data[0]);
    else if (event.kind == PLUGIN_HOST_SYSTEM_EXCLUSIVE)
        message.size = std::min<uint32_t>(event.data_size, MidiMessage::mostBytes);
    return message;
}

MidiQueue::MidiQueue() : messages(queueRoom) {}

void MidiQueue::add(const MidiMessage& message) noexcept {
    if (count == messages.size()) {
        hasLost = true;
        ++lost;
        return;
    }
    messages[count++] = message;
}

void MidiQueue::deliver(plugin_host_plugin* plugin) noexcept {
    size_t done = 0;
    while (done < count) {
        const plugin_host_status status = ::add(plugin, messages[done]);
        if (status == PLUGIN_HOST_FULL || status == PLUGIN_HOST_LATE)
            break;
        ++done;
    }
    std::move(messages.begin() + static_cast<ptrdiff_t>(done),
              messages.begin() + static_cast<ptrdiff_t>(count), messages.begin());
    count -= done;
    if (!hasLost || count != 0)
        return;
    // For the next block.
    hasLost = false;
    for (uint8_t channel = 0; channel < channels; ++channel)
        add({0, 3, {static_cast<uint8_t>(controlChange | channel), allNotesOff, 0}});
}

void MidiQueue::endBlock() noexcept {
    for (size_t index = 0; index < count; ++index)
        messages[index].frame = 0;
}

void MidiQueue::clear() noexcept {
    count = 0;
    hasLost = false;
}
