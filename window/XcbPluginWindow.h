#pragma once

#include "plugin/PluginWindow.h"

#include <cstdint>

class PluginInstance;
class PluginWindows;

/// The X window of an editor: a top-level window, transient for the client's, in which the plug-in makes its
/// own. Owned by the instance. It has the size of the plug-in's window, so the user can't resize it.
///
/// Main thread, except `resize`. No effect on a connection that has ended.
class XcbPluginWindow : public PluginWindow {
public:
    /// `parentWindow` is the client's X window, 0 for none.
    XcbPluginWindow(PluginWindows& windows, PluginInstance* instance, uint32_t parentWindow);
    /// Destroys the X window and notifies the client that the editor has closed. Releases the instance last,
    /// which may end it.
    ~XcbPluginWindow() override;

    /// Makes the X window, unmapped. False if the server refuses, which is logged.
    bool create();

    /// No effect: the plug-in determines the size.
    void setResizable() override;
    void hide() override;
    void show() override;
    void setTitle(const String& title) override;
    /// Any thread.
    void resize(uint32_t width, uint32_t height) override;
    /// Keeps the window on a screen, by the server's geometry, which may lack a size that the window manager
    /// hasn't applied yet. Oddity size-limits-lifted-by-move: lifts the limits of the size, until a `resize`
    /// sets them again.
    void move(int32_t x, int32_t y) override;
    /// Waits up to a second for the plug-in's window, which is the first child, and moves it to the top left
    /// corner.
    bool waitForPluginWindow() override;

private:
    /// For a twentieth of a second, without the plug-in's window.
    void letPluginWork() const;
    /// Ends the process if the client can't be notified.
    void tellClient() const noexcept;

    PluginWindows& windows;
    PluginInstance* instance;
    uint32_t parentWindow;
    /// The plug-in's window, 0 until it is found.
    Relaxed<uint32_t> childWindow = 0;
};
