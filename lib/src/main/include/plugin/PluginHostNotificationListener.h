#pragma once

#include "plugin/CoreNames.h"

class BeginOrEndEditParameterNotification;
class PluginWindowClosedNotification;
class PluginWindowMovedNotification;
class UpdateAllParametersNotification;
class UpdateParameterDisplayNotification;
class UpdateParameterNotification;

/// The client's receiver for one instance. Called on the thread that reads the host's notifications, where it
/// must not wait for a reply of that host.
class PluginHostNotificationListener : public Object {
public:
    ~PluginHostNotificationListener() override;

    virtual void onUpdateParameter(const UpdateParameterNotification& notification) = 0;
    virtual void onUpdateParameterDisplay(const UpdateParameterDisplayNotification& notification) = 0;
    virtual void onUpdateAllParameters(const UpdateAllParametersNotification& notification) = 0;
    virtual void onBeginOrEndEditParameter(const BeginOrEndEditParameterNotification& notification) = 0;
    virtual void onPluginWindowMoved(const PluginWindowMovedNotification& notification) = 0;
    virtual void onPluginWindowClosed(const PluginWindowClosedNotification& notification) = 0;
};
