#pragma once

#include "plugin/CoreNames.h"
#include "plugin/InstanceTable.h"
#include "plugin/PluginHostAction.h"
#include "plugin/PluginHostProxyHandler.h"

#include <cstdint>
#include <memory>

class PluginWindow;
class RunLoop;

/// The host's interface for requests, plug-in formats and windows: its parameters, queue, instances and
/// connection to the client. `PluginHost` implements it.
class PluginHostContext : public Object {
public:
    /// `sampleRate` in Hz; `blockSize` in frames, with a negative one counting as 0. Both stay the same for
    /// the host's life.
    PluginHostContext(int32_t sampleRate, int32_t blockSize);
    ~PluginHostContext() override;

    /// The most recently made host, null if it is gone. Any thread.
    static PluginHostContext* getCurrent();

    /// Whether the calling thread is the one that constructed the host.
    virtual bool isMainThread() const = 0;
    /// Appends to the main thread's queue. Any thread; allocates.
    virtual void post(const Ref<PluginHostAction>& action) = 0;
    /// Runs the action at once on the main thread, and posts it on any other.
    void runOnMainThread(const Ref<PluginHostAction>& action);
    /// Ends the main loop after the current action. Any thread.
    virtual void stop() = 0;

    /// Makes and initialises an instance of a plug-in file and enters it into `instances`.
    /// Oddity duplicate-id-unreachable: an id that is in use keeps its instance, and only the caller has the
    /// new one. Throws `PluginException` and what the format throws. Main thread.
    virtual Ref<PluginInstance> createPluginInstance(int32_t instanceId, const String& path,
                                                     const String& identifier, bool dpiAware) = 0;
    /// Makes the window for an instance's editor, unmapped; `parentWindow` is the client's X window, 0 for
    /// none. Null if there can't be one. Main thread.
    virtual std::unique_ptr<PluginWindow> createWindow(PluginInstance& instance, uint32_t parentWindow) = 0;
    /// Has a `PluginWindowSettledAction` posted after the actions that earlier requests for the window cause.
    /// `serial` is the instance's `windowSerial`. Main thread.
    virtual void settleWindow(uint32_t windowId, uint32_t serial) = 0;
    /// Does nothing until something is added. Any thread.
    virtual RunLoop& getRunLoop() = 0;

    const int32_t sampleRate;
    const int32_t blockSize;
    /// Set by the host's creator; null for a report.
    Ref<PluginHostProxyHandler> handler;
    InstanceTable instances;
};
