#pragma once

#include "plugin/AudioBlock.h"
#include "plugin/CoreNames.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

/// The places of the regions of an audio block, once it is laid out, and the capacities of its lists.
struct AudioBlockRegions {
    static constexpr size_t guardCount = 8;

    void* memory = nullptr;
    int32_t memorySize = 0; // bytes
    TransportBlock* transport = nullptr;
    float* inputAudio = nullptr;
    float* outputAudio = nullptr;
    int32_t* inputEventCount = nullptr;
    EventRecord* inputEvents = nullptr;
    int32_t inputEventCapacity = 256;
    int32_t* outputEventCount = nullptr;
    EventRecord* outputEvents = nullptr;
    int32_t outputEventCapacity = 256;
    int32_t* parameterChangeCount = nullptr;
    ParameterChange* parameterChanges = nullptr;
    int32_t parameterChangeCapacity = 4096;
    uint8_t* parameterFlags = nullptr;
    uint8_t* guards[guardCount] = {};
};

/// The layout of an instance's audio block: input and output audio, events, parameter changes, transport and
/// parameter flags in one piece of memory that client and host share. Both compute the same layout from the
/// same numbers, so no offset is ever sent.
///
/// The regions, in this order, each of a size rounded up to a multiple of 16:
///
///     guard 0                      16
///     transport                    96
///     guard 1                      16
///     input audio                  input channels * padded block size * 4
///     guard 2                      16
///     output audio                 output channels * padded block size * 4
///     guard 3                      16
///     input event count            16
///     input events                 256 * 29
///     guard 4                      16
///     output event count           16
///     output events                256 * 29
///     guard 5                      16
///     parameter change count       16
///     parameter changes            4096 * 29, of which 4096 * 8 are used
///     guard 6                      16
///     parameter flags              parameters
///     guard 7                      16
///
/// The side that has the turn on the worker's pipe owns the block, except for the parameter flags, which both
/// sides write without a lock. Nothing here allocates or locks after `layOut`.
class PluginAudioContext : public Object {
public:
    static constexpr size_t guardCount = AudioBlockRegions::guardCount;
    static constexpr size_t guardSize = 16;
    static constexpr uint8_t guardByte = 0xBB;

    /// `blockSize` in frames. Negative numbers, which a plug-in or a client may give, count as 0.
    PluginAudioContext(int32_t blockSize, int32_t inputChannelCount, int32_t outputChannelCount,
                       int32_t parameterCount);
    ~PluginAudioContext() override;

    /// Provides `size` bytes, aligned to 16, that live as long as the context. Throws `IOException`.
    virtual void* allocate(int32_t size) = 0;
    virtual void startProcessing() = 0;
    /// Renders a block of `frames`; the result is a `ProcessResult`.
    virtual int32_t process(int32_t frames, bool keepActive, bool realtime) = 0;
    virtual void stopProcessing() = 0;

    /// A `process` without frames, events or changes. When it returns, the renderer has executed all earlier
    /// commands.
    void drain();

    /// Computes the size, calls `allocate` and finds the regions. Throws `IOException` if the size in bytes
    /// exceeds an int32.
    void layOut();

    void fillGuards();
    /// False if something wrote outside of its region.
    bool areGuardsIntact() const;

    float* inputChannel(int32_t index) const {
        return regions.inputAudio + static_cast<ptrdiff_t>(index) * paddedBlockSize;
    }
    float* outputChannel(int32_t index) const {
        return regions.outputAudio + static_cast<ptrdiff_t>(index) * paddedBlockSize;
    }

    // The client's side of a block, between two calls of `process`.

    /// Clears the events and changes of the previous block. The client calls it first for each block: nothing
    /// else clears them.
    void beginBlock();
    /// Clears what the plug-in sent in the previous block. `process` does so.
    void forgetOutputEvents() { *regions.outputEventCount = 0; }
    /// The `blockSize` frames of a channel, silent or left from the previous block.
    std::span<float> getInput(int32_t channel) const {
        return {inputChannel(channel), static_cast<size_t>(blockSize)};
    }
    std::span<const float> getOutput(int32_t channel) const {
        return {outputChannel(channel), static_cast<size_t>(blockSize)};
    }
    /// Appends an event; plug-ins get events in this order. False, and nothing is appended, if the block is
    /// full.
    bool addEvent(const EventRecord& event);
    /// The same for a MIDI message of up to three bytes; `sampleOffset` in frames.
    bool addMidiEvent(uint16_t sampleOffset, uint8_t status, uint8_t data1, uint8_t data2);
    /// Appends a parameter's new value, normalised. False, and nothing is appended, if the block is full.
    bool addParameterChange(uint16_t parameterIndex, float value, uint16_t sampleOffset = 0);
    /// What the plug-in sent in the last block.
    std::span<const EventRecord> getOutputEvents() const {
        return {regions.outputEvents, readCount(*regions.outputEventCount, regions.outputEventCapacity)};
    }
    TransportBlock& getTransport() const { return *regions.transport; }

    // The host's side of a block. The client may write the counts at any time, so they are read once, and
    // clamped to the capacities.

    /// The channels including their padding.
    void silenceInput() const { silence(regions.inputAudio, inputChannelCount); }
    void silenceOutput() const { silence(regions.outputAudio, outputChannelCount); }

    std::span<const EventRecord> getInputEvents() const {
        return {regions.inputEvents, readCount(*regions.inputEventCount, regions.inputEventCapacity)};
    }
    std::span<const ParameterChange> getParameterChanges() const {
        return {regions.parameterChanges,
                readCount(*regions.parameterChangeCount, regions.parameterChangeCapacity)};
    }
    /// The current value in the block, which the client may change.
    int32_t readParameterChangeCount() const {
        return std::atomic_ref(*regions.parameterChangeCount).load(std::memory_order_relaxed);
    }
    /// The record after the last, with the content of an earlier block; null if the block is full.
    EventRecord* appendOutputEvent() {
        const int32_t index = *regions.outputEventCount;
        if (index < 0 || index >= regions.outputEventCapacity)
            return nullptr;
        *regions.outputEventCount = index + 1;
        return &regions.outputEvents[index];
    }

    /// The flag byte of a parameter; any thread. Parameters outside of `parameterCount` have no flags: their
    /// bits read as clear, and changing them has no effect.
    bool hasParameterFlag(int32_t index, ParameterFlag flag) const {
        return hasFlags(index) && (flagsOf(index).load(std::memory_order_relaxed) & flag) != 0;
    }

    // Oddity parameter-flag-update-lost: a flag changes by a load and a store, as on the other side. The next
    // change makes up for a lost one.

    void setParameterFlag(int32_t index, ParameterFlag flag) {
        if (!hasFlags(index))
            return;
        const std::atomic_ref flags = flagsOf(index);
        flags.store(static_cast<uint8_t>(flags.load(std::memory_order_relaxed) | flag),
                    std::memory_order_relaxed);
    }
    void clearParameterFlag(int32_t index, ParameterFlag flag) {
        if (!hasFlags(index))
            return;
        const std::atomic_ref flags = flagsOf(index);
        flags.store(static_cast<uint8_t>(flags.load(std::memory_order_relaxed) & ~flag),
                    std::memory_order_relaxed);
    }

    /// The regions, for code that treats the block as memory; use the operations above for its content.
    const AudioBlockRegions& getRegions() const { return regions; }

    /// In frames.
    const int32_t blockSize;
    /// `blockSize` rounded up to a multiple of 4: the stride of a channel, in floats.
    const int32_t paddedBlockSize;
    const int32_t inputChannelCount;
    const int32_t outputChannelCount;
    const int32_t parameterCount;

protected:
    AudioBlockRegions regions;

private:
    bool hasFlags(int32_t index) const { return index >= 0 && index < parameterCount; }
    std::atomic_ref<uint8_t> flagsOf(int32_t index) const {
        return std::atomic_ref(regions.parameterFlags[index]);
    }

    void silence(float* channels, int32_t count) const {
        if (count > 0)
            std::memset(channels, 0,
                        static_cast<size_t>(count) * static_cast<size_t>(paddedBlockSize) * sizeof(float));
    }

    static size_t readCount(int32_t& count, int32_t capacity) {
        const int32_t read = std::atomic_ref(count).load(std::memory_order_relaxed);
        return static_cast<size_t>(std::clamp(read, 0, capacity));
    }
};
