#include "plugin/PluginWindow.h"

PluginWindow::~PluginWindow() = default;

float PluginWindow::getScaleFactor() const {
    return 1.0F;
}

uint32_t PluginWindow::getWindowId() const {
    return windowId;
}
