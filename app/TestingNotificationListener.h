#pragma once

#include "plugin/PluginHostNotificationListener.h"

/// Logs the notifications of a plug-in under test, one line each.
class TestingNotificationListener : public PluginHostNotificationListener {
public:
    ~TestingNotificationListener() override;

    void onUpdateParameter(const UpdateParameterNotification& notification) override;
    void onUpdateParameterDisplay(const UpdateParameterDisplayNotification& notification) override;
    void onUpdateAllParameters(const UpdateAllParametersNotification& notification) override;
    void onBeginOrEndEditParameter(const BeginOrEndEditParameterNotification& notification) override;
    void onPluginWindowMoved(const PluginWindowMovedNotification& notification) override;
    void onPluginWindowClosed(const PluginWindowClosedNotification& notification) override;
};
