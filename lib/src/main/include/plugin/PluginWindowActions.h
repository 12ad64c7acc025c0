#pragma once

#include "plugin/PluginHostAction.h"

#include <cstdint>

class PluginHostContext;

/// The user, or the window manager, asked to close an editor. An id that no open window has is passed over:
/// the window may have gone meanwhile.
class PluginWindowClosedAction : public PluginHostAction {
public:
    PluginWindowClosedAction(PluginHostContext* host, uint32_t windowId);
    ~PluginWindowClosedAction() override;

    /// Closes the editor, whose window then tells the client.
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

    /// Stores the place and tells the client, but for a window that is being opened or is hidden: such a move
    /// isn't the user's.
    void run() override;

private:
    PluginHostContext* host;
    uint32_t windowId;
    int32_t x;
    int32_t y;
};

/// The plug-in has asked for another size of its editor window, in pixels, and has got it.
class PluginWindowResizedAction : public PluginHostAction {
public:
    PluginWindowResizedAction(PluginHostContext* host, uint32_t windowId, int32_t width, int32_t height);
    ~PluginWindowResizedAction() override;

    /// Tells the instance, as long as the window stands.
    void run() override;

private:
    PluginHostContext* host;
    uint32_t windowId;
    int32_t width;
    int32_t height;
};

/// All that the opening, or the showing, of an editor window caused has been told: from now on its moves are
/// the user's.
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
