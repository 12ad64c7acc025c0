#include "JackClient.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <jack/midiport.h>
#include <limits>
#include <pthread.h>
#include <sys/eventfd.h>
#include <thread>
#include <unistd.h>

namespace {

constexpr const char* clientName = "plugin-host-live";
constexpr size_t midiRoom = 4096; // messages of a period

void ignoreWords(const char*) {}

std::string describeFailure(jack_status_t status) {
    if ((status & JackServerFailed) == 0)
        return "The JACK server takes no further client";
    const char* const server = std::getenv("JACK_DEFAULT_SERVER");
    const std::string name = server != nullptr ? " of the name " + std::string(server) : "";
    return "No JACK server" + name + " is running: start one, or use pw-jack for PipeWire";
}

jack_latency_range_t rangeOf(const std::vector<jack_port_t*>& ports, jack_latency_callback_mode_t mode) {
    jack_latency_range_t whole{std::numeric_limits<jack_nframes_t>::max(), 0};
    for (jack_port_t* port : ports) {
        jack_latency_range_t range{};
        jack_port_get_latency_range(port, mode, &range);
        whole.min = std::min(whole.min, range.min);
        whole.max = std::max(whole.max, range.max);
    }
    return ports.empty() ? jack_latency_range_t{} : whole;
}

void setRange(jack_port_t* port, jack_latency_callback_mode_t mode, jack_latency_range_t range,
              uint32_t own) {
    range.min += own;
    range.max += own;
    jack_port_set_latency_range(port, mode, &range);
}

} // namespace

JackClient::JackClient() : eventDescriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)), midi(midiRoom) {
    if (eventDescriptor < 0)
        throw std::runtime_error("eventfd: " + std::string(std::strerror(errno)));
    // The library prints from each of its threads, the callback's too.
    jack_set_error_function(ignoreWords);
    jack_set_info_function(ignoreWords);
    jack_status_t status{};
    // One that opens at the same moment as another may fail.
    for (int tries = 0; tries < 3 && client == nullptr; ++tries) {
        if (tries > 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        client.reset(jack_client_open(clientName, JackNoStartServer, &status));
    }
    if (client == nullptr) {
        close(eventDescriptor);
        throw std::runtime_error(describeFailure(status));
    }
    setCallbacks();
}

JackClient::~JackClient() {
    deactivate();
    client.reset();
    close(eventDescriptor);
}

void JackClient::setCallbacks() {
    jack_client_t* const opened = client.get();
    jack_set_process_callback(
        opened,
        [](jack_nframes_t frames, void* self) {
            // JACK ends this thread by a cancellation, which no period under way may see: unwinding by it
            // through what throws nothing would end the program.
            int former = PTHREAD_CANCEL_ENABLE;
            pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &former);
            static_cast<JackClient*>(self)->process(frames);
            pthread_setcancelstate(former, nullptr);
            return 0;
        },
        this);
    jack_set_xrun_callback(
        opened,
        [](void* self) {
            ++static_cast<JackClient*>(self)->xruns;
            return 0;
        },
        this);
    jack_set_freewheel_callback(
        opened,
        [](int starting, void* self) { static_cast<JackClient*>(self)->isFreewheeling = starting != 0; },
        this);
    jack_set_latency_callback(
        opened,
        [](jack_latency_callback_mode_t mode, void* self) {
            static_cast<JackClient*>(self)->setLatencies(mode);
        },
        this);
    jack_on_shutdown(
        opened,
        [](void* self) {
            auto& lost = *static_cast<JackClient*>(self);
            lost.hasEnded = true;
            lost.signalEvent();
        },
        this);
    const auto change = [](jack_nframes_t, void* self) {
        static_cast<JackClient*>(self)->signalEvent();
        return 0;
    };
    jack_set_buffer_size_callback(opened, change, this);
    jack_set_sample_rate_callback(opened, change, this);
}

void JackClient::signalEvent() noexcept {
    const uint64_t one = 1;
    // It can't be full.
    [[maybe_unused]] const ssize_t written = write(eventDescriptor, &one, sizeof one);
}

void JackClient::takeEvent() noexcept {
    uint64_t count = 0;
    [[maybe_unused]] const ssize_t taken = read(eventDescriptor, &count, sizeof count);
}

int32_t JackClient::getSampleRate() const {
    return static_cast<int32_t>(jack_get_sample_rate(client.get()));
}

uint32_t JackClient::getPeriod() const {
    return jack_get_buffer_size(client.get());
}

float JackClient::getServerLoad() const {
    return hasEnded ? 0 : jack_cpu_load(client.get());
}

jack_port_t* JackClient::registerPort(const std::string& name, const char* type, unsigned long flags) {
    jack_port_t* const port = jack_port_register(client.get(), name.c_str(), type, flags, 0);
    if (port == nullptr)
        throw std::runtime_error("The JACK server takes no further port: " + name);
    return port;
}

void JackClient::activate(Chain& rendered, bool withMidi) {
    chain = &rendered;
    for (size_t channel = 1; channel <= chain->getInputChannels(); ++channel)
        inputs.push_back(
            registerPort("input_" + std::to_string(channel), JACK_DEFAULT_AUDIO_TYPE, JackPortIsInput));
    for (size_t channel = 1; channel <= chain->getOutputChannels(); ++channel)
        outputs.push_back(
            registerPort("output_" + std::to_string(channel), JACK_DEFAULT_AUDIO_TYPE, JackPortIsOutput));
    if (withMidi) {
        midiInput = registerPort("midi_input", JACK_DEFAULT_MIDI_TYPE, JackPortIsInput);
        midiOutput = registerPort("midi_output", JACK_DEFAULT_MIDI_TYPE, JackPortIsOutput);
    }
    inputBuffers.resize(inputs.size());
    outputBuffers.resize(outputs.size());
    audioLatency = chain->getAudioLatency();
    midiLatency = chain->getMidiLatency();
    if (jack_activate(client.get()) != 0)
        throw std::runtime_error("The JACK server doesn't activate the client");
    isActive = true;
}

void JackClient::deactivate() noexcept {
    if (isActive)
        jack_deactivate(client.get());
    isActive = false;
}

void JackClient::updateLatencies() {
    const bool isAudioNew = audioLatency.exchange(chain->getAudioLatency()) != chain->getAudioLatency();
    const bool isMidiNew = midiLatency.exchange(chain->getMidiLatency()) != chain->getMidiLatency();
    if ((isAudioNew || isMidiNew) && !hasEnded)
        jack_recompute_total_latencies(client.get());
}

void JackClient::setLatencies(jack_latency_callback_mode_t mode) noexcept {
    if (mode == JackPlaybackLatency) {
        const jack_latency_range_t behind = rangeOf(outputs, mode);
        outputLatency = static_cast<int32_t>(behind.max);
        for (jack_port_t* input : inputs)
            setRange(input, mode, behind, audioLatency);
        if (midiInput != nullptr)
            setRange(midiInput, mode, behind, midiLatency);
        return;
    }
    // An instrument has its input by MIDI alone.
    const bool isPlayed = inputs.empty() && midiInput != nullptr;
    const jack_latency_range_t before = rangeOf(isPlayed ? std::vector{midiInput} : inputs, mode);
    inputLatency = static_cast<int32_t>(before.max);
    for (jack_port_t* output : outputs)
        setRange(output, mode, before, isPlayed ? midiLatency : audioLatency);
    if (midiOutput != nullptr)
        setRange(midiOutput, mode, rangeOf({midiInput}, mode), midiLatency);
}

void JackClient::process(jack_nframes_t frames) noexcept {
    Period period;
    period.begin = ChainPlugin::Clock::now();
    period.frames = frames;
    period.isOffline = isFreewheeling;
    for (size_t channel = 0; channel < inputs.size(); ++channel)
        inputBuffers[channel] = static_cast<const float*>(jack_port_get_buffer(inputs[channel], frames));
    for (size_t channel = 0; channel < outputs.size(); ++channel)
        outputBuffers[channel] = static_cast<float*>(jack_port_get_buffer(outputs[channel], frames));
    readMidi(frames);
    period.inputs = inputBuffers;
    period.outputs = outputBuffers;
    period.midi = {midi.data(), midiCount};
    period.transport = transport.read(client.get(), frames);
    period.transport.input_latency = inputLatency;
    period.transport.output_latency = outputLatency;
    chain->render(period);
    writeMidi(frames);
    notePeak(frames);
    ++periods;
    busyTime += std::chrono::nanoseconds(ChainPlugin::Clock::now() - period.begin).count();
}

void JackClient::readMidi(jack_nframes_t frames) noexcept {
    midiCount = 0;
    if (midiInput == nullptr)
        return;
    void* const buffer = jack_port_get_buffer(midiInput, frames);
    const uint32_t count = jack_midi_get_event_count(buffer);
    for (uint32_t index = 0; index < count; ++index) {
        jack_midi_event_t event{};
        if (jack_midi_event_get(&event, buffer, index) != 0 || event.size == 0)
            continue;
        if (event.size > MidiMessage::mostBytes || midiCount == midi.size()) {
            ++lostMidi;
            continue;
        }
        MidiMessage& message = midi[midiCount++];
        message = {.frame = event.time, .size = static_cast<uint32_t>(event.size)};
        std::copy_n(event.buffer, event.size, message.bytes.begin());
    }
}

void JackClient::writeMidi(jack_nframes_t frames) noexcept {
    if (midiOutput == nullptr)
        return;
    void* const buffer = jack_port_get_buffer(midiOutput, frames);
    jack_midi_clear_buffer(buffer);
    for (const MidiMessage& message : chain->getMidiOutput()) {
        if (jack_midi_event_write(buffer, message.frame, message.bytes.data(), message.size) != 0)
            ++lostMidi;
    }
}

void JackClient::notePeak(jack_nframes_t frames) noexcept {
    float largest = 0;
    for (const float* channel : outputBuffers) {
        for (jack_nframes_t frame = 0; frame < frames; ++frame)
            largest = std::max(largest, std::abs(channel[frame]));
    }
    for (float former = peak; largest > former && !peak.compare_exchange_weak(former, largest);) {
    }
}
