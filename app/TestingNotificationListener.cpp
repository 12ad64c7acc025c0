#include "app/TestingNotificationListener.h"

#include "core/StdStreams.h"
#include "plugin/PluginHostNotifications.h"

#include <cstdio>

using base::core::standardOutput;

TestingNotificationListener::~TestingNotificationListener() = default;

void TestingNotificationListener::onUpdateParameter(const UpdateParameterNotification& notification) {
    char value[32];
    std::snprintf(value, sizeof value, "%g", static_cast<double>(notification.value));
    standardOutput().printLine(concat("Parameter ", notification.parameterIndex, " value: ", value));
}

void TestingNotificationListener::onUpdateParameterDisplay(
    const UpdateParameterDisplayNotification& notification) {
    standardOutput().printLine(concat("Parameter ", notification.parameterIndex, " reads ", notification.name,
                                      ": ", notification.display));
}

void TestingNotificationListener::onUpdateAllParameters(const UpdateAllParametersNotification& notification) {
    const auto count = static_cast<int32_t>(notification.state->parameters.size());
    standardOutput().printLine(concat("All parameters changed, of which there are ", count));
}

void TestingNotificationListener::onBeginOrEndEditParameter(
    const BeginOrEndEditParameterNotification& notification) {
    standardOutput().printLine(
        concat(notification.isBegin ? "Begin" : "End", " Edit Parameter ", notification.parameterIndex));
}

void TestingNotificationListener::onPluginWindowMoved(const PluginWindowMovedNotification& notification) {
    standardOutput().printLine(concat("Plug-in window moved to ", notification.x, ", ", notification.y,
                                      " with a size of ", notification.width, " by ", notification.height));
}

void TestingNotificationListener::onPluginWindowClosed(const PluginWindowClosedNotification&) {
    standardOutput().printLine("Plug-in window closed");
}
