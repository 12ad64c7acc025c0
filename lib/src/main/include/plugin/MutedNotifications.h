#pragma once

#include "plugin/PluginInstance.h"

/// Mutes an instance's notifications for a scope, in which the host itself calls the plug-in.
/// Oddity snapshot-unmutes: its end unmutes them, also if they were muted before. Main thread.
class MutedNotifications : public NonCopyable, public NonMovable {
public:
    explicit MutedNotifications(PluginInstance& instance) : instance(instance) {
        instance.notificationsMuted = true;
    }
    ~MutedNotifications() { instance.notificationsMuted = false; }

private:
    PluginInstance& instance;
};
