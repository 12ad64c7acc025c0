#include "plugin/PluginHostNotifications.h"

#include "core/Log.h"
#include "plugin/PluginHostNotificationListener.h"
#include "plugin/PluginHostProxyHandler.h"
#include "plugin/PluginInstance.h"

namespace {

// Until it has been read.
constexpr int32_t noInstanceId = 0;

} // namespace

PluginHostNotificationListener::~PluginHostNotificationListener() = default;

PluginHostNotification::PluginHostNotification(int32_t instanceId, Object* sender)
    : instanceId(instanceId), sender(sender) {}

PluginHostNotification::~PluginHostNotification() = default;

void PluginHostNotification::run() {
    static_cast<PluginHostProxyHandler*>(sender)->sendNotification(*this);
}

void PluginHostNotification::write(OutputStream& stream) const {
    stream.writeByte(static_cast<uint8_t>(getType()));
    wire::write(stream, *this);
}

UpdateParameterNotification::UpdateParameterNotification(PluginInstance& instance,
                                                         PluginHostProxyHandler* sender,
                                                         int32_t parameterIndex, float value)
    : WireNotification(instance.instanceId, sender), instance(&instance), parameterIndex(parameterIndex),
      value(value) {}

UpdateParameterNotification::UpdateParameterNotification(InputStream& stream, Object* sender)
    : WireNotification(noInstanceId, sender) {
    wire::read(stream, *this);
}

UpdateParameterNotification::~UpdateParameterNotification() = default;

void UpdateParameterNotification::run() {
    if (instance)
        PluginHostNotification::run();
}

void UpdateParameterNotification::deliver(PluginHostNotificationListener& listener) {
    listener.onUpdateParameter(*this);
}

UpdateParameterDisplayNotification::UpdateParameterDisplayNotification(PluginInstance& instance,
                                                                       PluginHostProxyHandler* sender,
                                                                       int32_t parameterIndex,
                                                                       const String& name,
                                                                       const String& display)
    : WireNotification(instance.instanceId, sender), instance(&instance), parameterIndex(parameterIndex),
      name(name), display(display) {}

UpdateParameterDisplayNotification::UpdateParameterDisplayNotification(InputStream& stream, Object* sender)
    : WireNotification(noInstanceId, sender) {
    wire::read(stream, *this);
}

UpdateParameterDisplayNotification::~UpdateParameterDisplayNotification() = default;

void UpdateParameterDisplayNotification::run() {
    if (instance)
        PluginHostNotification::run();
}

void UpdateParameterDisplayNotification::deliver(PluginHostNotificationListener& listener) {
    listener.onUpdateParameterDisplay(*this);
}

UpdateAllParametersNotification::UpdateAllParametersNotification(PluginInstance& instance,
                                                                 PluginHostProxyHandler* sender)
    : WireNotification(instance.instanceId, sender), instance(&instance) {}

UpdateAllParametersNotification::UpdateAllParametersNotification(InputStream& stream, Object* sender)
    : WireNotification(noInstanceId, sender) {
    wire::read(stream, *this);
}

UpdateAllParametersNotification::~UpdateAllParametersNotification() = default;

void UpdateAllParametersNotification::run() {
    if (instance->closing)
        return;
    try {
        state = new PluginInstanceState(*instance);
    } catch (const IOException& exception) {
        // Logged only: the parameters have changed, even if a text of theirs can't be sent.
        base::core::logError("Couldn't tell the client of all parameters of plugin instance ", instanceId,
                             ": ", exception.getMessage());
        return;
    }
    PluginHostNotification::run();
}

void UpdateAllParametersNotification::deliver(PluginHostNotificationListener& listener) {
    listener.onUpdateAllParameters(*this);
}

BeginOrEndEditParameterNotification::BeginOrEndEditParameterNotification(int32_t instanceId,
                                                                         PluginHostProxyHandler* sender,
                                                                         int32_t parameterIndex, bool isBegin)
    : WireNotification(instanceId, sender), parameterIndex(parameterIndex), isBegin(isBegin) {}

BeginOrEndEditParameterNotification::BeginOrEndEditParameterNotification(InputStream& stream, Object* sender)
    : WireNotification(noInstanceId, sender) {
    wire::read(stream, *this);
}

BeginOrEndEditParameterNotification::~BeginOrEndEditParameterNotification() = default;

void BeginOrEndEditParameterNotification::deliver(PluginHostNotificationListener& listener) {
    listener.onBeginOrEndEditParameter(*this);
}

PluginWindowClosedNotification::PluginWindowClosedNotification(int32_t instanceId, Object* sender)
    : WireNotification(instanceId, sender) {}

PluginWindowClosedNotification::PluginWindowClosedNotification(InputStream& stream, Object* sender)
    : WireNotification(noInstanceId, sender) {
    wire::read(stream, *this);
}

PluginWindowClosedNotification::~PluginWindowClosedNotification() = default;

void PluginWindowClosedNotification::deliver(PluginHostNotificationListener& listener) {
    listener.onPluginWindowClosed(*this);
}

PluginWindowMovedNotification::PluginWindowMovedNotification(int32_t instanceId,
                                                             PluginHostProxyHandler* sender, int32_t x,
                                                             int32_t y, int32_t width, int32_t height)
    : WireNotification(instanceId, sender), x(x), y(y), width(width), height(height) {}

PluginWindowMovedNotification::PluginWindowMovedNotification(InputStream& stream, Object* sender)
    : WireNotification(noInstanceId, sender) {
    wire::read(stream, *this);
}

PluginWindowMovedNotification::~PluginWindowMovedNotification() = default;

void PluginWindowMovedNotification::deliver(PluginHostNotificationListener& listener) {
    listener.onPluginWindowMoved(*this);
}
