#pragma once

#include "plugin/PluginHostNotificationListener.h"

namespace client_library {

class ClientPlugin;

/// Turns the notifications of a plug-in's instance into callbacks. Owned by the instance's proxy.
class PluginListener : public PluginHostNotificationListener {
public:
    explicit PluginListener(ClientPlugin& plugin);
    ~PluginListener() override;

    void onUpdateParameter(const UpdateParameterNotification& notification) override;
    void onUpdateParameterDisplay(const UpdateParameterDisplayNotification& notification) override;
    void onUpdateAllParameters(const UpdateAllParametersNotification& notification) override;
    void onBeginOrEndEditParameter(const BeginOrEndEditParameterNotification& notification) override;
    void onPluginWindowMoved(const PluginWindowMovedNotification& notification) override;
    void onPluginWindowClosed(const PluginWindowClosedNotification& notification) override;

private:
    const Ref<ClientPlugin> plugin;
};

} // namespace client_library
