#include "plugin/InstanceAudio.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

// One pointer to each channel; null without channels.
float** makeChannels(int32_t count, float* audio, int32_t stride) {
    if (count == 0)
        return nullptr;
    auto** channels = static_cast<float**>(std::malloc(static_cast<size_t>(count) * sizeof(float*)));
    if (channels == nullptr)
        throw std::bad_alloc();
    for (int32_t i = 0; i < count; ++i)
        channels[i] = audio + static_cast<ptrdiff_t>(i) * stride;
    return channels;
}

} // namespace

InstanceAudio::InstanceAudio(const PublishedPointer<PluginWindow>& window) : window(window) {}

InstanceAudio::~InstanceAudio() {
    freeChannels();
}

void InstanceAudio::connect(const PluginAudioContext& newContext, int32_t newSampleRate,
                            int32_t newBlockSize) {
    sampleRate = newSampleRate;
    blockSize = newBlockSize;
    freeChannels();
    inputChannelCount = newContext.inputChannelCount;
    inputChannels = makeChannels(inputChannelCount, newContext.inputChannel(0), newContext.paddedBlockSize);
    outputChannelCount = newContext.outputChannelCount;
    outputChannels =
        makeChannels(outputChannelCount, newContext.outputChannel(0), newContext.paddedBlockSize);
    transport = newContext.getRegions().transport;
}

void InstanceAudio::freeChannels() {
    std::free(inputChannels);
    inputChannels = nullptr;
    std::free(outputChannels);
    outputChannels = nullptr;
}
