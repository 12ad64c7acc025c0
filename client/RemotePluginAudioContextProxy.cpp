#include "client/RemotePluginAudioContextProxy.h"

#include "plugin/Channels.h"
#include "plugin/PluginHostReplies.h"

RemotePluginAudioContextProxy::RemotePluginAudioContextProxy(const Ref<RemoteWorkers>& proxy,
                                                             const CreatePluginInstanceReply& reply,
                                                             int32_t workerIndex)
    : PluginAudioContext(proxy->getBlockSize(), reply.inputChannelCount, reply.outputChannelCount,
                         static_cast<int32_t>(reply.state->parameters.size())),
      proxy(proxy), instanceId(reply.instanceId), worker(&proxy->getAudioThread(workerIndex)) {
    layOut();
}

RemotePluginAudioContextProxy::~RemotePluginAudioContextProxy() = default;

void* RemotePluginAudioContextProxy::allocate(int32_t size) {
    sharedMemory = base::core::SharedMemory::open(audioBlockName(proxy->getHostId(), instanceId), size);
    return sharedMemory->getData();
}

void RemotePluginAudioContextProxy::startProcessing() {
    sendCommand(WorkerCommand::startProcessing);
}

int32_t RemotePluginAudioContextProxy::process(int32_t frames, bool keepActive, bool realtime) {
    AudioThreadProxy::Exchange exchange(*worker);
    forgetOutputEvents();
    writeCommand(*worker->getOutput(), WorkerCommand::process,
                 ProcessCommand{instanceId, frames, keepActive, realtime});
    const int32_t result = worker->getInput()->readInt32();
    exchange.complete();
    return result;
}

void RemotePluginAudioContextProxy::stopProcessing() {
    sendCommand(WorkerCommand::stopProcessing);
}

void RemotePluginAudioContextProxy::sendCommand(WorkerCommand command) {
    AudioThreadProxy::Exchange exchange(*worker);
    writeCommand(*worker->getOutput(), command, InstanceCommand{instanceId});
    exchange.complete();
}
