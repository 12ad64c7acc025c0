#pragma once

#include "plugin/PluginAudioContext.h"
#include "plugin/PluginInstance.h"

#include <cstdint>
#include <memory>

/// The audio block of an instance in the client's own process: plain memory that client and instance share,
/// with direct calls of the instance. Each call does what a worker does around a command, so that the plug-in
/// renders the same samples.
///
/// One thread at a time, while the instance lives.
class LocalPluginAudioContext : public PluginAudioContext {
public:
    LocalPluginAudioContext(PluginInstance& instance, int32_t blockSize);
    ~LocalPluginAudioContext() override;

    /// Cleared.
    void* allocate(int32_t size) override;
    void startProcessing() override;
    int32_t process(int32_t frames, bool keepActive, bool realtime) override;
    void stopProcessing() override;

private:
    /// Borrowed: the instance owns this.
    PluginInstance* instance;
    std::unique_ptr<void, void (*)(void*)> storage;
};
