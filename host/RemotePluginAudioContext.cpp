#include "host/RemotePluginAudioContext.h"

#include "plugin/Channels.h"

#include <cstring>

RemotePluginAudioContext::RemotePluginAudioContext(PluginInstance& instance, int32_t hostId,
                                                   int32_t blockSize)
    : PluginAudioContext(blockSize, instance.getInputChannelCount(), instance.getOutputChannelCount(),
                         instance.getParameterCount()),
      instance(&instance), hostId(hostId) {}

RemotePluginAudioContext::~RemotePluginAudioContext() = default;

void* RemotePluginAudioContext::allocate(int32_t size) {
    memoryObject = base::core::SharedMemory::create(audioBlockName(hostId, instance->instanceId), size);
    // Zero already; the write maps the pages before a worker touches them.
    std::memset(memoryObject->getData(), 0, static_cast<size_t>(size));
    return memoryObject->getData();
}

void RemotePluginAudioContext::startProcessing() {
    instance->startProcessing();
}

int32_t RemotePluginAudioContext::process(int32_t frames, bool keepActive, bool realtime) {
    return instance->process(frames, keepActive, realtime);
}

void RemotePluginAudioContext::stopProcessing() {
    instance->stopProcessing();
}
