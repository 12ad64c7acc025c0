#pragma once

#include "core/Mutex.h"
#include "host/InstanceTable.h"
#include "plugin/CoreNames.h"
#include "plugin/Plugin.h"
#include "plugin/PluginHostAction.h"
#include "plugin/PluginHostProxyHandler.h"
#include "window/XConnection.h"

#include <cstdint>
#include <list>
#include <memory>
#include <pthread.h>
#include <unordered_map>
#include <vector>

class PluginHostRunThread;
class XDisplayThread;

/// The centre of a host process: owns the plug-ins, their instances, the X connection and the queue of
/// actions that the main thread works off. All that isn't real-time passes through that queue, so a plug-in
/// sees one thread for its editor, its parameters and its presets.
///
/// The thread that constructs it is its main thread. In the `host` action it is never destroyed: `exit` runs
/// while other threads still wait for it.
class PluginHost : public Object {
public:
    /// `sampleRate` in Hz, `blockSize` in frames, a negative one counting as 0; both hold for the host's
    /// life. Without an X server the process exits: see `XConnection`.
    PluginHost(int32_t sampleRate, int32_t blockSize);
    ~PluginHost() override;

    /// The most recently made host, null if it is gone. Any thread.
    static PluginHost* getCurrent();

    /// Runs the main loop on a thread of its own; `isMainThread` stays what it was.
    virtual void startRunThread();
    virtual bool isMainThread() const;
    /// Joins the run thread, which must have been told to stop.
    bool prepareForDeletion() override;

    /// The main loop: one action after the other, and every 40 ms `idle` of each instance. Returns once
    /// `stopRequested` is set. Catches nothing.
    void run();
    /// Appends to the queue. Any thread; allocates.
    void post(const Ref<PluginHostAction>& action);
    /// Runs the action at once on the main thread, and posts it on any other.
    void runOnMainThread(const Ref<PluginHostAction>& action);

    /// The plug-in of a file, loaded the first time that its path is asked for. A path that ends in "vst3" is
    /// a VST 3 plug-in, any other a VST 2 plug-in. Throws `PluginException`. Main thread.
    Ref<Plugin> getPlugin(const String& path);
    /// Brings up an instance and enters it into `instances`. An id that is in use keeps its instance, and the
    /// new one belongs to the caller alone. Throws `PluginException` and what the format throws. Main thread.
    Ref<PluginInstance> createPluginInstance(int32_t instanceId, const String& path, const String& identifier,
                                             bool dpiAware);

    XConnection display;
    /// Set by whoever makes the host; null for a report.
    Ref<PluginHostProxyHandler> handler;
    /// In order of loading; only grows.
    std::vector<Ref<Plugin>> plugins;
    InstanceTable instances;
    const int32_t sampleRate;
    const int32_t blockSize;
    /// Ends `run`. Set by any thread.
    Relaxed<bool> stopRequested = false;
    base::core::Mutex windowsLock;
    /// The open editor windows, by X window id.
    std::unordered_map<uint32_t, Ref<PluginInstance>> windows;

private:
    using Milliseconds = uint64_t;

    /// Waits for an action for the rest of the idle interval; false if the interval has passed.
    bool waitForAction(double secondsLeft);
    Ref<PluginHostAction> takeAction();
    void runIdleRound();
    void joinDisplayThread();
    void closeWindows();
    /// While queue and lock still stand: plug-ins call back as they end.
    void dropInstances();

    Ref<PluginHostRunThread> runThread;
    std::unique_ptr<XDisplayThread> displayThread;
    base::core::Condition actionsAvailable;
    /// Guards `actions`; no other lock is taken while it is held.
    base::core::Mutex actionsLock;
    std::list<Ref<PluginHostAction>> actions;
    Milliseconds lastIdleTime = 0;
    const pthread_t mainThread;
};
