#pragma once

#include "plugin/PluginInstance.h"

/// Lets no notification out of an instance for a scope, in which the host itself drives the plug-in.
/// Oddity snapshot-unmutes: at its end notifications leave again, also if they were muted before. Main
/// thread.
class MutedNotifications : public NonCopyable, public NonMovable {
public:
    explicit MutedNotifications(PluginInstance& instance) : instance(instance) {
        instance.notificationsMuted = true;
    }
    ~MutedNotifications() { instance.notificationsMuted = false; }

private:
    PluginInstance& instance;
};
