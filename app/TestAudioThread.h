#pragma once

#include "core/Thread.h"
#include "plugin/CoreNames.h"
#include "plugin/PluginAudioContext.h"

#include <atomic>
#include <cstdint>

/// Renders one minute of silence through a plug-in under test, as fast as possible, and checks the guards
/// around its buffers. The script joins it before it reads the error.
class TestAudioThread : public base::core::Thread {
public:
    explicit TestAudioThread(const Ref<PluginAudioContext>& context);
    ~TestAudioThread() override;

    /// Ends the rendering after the next block.
    void requestStop() { stopRequested = true; }
    /// Stops and joins.
    bool prepareForDeletion() override;

    /// The error, or the empty text. After `join`.
    const String& getError() const { return error; }

protected:
    void run() override;

private:
    void render();
    void fail(const String& reason);
    void prepareBlock();
    void renderBlocks();
    /// The plug-in has stopped when this returns.
    void stopProcessing();

    Ref<PluginAudioContext> context;
    std::atomic<bool> stopRequested = false;
    String error;
};
