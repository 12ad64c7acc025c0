#pragma once

#include "plugin/PluginWindow.h"

#include <cstdint>

class PluginInstance;
class PluginWindows;

/// The window of an editor on the X server: a top-level window, owned by the client's but no child of it,
/// into which the plug-in puts a window of its own. Belongs to the instance. It fits the plug-in's window
/// exactly, so the user can't resize it.
///
/// Main thread, but for `resize`. On a connection that has ended nothing is done.
class XcbPluginWindow : public PluginWindow {
public:
    /// `parentWindow` is the client's X window, 0 for none.
    XcbPluginWindow(PluginWindows& windows, PluginInstance* instance, uint32_t parentWindow);
    /// Takes the window off the screen and tells the client that the editor has closed. May let go of the
    /// instance, as its very last act.
    ~XcbPluginWindow() override;

    /// Makes the X window, unmapped. False, with a line on the standard error stream, if the server refuses.
    bool create();

    /// Does nothing: the size is the plug-in's.
    void setResizable() override;
    void hide() override;
    void show() override;
    void setTitle(const String& title) override;
    /// Any thread, as the plug-in asks for it.
    void resize(uint32_t width, uint32_t height) override;
    /// Stays on a screen, by the geometry that the server tells: a window manager may not have applied the
    /// latest size yet. Oddity size-limits-lifted-by-move: lifts the limits of the size, until a `resize`
    /// sets them again.
    void move(int32_t x, int32_t y) override;
    /// Waits for the plug-in's window for up to a second and moves it into the corner. Any window that is
    /// the first child counts as the plug-in's.
    bool waitForPluginWindow() override;

private:
    /// Ends the process if there is nobody to be told.
    void tellClient() const noexcept;

    PluginWindows& windows;
    PluginInstance* instance;
    uint32_t parentWindow;
    /// The plug-in's window, 0 until it is found.
    Relaxed<uint32_t> childWindow = 0;
};
