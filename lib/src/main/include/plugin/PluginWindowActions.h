#pragma once

#include "plugin/PluginHostAction.h"

#include <cstdint>

class PluginHostContext;

/// The user, or the window manager, asked to close an editor. An id without an open window is ignored: the
/// window may have gone meanwhile.
class PluginWindowClosedAction : public PluginHostAction {
public:
    PluginWindowClosedAction(PluginHostContext* host, uint32_t windowId);
    ~PluginWindowClosedAction() override;

    /// Closes the editor, whose window then notifies the client.
    void run() override;

private:
    PluginHostContext* host;
    uint32_t windowId;
};

/// An editor window has a new place, in pixels of the screen.
class PluginWindowMovedAction : public PluginHostAction {
public:
    PluginWindowMovedAction(PluginHostContext* host, uint32_t windowId, int32_t x, int32_t y);
    ~PluginWindowMovedAction() override;

    /// Stores the place and notifies the client, unless the window is being opened or is hidden: such a move
    /// isn't the user's.
    void run() override;

private:
    PluginHostContext* host;
    uint32_t windowId;
    int32_t x;
    int32_t y;
};

/// The plug-in has asked for another size of its editor window, in pixels, which has been applied.
class PluginWindowResizedAction : public PluginHostAction {
public:
    PluginWindowResizedAction(PluginHostContext* host, uint32_t windowId, int32_t width, int32_t height);
    ~PluginWindowResizedAction() override;

    /// Passes the size to the instance while the window is open.
    void run() override;

private:
    PluginHostContext* host;
    uint32_t windowId;
    int32_t width;
    int32_t height;
};

/// All events of an editor window's opening or showing have been handled: its moves count as the user's from
/// now on.
class PluginWindowSettledAction : public PluginHostAction {
public:
    PluginWindowSettledAction(PluginHostContext* host, uint32_t windowId, uint32_t serial);
    ~PluginWindowSettledAction() override;

    /// Ends the instance's `windowBusy`, unless a later opening has begun.
    void run() override;

private:
    PluginHostContext* host;
    uint32_t windowId;
    uint32_t serial;
};
