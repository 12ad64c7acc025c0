#include "app/TestingNotificationListener.h"

#include "core/Log.h"
#include "plugin/PluginHostNotifications.h"

#include <cstdio>

TestingNotificationListener::~TestingNotificationListener() = default;

void TestingNotificationListener::onUpdateParameter(const UpdateParameterNotification& notification) {
    char value[32];
    std::snprintf(value, sizeof value, "%g", static_cast<double>(notification.value));
    base::core::logProgress("Parameter ", notification.parameterIndex, " value: ", value);
}

void TestingNotificationListener::onUpdateParameterDisplay(
    const UpdateParameterDisplayNotification& notification) {
    base::core::logProgress("Parameter ", notification.parameterIndex, " reads ", notification.name, ": ",
                            notification.display);
}

void TestingNotificationListener::onUpdateAllParameters(const UpdateAllParametersNotification& notification) {
    const auto count = static_cast<int32_t>(notification.state->parameters.size());
    base::core::logProgress("All parameters changed, of which there are ", count);
}

void TestingNotificationListener::onBeginOrEndEditParameter(
    const BeginOrEndEditParameterNotification& notification) {
    base::core::logProgress(notification.isBegin ? "Begin" : "End", " Edit Parameter ",
                            notification.parameterIndex);
}

void TestingNotificationListener::onPluginWindowMoved(const PluginWindowMovedNotification& notification) {
    base::core::logProgress("Plug-in window moved to ", notification.x, ", ", notification.y,
                            " with a size of ", notification.width, " by ", notification.height);
}

void TestingNotificationListener::onPluginWindowClosed(const PluginWindowClosedNotification&) {
    base::core::logProgress("Plug-in window closed");
}
