#pragma once

#include "core/SharedMemory.h"
#include "plugin/PluginAudioContext.h"
#include "plugin/PluginInstance.h"

/// The host's side of an audio block: creates the shared memory, and removes it from the system when
/// destroyed. Owned by the instance.
class RemotePluginAudioContext : public PluginAudioContext {
public:
    RemotePluginAudioContext(PluginInstance& instance, int32_t hostId, int32_t blockSize);
    ~RemotePluginAudioContext() override;

    /// Creates the shared memory, cleared.
    void* allocate(int32_t size) override;
    // These three forward to the instance; a worker calls the instance itself.
    void startProcessing() override;
    int32_t process(int32_t frames, bool keepActive, bool realtime) override;
    void stopProcessing() override;

private:
    /// Borrowed: the instance owns this.
    PluginInstance* instance;
    int32_t hostId;
    Ref<base::core::SharedMemory> memoryObject;
};
