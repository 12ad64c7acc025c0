#pragma once

#include "library/ClientPlugin.h"
#include "library/Handles.h"

namespace client_library {

// What the functions of audio threads have in common: nothing here allocates or locks.

/// A plug-in for the scope of a call of audio.
class AudioUse : public NonCopyable, public NonMovable {
public:
    explicit AudioUse(plugin_host_plugin* handle) : use(HandleKind::plugin, handle) {
        if (use.get() != nullptr)
            audio = static_cast<ClientPlugin&>(*use.get()).getAudio();
    }

    /// OK, or why there is no audio.
    plugin_host_status getStatus() const {
        if (use.get() == nullptr)
            return PLUGIN_HOST_INVALID_HANDLE;
        if (audio == nullptr)
            return static_cast<ClientPlugin&>(*use.get()).getMissingAudioStatus();
        return audio->host->isDead() ? PLUGIN_HOST_DEAD : PLUGIN_HOST_OK;
    }
    /// The same for a block.
    plugin_host_status getStatus(uint32_t frames) const {
        if (const plugin_host_status status = getStatus(); status != PLUGIN_HOST_OK)
            return status;
        if (!audio->isStarted.load(std::memory_order_relaxed))
            return PLUGIN_HOST_INVALID_STATE;
        if (frames < 1 || frames > static_cast<uint32_t>(audio->context->blockSize))
            return PLUGIN_HOST_INVALID_ARGUMENT;
        return audio->isLate ? PLUGIN_HOST_LATE : PLUGIN_HOST_OK;
    }
    bool hasAudio() const { return audio != nullptr; }
    PluginAudio& get() const { return *audio; }

private:
    const HandleUse use;
    PluginAudio* audio = nullptr;
};

/// A worker for the scope of a command to it.
class WorkerUse : public NonCopyable, public NonMovable {
public:
    explicit WorkerUse(WorkerTurn& turn) : turn(turn), isMine(turn.take(this)) {}
    ~WorkerUse() {
        if (isMine)
            turn.leave();
    }

    explicit operator bool() const { return isMine; }

private:
    WorkerTurn& turn;
    const bool isMine;
};

} // namespace client_library
