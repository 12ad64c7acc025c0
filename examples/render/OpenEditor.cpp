#include "render/OpenEditor.h"

#include "plugin/PluginHostNotifications.h"

#include <utility>

std::vector<ParameterChange> OpenEditor::takeChanges() {
    const std::lock_guard lock(changesLock);
    return std::exchange(changes, {});
}

void OpenEditor::onUpdateParameter(const UpdateParameterNotification& notification) {
    const std::lock_guard lock(changesLock);
    changes.push_back({notification.value, static_cast<uint16_t>(notification.parameterIndex), 0});
}
