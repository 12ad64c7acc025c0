#include "library/PluginListener.h"

#include "library/ClientPlugin.h"
#include "plugin/PluginHostNotifications.h"

namespace client_library {

PluginListener::PluginListener(ClientPlugin& plugin) : plugin(&plugin) {}

PluginListener::~PluginListener() = default;

void PluginListener::onUpdateParameter(const UpdateParameterNotification& notification) {
    plugin->noteChange(static_cast<uint32_t>(notification.parameterIndex), notification.value);
    plugin->post([index = static_cast<uint32_t>(notification.parameterIndex), value = notification.value](
                     const plugin_host_callbacks& callbacks, plugin_host_plugin* handle) {
        if (callbacks.parameter_changed != nullptr)
            callbacks.parameter_changed(callbacks.user_data, handle, index, value);
    });
}

void PluginListener::onUpdateParameterDisplay(const UpdateParameterDisplayNotification& notification) {
    plugin->post([index = static_cast<uint32_t>(notification.parameterIndex),
                  name = notification.name.toStdString(), text = notification.display.toStdString()](
                     const plugin_host_callbacks& callbacks, plugin_host_plugin* handle) {
        if (callbacks.parameter_text_changed != nullptr)
            callbacks.parameter_text_changed(callbacks.user_data, handle, index, name.c_str(), text.c_str());
    });
}

void PluginListener::onUpdateAllParameters(const UpdateAllParametersNotification& notification) {
    plugin->setContent(notification.state);
    plugin->post([](const plugin_host_callbacks& callbacks, plugin_host_plugin* handle) {
        if (callbacks.parameters_changed != nullptr)
            callbacks.parameters_changed(callbacks.user_data, handle);
    });
}

void PluginListener::onBeginOrEndEditParameter(const BeginOrEndEditParameterNotification& notification) {
    plugin->post([index = static_cast<uint32_t>(notification.parameterIndex), isBegin = notification.isBegin](
                     const plugin_host_callbacks& callbacks, plugin_host_plugin* handle) {
        const auto call = isBegin ? callbacks.edit_began : callbacks.edit_ended;
        if (call != nullptr)
            call(callbacks.user_data, handle, index);
    });
}

void PluginListener::onPluginWindowMoved(const PluginWindowMovedNotification& notification) {
    plugin->setEditorPlace(notification.x, notification.y, {notification.width, notification.height});
    plugin->post(
        [x = notification.x, y = notification.y, width = notification.width,
         height = notification.height](const plugin_host_callbacks& callbacks, plugin_host_plugin* handle) {
            if (callbacks.editor_moved != nullptr)
                callbacks.editor_moved(callbacks.user_data, handle, x, y, width, height);
        });
}

void PluginListener::onPluginWindowClosed(const PluginWindowClosedNotification&) {
    plugin->setEditorClosed();
    plugin->post([](const plugin_host_callbacks& callbacks, plugin_host_plugin* handle) {
        if (callbacks.editor_closed != nullptr)
            callbacks.editor_closed(callbacks.user_data, handle);
    });
}

} // namespace client_library
