#pragma once

#include "core/Guarded.h"
#include "host/PolledRunLoop.h"
#include "plugin/CoreNames.h"
#include "plugin/Plugin.h"
#include "plugin/PluginHostContext.h"
#include "window/PluginWindows.h"

#include <cstdint>
#include <list>
#include <memory>
#include <pthread.h>
#include <vector>

class PluginApi;
class PluginHostRunThread;

/// The centre of a host process: owns the plug-ins, their instances, the X connection and the queue of
/// actions that the main thread runs. All work that isn't real-time passes through that queue, so a plug-in
/// sees one thread for its editor, its parameters and its presets.
///
/// The thread that constructs it is its main thread. In the `host` action it is never destroyed: other
/// threads still use it during `exit`.
class PluginHost : public PluginHostContext {
public:
    /// `sampleRate` in Hz, `blockSize` in frames, a negative one counting as 0; neither changes later. Has no
    /// format yet. Without an X server the process exits: see `XConnection`.
    PluginHost(int32_t sampleRate, int32_t blockSize);
    ~PluginHost() override;

    /// Runs the main loop on a thread of its own, for which `isMainThread` stays false.
    virtual void startRunThread();
    bool isMainThread() const override;
    /// Joins the run thread; only after `stop`.
    bool prepareForDeletion() override;

    /// The main loop: one action after the other, and every 40 ms `idle` of each instance. Returns once
    /// `stopRequested` is set. Catches nothing.
    void run();
    void post(const Ref<PluginHostAction>& action) override;
    void stop() override;

    /// Adds a format; a file that several formats take is loaded by the one added first. `format` outlives
    /// the host. Only before the first plug-in is loaded.
    void addFormat(PluginApi& format);
    /// The plug-in of a file, loaded on the first request of its path, by the first format that takes it;
    /// null if none does. Throws `PluginException`. Main thread.
    Ref<Plugin> getPlugin(const String& path);
    Ref<PluginInstance> createPluginInstance(int32_t instanceId, const String& path, const String& identifier,
                                             bool dpiAware) override;
    std::unique_ptr<PluginWindow> createWindow(PluginInstance& instance, uint32_t parentWindow) override;
    void settleWindow(uint32_t windowId, uint32_t serial) override;
    RunLoop& getRunLoop() override { return runLoop; }

    PluginWindows windows;
    /// In order of loading; only grows.
    std::vector<Ref<Plugin>> plugins;
    /// Ends `run`. Set by any thread.
    Relaxed<bool> stopRequested = false;

private:
    using Milliseconds = uint64_t;

    /// Waits for an action for the rest of the idle interval; false if the interval has passed.
    bool waitForAction(double secondsLeft);
    Ref<PluginHostAction> takeAction();
    void runIdleRound();
    /// Only while the queue exists: plug-ins call back as they end.
    void dropInstances();

    Ref<PluginHostRunThread> runThread;
    std::vector<PluginApi*> formats;
    base::core::Condition actionsAvailable;
    /// No other lock is taken while this one is held.
    base::core::Guarded<std::list<Ref<PluginHostAction>>> actions;
    /// Posts into the queue.
    PolledRunLoop runLoop{*this};
    Milliseconds lastIdleTime = 0;
    const pthread_t mainThread;
};
