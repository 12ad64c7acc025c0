#pragma once

#include "plugin/PluginHostNotificationListener.h"

#include <atomic>

/// Hears whether the plug-in's editor is still open. Any thread may ask.
class OpenEditor : public PluginHostNotificationListener {
public:
    bool isOpen() const { return open; }

    void onUpdateParameter(const UpdateParameterNotification&) override {}
    void onUpdateParameterDisplay(const UpdateParameterDisplayNotification&) override {}
    void onUpdateAllParameters(const UpdateAllParametersNotification&) override {}
    void onBeginOrEndEditParameter(const BeginOrEndEditParameterNotification&) override {}
    void onPluginWindowMoved(const PluginWindowMovedNotification&) override {}
    void onPluginWindowClosed(const PluginWindowClosedNotification&) override { open = false; }

private:
    std::atomic<bool> open = true;
};
