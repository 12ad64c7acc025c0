#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <jack/jack.h>
#include <jack/midiport.h>
#include <memory>
#include <span>
#include <string>
#include <vector>

/// A message that a peer sends, at a frame of its recording.
struct SentMidi {
    size_t frame;
    std::array<uint8_t, 3> bytes;
};

/// Where a song is, by a timebase master.
struct Timebase {
    int bar;
    int beat;
    int tick;
    double ticksPerBeat;
    float beatsPerBar;
    float beatType;
    double beatsPerMinute;
};

/// Another client of the server: sends a level and messages, and takes what comes back.
class JackPeer {
public:
    /// Without a server, `isOpen` is false.
    explicit JackPeer(const std::string& name = "peer");
    ~JackPeer();
    JackPeer(const JackPeer&) = delete;
    JackPeer& operator=(const JackPeer&) = delete;

    [[nodiscard]] bool isOpen() const { return client != nullptr; }
    [[nodiscard]] jack_client_t* get() const { return client; }
    [[nodiscard]] bool hasPort(const std::string& port) const;
    [[nodiscard]] size_t countPorts(const std::string& pattern) const;
    /// True if they were connected by this.
    bool connect(const std::string& from, const std::string& to);
    /// Of a port of any client, in frames.
    [[nodiscard]] jack_nframes_t latencyOf(const std::string& port, jack_latency_callback_mode_t mode) const;

    /// Becomes the timebase master: the song is always there.
    bool setTimebase(const Timebase& given);

    /// Records so many frames of the left channel, and sends messages meanwhile.
    void record(size_t frames, const std::vector<SentMidi>& messages);
    [[nodiscard]] bool hasRecorded() const { return recorded == recording.size(); }
    /// Once it has recorded.
    [[nodiscard]] const std::vector<float>& getRecording() const { return recording; }

    /// The level of both channels that it sends.
    std::atomic<float> sent = 0;
    /// The last frame of both channels that came back.
    std::atomic<float> left = 0;
    std::atomic<float> right = 0;
    std::atomic<size_t> messages = 0;
    std::atomic<bool> serverEnded = false;

private:
    void process(jack_nframes_t frames);
    void sendMidi(void* midi, jack_nframes_t frames);

    jack_client_t* client = nullptr;
    std::vector<jack_port_t*> outputs;
    std::vector<jack_port_t*> inputs;
    jack_port_t* midiOutput = nullptr;
    jack_port_t* midiInput = nullptr;

    Timebase timebase{};
    std::vector<SentMidi> toSend;
    std::vector<float> recording;
    std::atomic<size_t> recorded = 0;
    std::atomic<bool> isRecording = false;
};
