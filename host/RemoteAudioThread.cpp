#include "host/RemoteAudioThread.h"

#include "core/CloseQuietly.h"
#include "core/Log.h"
#include "host/FlushDenormals.h"
#include "plugin/Channels.h"
#include "plugin/Extensions.h"
#include "plugin/PluginHostContext.h"
#include "plugin/PluginInstance.h"

#include <algorithm>

namespace {

constexpr int32_t realtimePriority = 1;
constexpr uint32_t pipeOpened = 1;
constexpr uint32_t stopRequested = 2;

} // namespace

RemoteAudioThread::RemoteAudioThread(PluginHostContext* host, int32_t hostId, int32_t index)
    : Thread("RemoteAudioThread"), host(host), hostId(hostId), index(index),
      answers(isEnabled(Extension::cycles)) {
    priority = realtimePriority;
}

RemoteAudioThread::~RemoteAudioThread() {
    join();
}

void RemoteAudioThread::shutDown() {
    if ((progress.fetch_or(stopRequested, std::memory_order_acq_rel) & pipeOpened) == 0)
        return;
    base::core::closeQuietly(input.get());
    join();
    // Only after the join: closing flushes, and the worker may be writing an answer until it ends.
    base::core::closeQuietly(output.get());
}

void RemoteAudioThread::run() {
    const FlushDenormals flushDenormals;
    try {
        if (openPipe())
            serve();
        else
            closeStreams();
    } catch (const IOException& exception) {
        base::core::logError("Lost connection on audio thread: ", exception.getMessage());
        // A client that waits for an answer sees the end of the stream.
        closeStreams();
    }
}

bool RemoteAudioThread::openPipe() {
    pipe = base::core::NamedPipe::open(workerChannelName(hostId, index), true);
    output = pipe->getOutput().get();
    input = pipe->getInput().get();
    return (progress.fetch_or(pipeOpened, std::memory_order_acq_rel) & stopRequested) == 0;
}

void RemoteAudioThread::serve() {
    while ((progress.load(std::memory_order_relaxed) & stopRequested) == 0)
        runCommand(static_cast<WorkerCommand>(input->readByte()));
}

template <class Fields>
Fields RemoteAudioThread::read() {
    Fields fields;
    wire::read(*input, fields);
    return fields;
}

ProcessCommand RemoteAudioThread::readProcess() {
    // Of a command that came in parts, each field is judged as it comes.
    const uint8_t* bytes = input->readBuffered(processCommandSize - 1);
    if (bytes == nullptr)
        return read<ProcessCommand>();
    ProcessCommand fields;
    wire::readBytes(bytes, fields);
    return fields;
}

// The call through null for an unknown id must fault under the sanitizers too, and not end in a report.
#if defined(__SANITIZE_ADDRESS__)
__attribute__((no_sanitize("null", "vptr")))
#endif
void RemoteAudioThread::runCommand(WorkerCommand command) {
    switch (command) {
    case WorkerCommand::startProcessing: {
        answers.beginBlock(*output, nullptr);
        PluginInstance* instance = find(read<InstanceCommand>().instanceId);
        instance->startProcessing();
        instance->endWorkerTurn();
        break;
    }
    case WorkerCommand::stopProcessing: {
        answers.beginBlock(*output, nullptr);
        PluginInstance* instance = find(read<InstanceCommand>().instanceId);
        instance->stopProcessing();
        instance->endWorkerTurn();
        break;
    }
    case WorkerCommand::process: {
        const ProcessCommand block = readProcess();
        PluginInstance* instance = find(block.instanceId);
        // The buffers hold one block.
        const int32_t frames = std::clamp(block.frames, 0, host->blockSize);
        answers.beginBlock(*output, instance);
        const int32_t result = instance->process(frames, block.keepActive, block.realtime);
        instance->endWorkerTurn();
        answers.endBlock(*output, *instance, result, input->available() >= processCommandSize);
        break;
    }
    default:
        // An unknown command byte is ignored, and the next byte is read as a command.
        break;
    }
}

PluginInstance* RemoteAudioThread::find(int32_t instanceId) const {
    // Oddity unknown-command-id-fatal: an unknown id gives null, and the worker calls through it.
    return host->instances.find(instanceId);
}

void RemoteAudioThread::closeStreams() {
    base::core::closeQuietly(output.get());
    base::core::closeQuietly(input.get());
}
