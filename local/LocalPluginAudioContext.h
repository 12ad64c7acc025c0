#pragma once

#include "plugin/PluginAudioContext.h"
#include "plugin/PluginInstance.h"

#include <cstdint>
#include <memory>

/// The audio block of an instance in the client's own process: plain memory, which client and instance both
/// hold, and whose driver calls the instance itself. What a worker does around a command is done here too, so
/// that the plug-in renders the same samples.
///
/// One thread drives it, while the instance lives.
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
    /// Borrowed: the instance holds this.
    PluginInstance* instance;
    std::unique_ptr<void, void (*)(void*)> storage;
};
