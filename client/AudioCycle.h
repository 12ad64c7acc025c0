#pragma once

#include "client/AudioThreadProxy.h"

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <vector>

class RemotePluginAudioContextProxy;

/// One block of each of many instances, of any hosts and workers: the commands of a worker are written
/// together, the workers render side by side, and then the answers are taken.
///
///     for (size_t i = 0; i < instances.size(); ++i)
///         cycle.add(*instances[i], blocks[i], 256, false, true);
///     cycle.send();
///     // Do something else.
///     cycle.finish();
///
/// What became of a block is its state: a host that is gone costs its own blocks alone. One thread drives a
/// cycle, and each worker in it from the first `add` to the end of `finish`. Once constructed, it allocates
/// nothing and takes no lock; a write for each worker, and a read for all answers that are there.
class AudioCycle : public NonCopyable, public NonMovable {
public:
    /// For so many blocks.
    explicit AudioCycle(size_t capacity) { workers.reserve(capacity); }

    /// The next block of an instance: what it has in its audio block. At most one for each instance. The
    /// block stays where it is until `finish` has returned. See `PluginInstance::process` for the rest.
    void add(RemotePluginAudioContextProxy& instance, WorkerBlock& block, int32_t frames, bool keepActive,
             bool realtime);
    void send();
    /// Waits for the answers, at most until `deadline`, a time of `CLOCK_MONOTONIC`; null: for ever. Those
    /// that haven't come are late, and so is all that stands behind one on its worker.
    void finish(const timespec* deadline = nullptr);

private:
    std::vector<AudioThreadProxy*> workers;
};
