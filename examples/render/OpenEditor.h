#pragma once

#include "plugin/AudioBlock.h"
#include "plugin/PluginHostNotificationListener.h"

#include <atomic>
#include <mutex>
#include <vector>

/// Collects the user's changes in the plug-in's editor. The caller sends them back with the next block: the
/// rendering half of a plug-in may have no other way to get them. Any thread.
class OpenEditor : public PluginHostNotificationListener {
public:
    bool isOpen() const { return open; }
    /// The changes since the last call, in order.
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
