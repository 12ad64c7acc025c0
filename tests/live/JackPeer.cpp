#include "live/JackPeer.h"

#include <algorithm>

JackPeer::JackPeer(const std::string& name) {
    client = jack_client_open(name.c_str(), JackNoStartServer, nullptr);
    if (client == nullptr)
        return;
    for (const char* channel : {"1", "2"}) {
        outputs.push_back(jack_port_register(client, (std::string("send_") + channel).c_str(),
                                             JACK_DEFAULT_AUDIO_TYPE, JackPortIsOutput, 0));
        inputs.push_back(jack_port_register(client, (std::string("receive_") + channel).c_str(),
                                            JACK_DEFAULT_AUDIO_TYPE, JackPortIsInput, 0));
    }
    midiOutput = jack_port_register(client, "midi_send", JACK_DEFAULT_MIDI_TYPE, JackPortIsOutput, 0);
    midiInput = jack_port_register(client, "midi_receive", JACK_DEFAULT_MIDI_TYPE, JackPortIsInput, 0);
    jack_set_process_callback(
        client,
        [](jack_nframes_t frames, void* self) {
            static_cast<JackPeer*>(self)->process(frames);
            return 0;
        },
        this);
    // What it sends isn't what it gets: without this, latencies would go round.
    jack_set_latency_callback(
        client, [](jack_latency_callback_mode_t, void*) {}, nullptr);
    jack_on_shutdown(
        client, [](void* self) { static_cast<JackPeer*>(self)->serverEnded = true; }, this);
    jack_activate(client);
}

JackPeer::~JackPeer() {
    if (client != nullptr)
        jack_client_close(client);
}

bool JackPeer::hasPort(const std::string& port) const {
    return jack_port_by_name(client, port.c_str()) != nullptr;
}

size_t JackPeer::countPorts(const std::string& pattern) const {
    const char** const names = jack_get_ports(client, pattern.c_str(), nullptr, 0);
    size_t count = 0;
    while (names != nullptr && names[count] != nullptr)
        ++count;
    jack_free(names);
    return count;
}

bool JackPeer::connect(const std::string& from, const std::string& to) {
    return jack_connect(client, from.c_str(), to.c_str()) == 0;
}

jack_nframes_t JackPeer::latencyOf(const std::string& port, jack_latency_callback_mode_t mode) const {
    jack_latency_range_t range{};
    if (jack_port_t* found = jack_port_by_name(client, port.c_str()))
        jack_port_get_latency_range(found, mode, &range);
    return range.max;
}

bool JackPeer::setTimebase(const Timebase& given) {
    timebase = given;
    const auto fill = [](jack_transport_state_t, jack_nframes_t, jack_position_t* position, int, void* self) {
        const Timebase& song = static_cast<JackPeer*>(self)->timebase;
        position->valid = JackPositionBBT;
        position->bar = song.bar;
        position->beat = song.beat;
        position->tick = song.tick;
        position->ticks_per_beat = song.ticksPerBeat;
        position->beats_per_bar = song.beatsPerBar;
        position->beat_type = song.beatType;
        position->beats_per_minute = song.beatsPerMinute;
    };
    return jack_set_timebase_callback(client, 0, fill, this) == 0;
}

void JackPeer::record(size_t frames, const std::vector<SentMidi>& given) {
    toSend = given;
    recording.assign(frames, 0.0F);
    recorded = 0;
    isRecording = true;
}

void JackPeer::process(jack_nframes_t frames) {
    // Once: what belongs to a recording is this thread's from then on, until it is over.
    const bool records = isRecording;
    const auto buffer = [&](jack_port_t* port) {
        return std::span(static_cast<float*>(jack_port_get_buffer(port, frames)), frames);
    };
    for (jack_port_t* output : outputs)
        std::ranges::fill(buffer(output), sent.load());
    left = buffer(inputs[0]).back();
    right = buffer(inputs[1]).back();
    messages += jack_midi_get_event_count(jack_port_get_buffer(midiInput, frames));
    void* const midi = jack_port_get_buffer(midiOutput, frames);
    jack_midi_clear_buffer(midi);
    if (!records)
        return;
    sendMidi(midi, frames);
    const size_t count = std::min<size_t>(frames, recording.size() - recorded);
    std::copy_n(buffer(inputs[0]).begin(), count,
                recording.begin() + static_cast<ptrdiff_t>(recorded.load()));
    isRecording = recorded + count < recording.size();
    recorded += count;
}

void JackPeer::sendMidi(void* midi, jack_nframes_t frames) {
    for (const SentMidi& message : toSend) {
        if (message.frame >= recorded && message.frame < recorded + frames)
            jack_midi_event_write(midi, static_cast<jack_nframes_t>(message.frame - recorded),
                                  message.bytes.data(), message.bytes.size());
    }
}
