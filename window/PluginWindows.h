#pragma once

#include "core/Guarded.h"
#include "plugin/PluginInstance.h"
#include "window/XConnection.h"

#include <cstdint>
#include <memory>
#include <unordered_map>

class PluginHostContext;
class PluginWindow;
class XDisplayThread;

/// The editor windows of a host: the connection that they stand on, the thread that reads its events, and
/// whose window each one is. Main thread, but for what `XcbPluginWindow` allows.
class PluginWindows : public NonCopyable, public NonMovable {
public:
    /// Connects to the X server; without one the process exits: see `XConnection`. `host` is borrowed.
    explicit PluginWindows(PluginHostContext* host);
    /// Stops listening, if that hasn't been done.
    ~PluginWindows();

    /// Starts the thread that turns the server's events into actions of the host.
    void startListening();
    /// Ends that thread and the connection; one that the server broke stays, and calls on it are harmless.
    /// Does nothing where nobody listens.
    void stopListening();

    /// Null, with a line on the standard error stream, if the server refuses.
    std::unique_ptr<PluginWindow> create(PluginInstance& instance, uint32_t parentWindow);
    /// Closes the editors of all windows.
    void closeAll();

    /// Whose window this is; null for one that isn't open.
    Ref<PluginInstance> find(uint32_t windowId);
    bool isEmpty();

    XConnection display;
    PluginHostContext* const host;

private:
    friend class XcbPluginWindow;

    /// Holds the instance as long as its window is open.
    void add(uint32_t windowId, PluginInstance* instance);
    /// The reference to the instance, null if the window isn't known.
    Ref<PluginInstance> remove(uint32_t windowId);

    /// By X window id.
    base::core::Guarded<std::unordered_map<uint32_t, Ref<PluginInstance>>> instances;
    std::unique_ptr<XDisplayThread> displayThread;
};
