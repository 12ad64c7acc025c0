#pragma once

#include "plugin/AudioBlock.h"
#include "plugin/PluginHostNotificationListener.h"

#include <atomic>
#include <mutex>
#include <vector>

/// Hears what the user does in the plug-in's editor. What is turned there is to be sent back with the next
/// block: the half of a plug-in that renders may know of it by nothing else. Any thread may ask.
class OpenEditor : public PluginHostNotificationListener {
public:
    bool isOpen() const { return open; }
    /// What has come since the last call, in its order.
    std::vector<ParameterChange> takeChanges();

    void onUpdateParameter(const UpdateParameterNotification& notification) override;
    void onUpdateParameterDisplay(const UpdateParameterDisplayNotification&) override {}
    void onUpdateAllParameters(const UpdateAllParametersNotification&) override {}
    void onBeginOrEndEditParameter(const BeginOrEndEditParameterNotification&) override {}
    void onPluginWindowMoved(const PluginWindowMovedNotification&) override {}
    void onPluginWindowClosed(const PluginWindowClosedNotification&) override { open = false; }

private:
    std::atomic<bool> open = true;
    std::mutex changesLock;
    std::vector<ParameterChange> changes;
};
