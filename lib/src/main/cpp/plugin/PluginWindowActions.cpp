#include "plugin/PluginWindowActions.h"

#include "plugin/PluginHostContext.h"
#include "plugin/PluginHostNotifications.h"
#include "plugin/PluginInstance.h"

namespace {

constexpr uint32_t noWindow = 0;

// A null reference if no instance has this id; one without a window counts as id 0.
Ref<PluginInstance> findByWindow(PluginHostContext& host, uint32_t windowId) {
    Ref<PluginInstance> found;
    host.instances.forEach([&](PluginInstance& instance) {
        const PluginWindow* window = instance.window;
        const uint32_t id = window != nullptr ? window->getWindowId() : noWindow;
        if (!found && id == windowId)
            found = &instance;
    });
    return found;
}

} // namespace

PluginWindowClosedAction::PluginWindowClosedAction(PluginHostContext* host, uint32_t windowId)
    : host(host), windowId(windowId) {}

PluginWindowClosedAction::~PluginWindowClosedAction() = default;

void PluginWindowClosedAction::run() {
    if (const Ref<PluginInstance> instance = findByWindow(*host, windowId))
        instance->closeEditor();
}

PluginWindowMovedAction::PluginWindowMovedAction(PluginHostContext* host, uint32_t windowId, int32_t x,
                                                 int32_t y)
    : host(host), windowId(windowId), x(x), y(y) {}

PluginWindowMovedAction::~PluginWindowMovedAction() = default;

void PluginWindowMovedAction::run() {
    const Ref<PluginInstance> instance = findByWindow(*host, windowId);
    if (!instance || instance->windowBusy || instance->windowHidden)
        return;
    instance->windowX = x;
    instance->windowY = y;
    instance->hasWindowPosition = true;
    const Ref<PluginHostNotification> notification(new PluginWindowMovedNotification(
        instance->instanceId, host->handler.get(), x, y, instance->windowWidth, instance->windowHeight));
    host->handler->sendNotification(*notification);
}

PluginWindowResizedAction::PluginWindowResizedAction(PluginHostContext* host, uint32_t windowId,
                                                     int32_t width, int32_t height)
    : host(host), windowId(windowId), width(width), height(height) {}

PluginWindowResizedAction::~PluginWindowResizedAction() = default;

void PluginWindowResizedAction::run() {
    if (const Ref<PluginInstance> instance = findByWindow(*host, windowId))
        instance->editorSizeChanged(0, 0, width, height);
}

PluginWindowSettledAction::PluginWindowSettledAction(PluginHostContext* host, uint32_t windowId,
                                                     uint32_t serial)
    : host(host), windowId(windowId), serial(serial) {}

PluginWindowSettledAction::~PluginWindowSettledAction() = default;

void PluginWindowSettledAction::run() {
    const Ref<PluginInstance> instance = findByWindow(*host, windowId);
    if (instance && instance->windowSerial == serial)
        instance->windowBusy = false;
}
