#pragma once

#include "client/RemoteWorkers.h"
#include "core/SharedMemory.h"
#include "plugin/PluginAudioContext.h"
#include "plugin/WorkerCommands.h"

#include <cstdint>

class CreatePluginInstanceReply;

/// The client's side of an instance's audio block, which the host has made: samples travel in it, and each
/// call here is a short command on a worker's pipe.
///
/// Whoever fills the block calls `beginBlock` each time: nobody else forgets the events and changes of the
/// block before. One thread drives a context. `process` allocates nothing and costs one write and one read. A
/// host that is gone shows as `IOException`, `EOSException` in `process`.
///
/// After a call that threw, of whatever reason (a signal handler of the client may interrupt one), each
/// further call on a context of the same worker throws `IOException`: the answer that wasn't read may still
/// come, and would be taken for that of a later block. Such a host is shut down.
///
/// Stop has no answer: before an instance is destroyed, its driver sends one `process` of 0 frames after the
/// stop, which `drain` does, so that the worker is done with it.
class RemotePluginAudioContextProxy : public PluginAudioContext {
public:
    /// From the reply that told of the instance; opens the block. `workerIndex` is the worker that is to
    /// render it. Throws `IOException`.
    RemotePluginAudioContextProxy(const Ref<RemoteWorkers>& proxy, const CreatePluginInstanceReply& reply,
                                  int32_t workerIndex = 0);
    ~RemotePluginAudioContextProxy() override;

    void* allocate(int32_t size) override;
    void startProcessing() override;
    /// `frames` is at most the block size.
    int32_t process(int32_t frames, bool keepActive, bool realtime) override;
    void stopProcessing() override;

private:
    void sendCommand(WorkerCommand command);

    Ref<RemoteWorkers> proxy;
    int32_t instanceId;
    /// Borrowed from `proxy`.
    AudioThreadProxy* worker;
    Ref<base::core::SharedMemory> sharedMemory;
};
