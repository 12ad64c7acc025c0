#pragma once

#include "plugin/CoreNames.h"
#include "plugin/PluginAudioContext.h"

#include <atomic>
#include <cstdint>

class PluginInstance;
class PluginWindow;

/// What an audio worker may use of an instance of any format: the audio block with its channels, whether an
/// editor is open, and the marks for parameters whose texts have changed. A format passes it to the object
/// that renders, which reaches the instance through it alone.
///
/// Owned by the instance, which alone sets it up, on the main thread before a worker has the instance.
class InstanceAudio : public NonCopyable, public NonMovable {
public:
    /// `window` is the instance's and outlives this.
    explicit InstanceAudio(const PublishedPointer<PluginWindow>& window);
    ~InstanceAudio();

    /// Null until published. A reader that gets it sees the channels and the transport, too.
    PluginAudioContext* getContext() const { return context; }
    /// In the audio block; null without one.
    TransportBlock* getTransport() const { return transport; }
    /// One pointer to a channel; null without channels.
    float** getInputChannels() const { return inputChannels; }
    int32_t getInputChannelCount() const { return inputChannelCount; }
    float** getOutputChannels() const { return outputChannels; }
    int32_t getOutputChannelCount() const { return outputChannelCount; }
    /// The host's, in Hz.
    int32_t getSampleRate() const { return sampleRate; }
    /// The host's, in frames.
    int32_t getBlockSize() const { return blockSize; }

    bool isEditorOpen() const { return window != nullptr; }
    /// Marks the parameter's display text as changed: the client gets it at the next poll if it watches the
    /// parameter. Any thread; lock-free.
    void markDisplayDirty(int32_t index) {
        PluginAudioContext* current = context;
        if (current != nullptr && current->hasParameterFlag(index, parameterWatched)) {
            current->setParameterFlag(index, parameterDisplayDirty);
            pendingDisplayUpdates.fetch_add(1, std::memory_order_relaxed);
        }
    }

    /// Marks since the last `idle`. For a debugger: the flags in the block are what `idle` reads.
    std::atomic<int32_t> pendingDisplayUpdates{0};
    /// The last block took little time. Of the worker.
    Relaxed<bool> wasQuick = false;

private:
    friend class PluginInstance;

    /// Points the channel arrays and `transport` into a block, which `publish` then makes visible to workers.
    void connect(const PluginAudioContext& newContext, int32_t newSampleRate, int32_t newBlockSize);
    void publish(const Ref<PluginAudioContext>& newContext) { context = newContext; }
    void freeChannels();

    PublishedRef<PluginAudioContext> context;
    TransportBlock* transport = nullptr;
    /// From `malloc`.
    float** inputChannels = nullptr;
    int32_t inputChannelCount = 0;
    float** outputChannels = nullptr;
    int32_t outputChannelCount = 0;
    int32_t sampleRate = 0;
    int32_t blockSize = 0;
    const PublishedPointer<PluginWindow>& window;
};
