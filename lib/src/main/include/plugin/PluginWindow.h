#pragma once

#include "plugin/CoreNames.h"

#include <cstdint>

/// The window of an editor. Owned by its instance, which destroys it to close the editor; its destructor
/// notifies the client. Main thread, except for `resize`, which a plug-in may cause on any.
class PluginWindow : public NonCopyable {
public:
    virtual ~PluginWindow();

    /// Called if the client asked for a resizable editor.
    virtual void setResizable() = 0;
    virtual void hide() = 0;
    virtual void show() = 0;
    virtual void setTitle(const String& title) = 0;
    /// In pixels.
    virtual void resize(uint32_t width, uint32_t height) = 0;
    /// To a place on the screen, in pixels.
    virtual void move(int32_t x, int32_t y) = 0;
    virtual float getScaleFactor() const;
    virtual uint32_t getWindowId() const;
    /// Waits for the plug-in's own window inside of this one; false if it makes none in time.
    virtual bool waitForPluginWindow() = 0;

protected:
    PluginWindow() = default;

    uint32_t windowId = 0;
};
