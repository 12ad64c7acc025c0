#pragma once

#include "core/NamedPipe.h"
#include "core/Thread.h"
#include "host/BlockAnswers.h"
#include "plugin/WorkerCommands.h"

#include <atomic>
#include <cstdint>

class PluginHostContext;
class PluginInstance;

/// The real-time side of the host: runs the commands of one worker's pipe. The client assigns instances to
/// workers; a worker has only the id in each command. Owned by the handler, which closes its streams to end
/// it. Losing its pipe ends the thread but not the host.
class RemoteAudioThread : public base::core::Thread {
public:
    /// `index` is the worker's number, from 0.
    RemoteAudioThread(PluginHostContext* host, int32_t hostId, int32_t index);
    ~RemoteAudioThread() override;

    /// Ends the thread, also out of a blocked read, and joins it. A thread that is still opening its pipe
    /// isn't joined, as nothing can wake it; it serves nothing if its pipe opens later. Main thread.
    void shutDown();

protected:
    /// Opens its pipe, which waits for the client, then serves commands. One read and one write per block, no
    /// lock and no allocation of its own; denormals count as zero.
    void run() override;

private:
    /// False if `shutDown` was called before the pipe was open.
    bool openPipe();
    void serve();
    void runCommand(WorkerCommand command);
    /// The fields of a command.
    template <class Fields>
    Fields read();
    ProcessCommand readProcess();
    PluginInstance* find(int32_t instanceId) const;
    void closeStreams();

    PluginHostContext* host;
    int32_t hostId;
    int32_t index;
    Ref<base::core::NamedPipe> pipe;
    /// Borrowed from `pipe`; null until it is open.
    PublishedPointer<InputStream> input;
    PublishedPointer<OutputStream> output;
    BlockAnswers answers;
    /// Whether the pipe is open and whether `shutDown` was called, in one word: the second to set its bit
    /// sees the other's.
    std::atomic<uint32_t> progress{0};
};
