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
    // A late answer is taken first.
    worker->awaitAnswer(lastNumber);
    WorkerBlock block;
    add(block, frames, keepActive, realtime);
    worker->send();
    worker->finish();
    return block.result;
}

bool RemotePluginAudioContextProxy::add(WorkerBlock& block, int32_t frames, bool keepActive, bool realtime) {
    if (!isAnswered()) {
        block.state = WorkerBlock::State::late;
        return false;
    }
    forgetOutputEvents();
    block.command = {instanceId, frames, keepActive, realtime};
    block.lastNumber = &lastNumber;
    return worker->add(block);
}

void RemotePluginAudioContextProxy::stopProcessing() {
    sendCommand(WorkerCommand::stopProcessing);
}

void RemotePluginAudioContextProxy::sendCommand(WorkerCommand command) {
    AudioThreadProxy::Exchange exchange(*worker);
    writeCommand(*worker->getOutput(), command, InstanceCommand{instanceId});
    exchange.complete();
}
