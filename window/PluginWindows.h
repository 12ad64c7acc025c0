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

/// The editor windows of a host: their connection, the thread that reads its events, and the instance of each
/// window. Main thread, except for what `XcbPluginWindow` allows.
class PluginWindows : public NonCopyable, public NonMovable {
public:
    /// Connects to the X server; without one the process exits: see `XConnection`. `host` is borrowed.
    explicit PluginWindows(PluginHostContext* host);
    /// Stops listening if that hasn't been done.
    ~PluginWindows();

    /// Starts the thread that turns the server's events into actions of the host.
    void startListening();
    /// Ends that thread and the connection. A connection that the server broke stays, and calls on it have no
    /// effect. No effect without that thread.
    void stopListening();

    /// Null if the server refuses, which is logged.
    std::unique_ptr<PluginWindow> create(PluginInstance& instance, uint32_t parentWindow);
    /// Closes the editors of all windows.
    void closeAll();

    /// The instance of a window; null for one that isn't open.
    Ref<PluginInstance> find(uint32_t windowId);
    bool isEmpty();

    XConnection display;
    PluginHostContext* const host;

private:
    friend class XcbPluginWindow;

    /// Holds the instance as long as its window is open.
    void add(uint32_t windowId, PluginInstance* instance);
    /// The reference to the instance; null if there is no such window.
    Ref<PluginInstance> remove(uint32_t windowId);

    /// By X window id.
    base::core::Guarded<std::unordered_map<uint32_t, Ref<PluginInstance>>> instances;
    std::unique_ptr<XDisplayThread> displayThread;
};
