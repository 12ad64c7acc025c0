#include "plugin/PluginHostNotifications.h"

#include "core/Log.h"
#include "plugin/PluginHostNotificationListener.h"
#include "plugin/PluginHostProxyHandler.h"
#include "plugin/PluginInstance.h"

namespace {

template <class Notification>
Ref<PluginHostNotification> readAs(InputStream& stream, Object* sender) {
    const int32_t instanceId = stream.readNativeInt32();
    return new Notification(stream, instanceId, sender);
}

} // namespace

Ref<PluginHostNotification> readNotification(InputStream& stream, Object* sender) {
    switch (static_cast<NotificationType>(stream.readByte())) {
    case NotificationType::updateParameter:
        return readAs<UpdateParameterNotification>(stream, sender);
    case NotificationType::updateParameterDisplay:
        return readAs<UpdateParameterDisplayNotification>(stream, sender);
    case NotificationType::updateAllParameters:
        return readAs<UpdateAllParametersNotification>(stream, sender);
    case NotificationType::beginOrEndEditParameter:
        return readAs<BeginOrEndEditParameterNotification>(stream, sender);
    case NotificationType::pluginWindowClosed:
        return new PluginWindowClosedNotification(stream.readNativeInt32(), sender);
    case NotificationType::pluginWindowMoved:
        return readAs<PluginWindowMovedNotification>(stream, sender);
    }
    return nullptr;
}

PluginHostNotificationListener::~PluginHostNotificationListener() = default;

PluginHostNotification::PluginHostNotification(int32_t instanceId, Object* sender)
    : instanceId(instanceId), sender(sender) {}

PluginHostNotification::~PluginHostNotification() = default;

void PluginHostNotification::run() {
    static_cast<PluginHostProxyHandler*>(sender)->sendNotification(*this);
}

void PluginHostNotification::write(OutputStream& stream) const {
    stream.writeByte(static_cast<uint8_t>(getType()));
    stream.writeNativeInt32(instanceId);
}

UpdateParameterNotification::UpdateParameterNotification(PluginInstance& instance,
                                                         PluginHostProxyHandler* sender,
                                                         int32_t parameterIndex, float value)
    : PluginHostNotification(instance.instanceId, sender), instance(&instance),
      parameterIndex(parameterIndex), value(value) {}

UpdateParameterNotification::UpdateParameterNotification(InputStream& stream, int32_t instanceId,
                                                         Object* sender)
    : PluginHostNotification(instanceId, sender), parameterIndex(stream.readNativeInt32()),
      value(readNative<float>(stream)) {}

UpdateParameterNotification::~UpdateParameterNotification() = default;

void UpdateParameterNotification::run() {
    if (instance)
        PluginHostNotification::run();
}

int32_t UpdateParameterNotification::getType() const {
    return static_cast<int32_t>(NotificationType::updateParameter);
}

void UpdateParameterNotification::write(OutputStream& stream) const {
    PluginHostNotification::write(stream);
    stream.writeNativeInt32(parameterIndex);
    writeNative(stream, value);
}

void UpdateParameterNotification::deliver(PluginHostNotificationListener& listener) {
    listener.onUpdateParameter(*this);
}

UpdateParameterDisplayNotification::UpdateParameterDisplayNotification(PluginInstance& instance,
                                                                       PluginHostProxyHandler* sender,
                                                                       int32_t parameterIndex,
                                                                       const String& name,
                                                                       const String& display)
    : PluginHostNotification(instance.instanceId, sender), instance(&instance),
      parameterIndex(parameterIndex), name(name), display(display) {}

UpdateParameterDisplayNotification::UpdateParameterDisplayNotification(InputStream& stream,
                                                                       int32_t instanceId, Object* sender)
    : PluginHostNotification(instanceId, sender), parameterIndex(stream.readNativeInt32()),
      name(stream.readString()), display(stream.readString()) {}

UpdateParameterDisplayNotification::~UpdateParameterDisplayNotification() = default;

void UpdateParameterDisplayNotification::run() {
    if (instance)
        PluginHostNotification::run();
}

int32_t UpdateParameterDisplayNotification::getType() const {
    return static_cast<int32_t>(NotificationType::updateParameterDisplay);
}

void UpdateParameterDisplayNotification::write(OutputStream& stream) const {
    PluginHostNotification::write(stream);
    stream.writeNativeInt32(parameterIndex);
    stream.writeString(name);
    stream.writeString(display);
}

void UpdateParameterDisplayNotification::deliver(PluginHostNotificationListener& listener) {
    listener.onUpdateParameterDisplay(*this);
}

UpdateAllParametersNotification::UpdateAllParametersNotification(PluginInstance& instance,
                                                                 PluginHostProxyHandler* sender)
    : PluginHostNotification(instance.instanceId, sender), instance(&instance) {}

UpdateAllParametersNotification::UpdateAllParametersNotification(InputStream& stream, int32_t instanceId,
                                                                 Object* sender)
    : PluginHostNotification(instanceId, sender), state(new PluginInstanceState(stream)) {}

UpdateAllParametersNotification::~UpdateAllParametersNotification() = default;

void UpdateAllParametersNotification::run() {
    if (instance->closing)
        return;
    try {
        state = new PluginInstanceState(*instance);
    } catch (const IOException& exception) {
        // What changed has changed: a text that can't be sent is no failure of it.
        base::core::logError("Couldn't tell the client of all parameters of plugin instance ", instanceId,
                             ": ", exception.getMessage());
        return;
    }
    PluginHostNotification::run();
}

int32_t UpdateAllParametersNotification::getType() const {
    return static_cast<int32_t>(NotificationType::updateAllParameters);
}

void UpdateAllParametersNotification::write(OutputStream& stream) const {
    PluginHostNotification::write(stream);
    state->write(stream);
}

void UpdateAllParametersNotification::deliver(PluginHostNotificationListener& listener) {
    listener.onUpdateAllParameters(*this);
}

BeginOrEndEditParameterNotification::BeginOrEndEditParameterNotification(int32_t instanceId,
                                                                         PluginHostProxyHandler* sender,
                                                                         int32_t parameterIndex, bool isBegin)
    : PluginHostNotification(instanceId, sender), parameterIndex(parameterIndex), isBegin(isBegin) {}

BeginOrEndEditParameterNotification::BeginOrEndEditParameterNotification(InputStream& stream,
                                                                         int32_t instanceId, Object* sender)
    : PluginHostNotification(instanceId, sender), parameterIndex(stream.readNativeInt32()),
      isBegin(stream.readBool()) {}

BeginOrEndEditParameterNotification::~BeginOrEndEditParameterNotification() = default;

int32_t BeginOrEndEditParameterNotification::getType() const {
    return static_cast<int32_t>(NotificationType::beginOrEndEditParameter);
}

void BeginOrEndEditParameterNotification::write(OutputStream& stream) const {
    PluginHostNotification::write(stream);
    stream.writeNativeInt32(parameterIndex);
    stream.writeByte(isBegin);
}

void BeginOrEndEditParameterNotification::deliver(PluginHostNotificationListener& listener) {
    listener.onBeginOrEndEditParameter(*this);
}

PluginWindowClosedNotification::PluginWindowClosedNotification(int32_t instanceId, Object* sender)
    : PluginHostNotification(instanceId, sender) {}

PluginWindowClosedNotification::~PluginWindowClosedNotification() = default;

int32_t PluginWindowClosedNotification::getType() const {
    return static_cast<int32_t>(NotificationType::pluginWindowClosed);
}

void PluginWindowClosedNotification::deliver(PluginHostNotificationListener& listener) {
    listener.onPluginWindowClosed(*this);
}

PluginWindowMovedNotification::PluginWindowMovedNotification(int32_t instanceId,
                                                             PluginHostProxyHandler* sender, int32_t x,
                                                             int32_t y, int32_t width, int32_t height)
    : PluginHostNotification(instanceId, sender), x(x), y(y), width(width), height(height) {}

PluginWindowMovedNotification::PluginWindowMovedNotification(InputStream& stream, int32_t instanceId,
                                                             Object* sender)
    : PluginHostNotification(instanceId, sender), x(stream.readInt32()), y(stream.readInt32()),
      width(stream.readInt32()), height(stream.readInt32()) {}

PluginWindowMovedNotification::~PluginWindowMovedNotification() = default;

int32_t PluginWindowMovedNotification::getType() const {
    return static_cast<int32_t>(NotificationType::pluginWindowMoved);
}

void PluginWindowMovedNotification::write(OutputStream& stream) const {
    PluginHostNotification::write(stream);
    stream.writeInt32(x);
    stream.writeInt32(y);
    stream.writeInt32(width);
    stream.writeInt32(height);
}

void PluginWindowMovedNotification::deliver(PluginHostNotificationListener& listener) {
    listener.onPluginWindowMoved(*this);
}
