#include "client/AudioThreadProxy.h"

#include "plugin/Channels.h"

using base::core::NamedPipe;
using base::core::NamedServerPipe;

AudioThreadProxy::AudioThreadProxy(int32_t hostId, int32_t index)
    : pipe(NamedServerPipe::create(workerChannelName(hostId, index), true)) {}

AudioThreadProxy::~AudioThreadProxy() = default;

AudioThreadProxy::Exchange::Exchange(AudioThreadProxy& worker) : worker(worker) {
    if (!worker.inStep)
        throw IOException("Audio worker can't be used after a command that failed");
    worker.inStep = false;
}

void AudioThreadProxy::open() {
    const Ref<NamedPipe> opened = pipe->open();
    input = opened->getInput().get();
    output = opened->getOutput().get();
}
