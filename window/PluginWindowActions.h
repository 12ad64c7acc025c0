#pragma once

#include "plugin/PluginHostAction.h"

#include <cstdint>

class PluginHost;

/// The user, or the window manager, asked to close an editor. An id that no open window has is passed over:
/// the window may have gone meanwhile.
class PluginWindowClosedAction : public PluginHostAction {
public:
    PluginWindowClosedAction(PluginHost* host, uint32_t windowId);
    ~PluginWindowClosedAction() override;

    /// Closes the editor, whose window then tells the client.
    void run() override;

private:
    PluginHost* host;
    uint32_t windowId;
};

/// An editor window has a new place, in pixels of the screen.
class PluginWindowMovedAction : public PluginHostAction {
public:
    PluginWindowMovedAction(PluginHost* host, uint32_t windowId, int32_t x, int32_t y);
    ~PluginWindowMovedAction() override;

    /// Stores the place and tells the client, but for a window that is being opened or is hidden: such a move
    /// isn't the user's.
    void run() override;

private:
    PluginHost* host;
    uint32_t windowId;
    int32_t x;
    int32_t y;
};
