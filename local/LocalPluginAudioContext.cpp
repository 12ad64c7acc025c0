#include "local/LocalPluginAudioContext.h"

#include "host/FlushDenormals.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

LocalPluginAudioContext::LocalPluginAudioContext(PluginInstance& instance, int32_t blockSize)
    : PluginAudioContext(blockSize, instance.getInputChannelCount(), instance.getOutputChannelCount(),
                         instance.getParameterCount()),
      instance(&instance), storage(nullptr, std::free) {}

LocalPluginAudioContext::~LocalPluginAudioContext() = default;

void* LocalPluginAudioContext::allocate(int32_t size) {
    constexpr size_t alignment = 16;
    const auto bytes = (static_cast<size_t>(size) + alignment - 1) / alignment * alignment;
    storage.reset(std::aligned_alloc(alignment, bytes));
    if (storage == nullptr)
        throw IOException(concat("Error allocating audio block: ", base::core::lastErrorMessage()));
    std::memset(storage.get(), 0, bytes);
    return storage.get();
}

void LocalPluginAudioContext::startProcessing() {
    const FlushDenormals flushDenormals;
    instance->startProcessing();
    instance->endWorkerTurn();
}

int32_t LocalPluginAudioContext::process(int32_t frames, bool keepActive, bool realtime) {
    const FlushDenormals flushDenormals;
    forgetOutputEvents();
    // The buffers hold one block.
    const int32_t result = instance->process(std::clamp(frames, 0, blockSize), keepActive, realtime);
    instance->endWorkerTurn();
    return result;
}

void LocalPluginAudioContext::stopProcessing() {
    const FlushDenormals flushDenormals;
    instance->stopProcessing();
    instance->endWorkerTurn();
}
