#pragma once

#include "core/NamedPipe.h"
#include "core/Thread.h"
#include "plugin/WorkerCommands.h"

#include <atomic>
#include <cstdint>

class PluginHostContext;
class PluginInstance;

/// The real-time side of the host: carries out the commands of one worker's pipe. The client decides which
/// instance runs on which worker; a worker knows no more than the id in each command. Owned by the handler,
/// which closes its streams to end it. The loss of its pipe ends the thread and not the host.
class RemoteAudioThread : public base::core::Thread {
public:
    /// `index` is the worker's number, from 0.
    RemoteAudioThread(PluginHostContext* host, int32_t hostId, int32_t index);
    ~RemoteAudioThread() override;

    /// Asks the thread to end, wakes it and joins it. A thread whose pipe never opened is left alone: nothing
    /// can wake it. It serves nothing if its pipe opens afterwards. Main thread.
    void shutDown();

protected:
    /// Opens its pipe, which waits for the client, then serves commands. One read and one write to a block,
    /// no lock and no allocation of its own; denormals count as zero.
    void run() override;

private:
    /// False if the thread was to end before its pipe was open.
    bool openPipe();
    void serve();
    void runCommand(WorkerCommand command);
    /// The fields of a command.
    template <class Fields>
    Fields read();
    PluginInstance* find(int32_t instanceId) const;
    void closeStreams();

    PluginHostContext* host;
    int32_t hostId;
    int32_t index;
    Ref<base::core::NamedPipe> pipe;
    /// Borrowed from `pipe`; null until it is open.
    PublishedPointer<InputStream> input;
    PublishedPointer<OutputStream> output;
    /// Whether the pipe is open and whether the thread is to end, in one word: of the two that set it, the
    /// second sees the first.
    std::atomic<uint32_t> progress{0};
};
