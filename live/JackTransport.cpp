#include "JackTransport.h"

#include <cmath>

namespace {

constexpr double usualTempo = 120;
constexpr uint32_t usualBar = 4; // quarters

/// Beats of the timebase master have any length; plug-ins count quarters.
void readBeats(const jack_position_t& at, plugin_host_transport& transport) noexcept {
    const double quarters = 4.0 / at.beat_type;
    const double ticks = at.ticks_per_beat > 0 ? at.tick / at.ticks_per_beat : 0;
    transport.tempo = at.beats_per_minute * quarters;
    transport.bar_start = (at.bar - 1) * static_cast<double>(at.beats_per_bar) * quarters;
    transport.position = transport.bar_start + (at.beat - 1 + ticks) * quarters;
    transport.time_signature_numerator = static_cast<uint32_t>(std::lround(at.beats_per_bar));
    transport.time_signature_denominator = static_cast<uint32_t>(std::lround(at.beat_type));
}

void countBeats(const jack_position_t& at, plugin_host_transport& transport) noexcept {
    transport.tempo = usualTempo;
    transport.position = static_cast<double>(at.frame) / at.frame_rate * usualTempo / 60;
    transport.bar_start = std::floor(transport.position / usualBar) * usualBar;
    transport.time_signature_numerator = usualBar;
    transport.time_signature_denominator = 4;
}

} // namespace

plugin_host_transport JackTransport::read(const jack_client_t* client, jack_nframes_t frames) noexcept {
    jack_position_t at{};
    const bool isRolling = jack_transport_query(client, &at) == JackTransportRolling;
    plugin_host_transport transport{};
    transport.size = sizeof transport;
    transport.frame = at.frame;
    transport.system_time = static_cast<double>(at.usecs) * 1000;
    const bool hasBeats = (at.valid & JackPositionBBT) != 0 && at.beat_type > 0 && at.beats_per_minute > 0 &&
                          at.beats_per_bar > 0;
    if (hasBeats)
        readBeats(at, transport);
    else
        countBeats(at, transport);
    if (isRolling)
        transport.flags |= PLUGIN_HOST_PLAYING;
    if (isRolling != wasRolling || at.frame != expected)
        transport.flags |= PLUGIN_HOST_TRANSPORT_CHANGED;
    wasRolling = isRolling;
    expected = isRolling ? at.frame + frames : at.frame;
    return transport;
}
