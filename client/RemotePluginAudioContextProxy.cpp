#include "client/RemotePluginAudioContextProxy.h"

#include "client/AudioThreadProxy.h"
#include "client/RemotePluginHostProxy.h"
#include "plugin/Channels.h"
#include "plugin/PluginHostReplies.h"

RemotePluginAudioContextProxy::RemotePluginAudioContextProxy(const Ref<RemotePluginHostProxy>& proxy,
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
    beginCommand(WorkerCommand::startProcessing).flush();
}

int32_t RemotePluginAudioContextProxy::process(int32_t frames, bool keepActive, bool realtime) {
    *outputEventCount = 0;
    OutputStream& stream = *worker->getOutput();
    writeNative(stream, ProcessCommand{WorkerCommand::process, instanceId, frames, keepActive, realtime});
    stream.flush();
    return worker->getInput()->readInt32();
}

void RemotePluginAudioContextProxy::stopProcessing() {
    beginCommand(WorkerCommand::stopProcessing).flush();
}

OutputStream& RemotePluginAudioContextProxy::beginCommand(WorkerCommand command) {
    OutputStream& stream = *worker->getOutput();
    stream.writeByte(static_cast<uint8_t>(command));
    stream.writeNativeInt32(instanceId);
    return stream;
}
