#pragma once

#include "client/RemoteWorkers.h"
#include "core/SharedMemory.h"
#include "plugin/PluginAudioContext.h"
#include "plugin/WorkerCommands.h"

#include <cstdint>

class CreatePluginInstanceReply;

/// The client's side of an instance's audio block, which the host creates. The block carries the samples;
/// each call here is a short command on a worker's pipe.
///
/// The code that fills the block calls `beginBlock` each time; nothing else clears the events and changes of
/// the previous block. One thread drives a context. `process` allocates nothing and costs one write and one
/// read. Once the host is gone, calls throw `IOException`, and `process` an `EOSException`.
///
/// After a call that threw for any reason (a signal handler of the client may interrupt one), every call on a
/// context of the same worker throws `IOException`: the unread answer may still arrive and would be taken for
/// a later block's. Shut such a host down.
///
/// Stop has no answer: before an instance is destroyed, its driver calls `drain` after the stop, which is a
/// `process` of 0 frames, so that the worker is done with it.
class RemotePluginAudioContextProxy : public PluginAudioContext {
public:
    /// From the reply that created the instance; opens the block. `workerIndex` is the worker that renders
    /// it. Throws `IOException`.
    RemotePluginAudioContextProxy(const Ref<RemoteWorkers>& proxy, const CreatePluginInstanceReply& reply,
                                  int32_t workerIndex = 0);
    ~RemotePluginAudioContextProxy() override;

    void* allocate(int32_t size) override;
    void startProcessing() override;
    /// `frames` is at most the block size.
    int32_t process(int32_t frames, bool keepActive, bool realtime) override;
    void stopProcessing() override;

    /// Appends a block to those that its worker is sent next, by `AudioThreadProxy::send`; `AudioCycle` does
    /// that for many. Late at once if an earlier one wasn't answered. True for the worker's first. Throws
    /// `IOException`.
    bool add(WorkerBlock& block, int32_t frames, bool keepActive, bool realtime);
    /// Whether the last block was answered; looks for answers. Until it is, the audio block is the worker's.
    /// Throws `IOException`.
    bool isAnswered() { return worker->isAnswered(lastNumber); }
    AudioThreadProxy& getWorker() const { return *worker; }

    /// What the channels are in.
    const Ref<base::core::SharedMemory>& getMemory() const { return sharedMemory; }

private:
    void sendCommand(WorkerCommand command);

    Ref<RemoteWorkers> proxy;
    int32_t instanceId;
    /// Borrowed from `proxy`.
    AudioThreadProxy* worker;
    /// Of the last block.
    uint64_t lastNumber = 0;
    Ref<base::core::SharedMemory> sharedMemory;
};
