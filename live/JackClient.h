#pragma once

#include "Chain.h"
#include "JackTransport.h"
#include "Midi.h"

#include <atomic>
#include <cstdint>
#include <jack/jack.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

/// The client of the JACK server: has its ports, and renders a chain in the server's callback. The main
/// thread makes and ends it; what the callbacks find out, it takes from atomics.
class JackClient {
public:
    /// Starts no server. Throws `std::runtime_error` if there is none.
    JackClient();
    ~JackClient();
    JackClient(const JackClient&) = delete;
    JackClient& operator=(const JackClient&) = delete;

    // Main thread.

    /// In Hz; the server may change it.
    [[nodiscard]] int32_t getSampleRate() const;
    /// In frames; likewise.
    [[nodiscard]] uint32_t getPeriod() const;
    /// Begins to render. The chain stays until `deactivate`. Throws `std::runtime_error`.
    void activate(Chain& chain, bool withMidi);
    /// No callback runs afterwards. No effect on one that isn't active.
    void deactivate() noexcept;
    /// Reports the chain's latencies to the server if they have changed.
    void updateLatencies();

    /// Polls as readable once the server has changed its sample rate or period, until `takeEvent`, and once
    /// it has ended.
    [[nodiscard]] int getEventDescriptor() const noexcept { return eventDescriptor; }
    void takeEvent() noexcept;
    [[nodiscard]] bool hasServerEnded() const noexcept { return hasEnded; }

    /// The server's, in %.
    [[nodiscard]] float getServerLoad() const;
    /// Of the callback, in ns since `activate`.
    [[nodiscard]] int64_t getBusyTime() const noexcept { return busyTime; }
    [[nodiscard]] uint64_t getPeriods() const noexcept { return periods; }
    [[nodiscard]] uint64_t getXruns() const noexcept { return xruns; }
    [[nodiscard]] uint64_t getLostMidi() const noexcept { return lostMidi; }
    /// The largest sample since the last call.
    [[nodiscard]] float takePeak() noexcept { return peak.exchange(0); }

private:
    struct CloseClient {
        void operator()(jack_client_t* opened) const { jack_client_close(opened); }
    };

    void setCallbacks();
    void registerPorts();
    jack_port_t* registerPort(const std::string& name, const char* type, unsigned long flags);

    // Audio thread.
    void process(jack_nframes_t frames) noexcept;
    void readMidi(jack_nframes_t frames) noexcept;
    void writeMidi(jack_nframes_t frames) noexcept;
    void notePeak(jack_nframes_t frames) noexcept;

    // Any thread.
    void signalEvent() noexcept;

    // Notification thread.
    void setLatencies(jack_latency_callback_mode_t mode) noexcept;

    int eventDescriptor;
    std::unique_ptr<jack_client_t, CloseClient> client;
    Chain* chain = nullptr;
    bool isActive = false;
    std::vector<jack_port_t*> inputs;
    std::vector<jack_port_t*> outputs;
    jack_port_t* midiInput = nullptr;
    jack_port_t* midiOutput = nullptr;

    std::atomic<bool> hasEnded = false;
    std::atomic<bool> isFreewheeling = false;
    std::atomic<uint32_t> audioLatency = 0;
    std::atomic<uint32_t> midiLatency = 0;
    std::atomic<int32_t> inputLatency = 0;  // of the server, up to the chain
    std::atomic<int32_t> outputLatency = 0; // and behind it
    std::atomic<int64_t> busyTime = 0;
    std::atomic<uint64_t> periods = 0;
    std::atomic<uint64_t> xruns = 0;
    std::atomic<uint64_t> lostMidi = 0;
    std::atomic<float> peak = 0;

    // The audio thread's.
    JackTransport transport;
    std::vector<const float*> inputBuffers;
    std::vector<float*> outputBuffers;
    std::vector<MidiMessage> midi;
    size_t midiCount = 0;
};
