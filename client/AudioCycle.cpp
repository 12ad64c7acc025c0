#include "client/AudioCycle.h"

#include "client/RemotePluginAudioContextProxy.h"

void AudioCycle::add(RemotePluginAudioContextProxy& instance, WorkerBlock& block, int32_t frames,
                     bool keepActive, bool realtime) {
    try {
        if (instance.add(block, frames, keepActive, realtime))
            workers.push_back(&instance.getWorker());
    } catch (const IOException&) {
        block.state = WorkerBlock::State::lost;
    }
}

void AudioCycle::send() {
    for (AudioThreadProxy* worker : workers) {
        try {
            worker->send();
        } catch (const IOException&) {
            // Its blocks are lost.
        }
    }
}

void AudioCycle::finish(const timespec* deadline) {
    for (AudioThreadProxy* worker : workers) {
        try {
            worker->finish(deadline);
        } catch (const IOException&) {
            // Its blocks are lost.
        }
    }
    workers.clear();
}
