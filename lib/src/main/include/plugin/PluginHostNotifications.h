#pragma once

#include "plugin/PluginHostNotification.h"
#include "plugin/PluginInstanceState.h"
#include "plugin/WireMessage.h"

class PluginHostProxyHandler;
class PluginInstance;

/// The wire form of a notification: the type byte from `Notification::type`, the payload from the list
/// `Notification::fields()`. `PluginHostNotificationKinds`, at the end of this file, lists all classes.
template <class Notification>
class WireNotification : public PluginHostNotification {
public:
    using PluginHostNotification::PluginHostNotification;

    int32_t getType() const override { return Notification::type; }
    void write(OutputStream& stream) const override {
        stream.writeByte(Notification::type);
        wire::write(stream, static_cast<const Notification&>(*this));
    }
};

/// The plug-in changed a value itself.
class UpdateParameterNotification : public WireNotification<UpdateParameterNotification> {
public:
    static constexpr uint8_t type = 0;

    UpdateParameterNotification(PluginInstance& instance, PluginHostProxyHandler* sender,
                                int32_t parameterIndex, float value);
    UpdateParameterNotification(InputStream& stream, Object* sender);
    ~UpdateParameterNotification() override;

    void run() override;
    void deliver(PluginHostNotificationListener& listener) override;

    /// Null on the client.
    Ref<PluginInstance> instance;
    int32_t parameterIndex = 0;
    /// Normalised.
    float value = 0;

    static constexpr auto fields() {
        return wire::extend(PluginHostNotification::fields(),
                            wire::int32n("parameterIndex", &UpdateParameterNotification::parameterIndex),
                            wire::number("value", &UpdateParameterNotification::value));
    }
};

/// A parameter's texts have changed.
class UpdateParameterDisplayNotification : public WireNotification<UpdateParameterDisplayNotification> {
public:
    static constexpr uint8_t type = 1;

    UpdateParameterDisplayNotification(PluginInstance& instance, PluginHostProxyHandler* sender,
                                       int32_t parameterIndex, const String& name, const String& display);
    UpdateParameterDisplayNotification(InputStream& stream, Object* sender);
    ~UpdateParameterDisplayNotification() override;

    void run() override;
    void deliver(PluginHostNotificationListener& listener) override;

    /// Null on the client.
    Ref<PluginInstance> instance;
    int32_t parameterIndex = 0;
    String name;
    String display;

    static constexpr auto fields() {
        return wire::extend(
            PluginHostNotification::fields(),
            wire::int32n("parameterIndex", &UpdateParameterDisplayNotification::parameterIndex),
            wire::string("name", &UpdateParameterDisplayNotification::name),
            wire::string("display", &UpdateParameterDisplayNotification::display));
    }
};

/// Everything may have changed. The state is read when the notification runs, so that it is current when it
/// is sent.
class UpdateAllParametersNotification : public WireNotification<UpdateAllParametersNotification> {
public:
    static constexpr uint8_t type = 2;

    UpdateAllParametersNotification(PluginInstance& instance, PluginHostProxyHandler* sender);
    UpdateAllParametersNotification(InputStream& stream, Object* sender);
    ~UpdateAllParametersNotification() override;

    /// Dropped if the instance has been terminated meanwhile; dropped and logged if a text of the plug-in
    /// can't be read.
    void run() override;
    void deliver(PluginHostNotificationListener& listener) override;

    /// Null on the client.
    Ref<PluginInstance> instance;
    /// Null on the host until it runs.
    Ref<PluginInstanceState> state;

    static constexpr auto fields() {
        return wire::extend(PluginHostNotification::fields(),
                            wire::record("state", &UpdateAllParametersNotification::state));
    }
};

/// The user has begun or ended an edit of a control in the editor.
class BeginOrEndEditParameterNotification : public WireNotification<BeginOrEndEditParameterNotification> {
public:
    static constexpr uint8_t type = 3;

    BeginOrEndEditParameterNotification(int32_t instanceId, PluginHostProxyHandler* sender,
                                        int32_t parameterIndex, bool isBegin);
    BeginOrEndEditParameterNotification(InputStream& stream, Object* sender);
    ~BeginOrEndEditParameterNotification() override;

    void deliver(PluginHostNotificationListener& listener) override;

    int32_t parameterIndex = 0;
    bool isBegin = false;

    static constexpr auto fields() {
        return wire::extend(
            PluginHostNotification::fields(),
            wire::int32n("parameterIndex", &BeginOrEndEditParameterNotification::parameterIndex),
            wire::boolean("isBegin", &BeginOrEndEditParameterNotification::isBegin));
    }
};

/// The editor's window is gone.
class PluginWindowClosedNotification : public WireNotification<PluginWindowClosedNotification> {
public:
    static constexpr uint8_t type = 4;

    PluginWindowClosedNotification(int32_t instanceId, Object* sender);
    PluginWindowClosedNotification(InputStream& stream, Object* sender);
    ~PluginWindowClosedNotification() override;

    void deliver(PluginHostNotificationListener& listener) override;
};

/// The editor's window has a new place or size, in pixels of the screen. Oddity big-endian-fields: all four
/// numbers are big-endian.
class PluginWindowMovedNotification : public WireNotification<PluginWindowMovedNotification> {
public:
    static constexpr uint8_t type = 5;

    PluginWindowMovedNotification(int32_t instanceId, PluginHostProxyHandler* sender, int32_t x, int32_t y,
                                  int32_t width, int32_t height);
    PluginWindowMovedNotification(InputStream& stream, Object* sender);
    ~PluginWindowMovedNotification() override;

    void deliver(PluginHostNotificationListener& listener) override;

    int32_t x = 0;
    int32_t y = 0;
    int32_t width = 0;
    int32_t height = 0;

    static constexpr auto fields() {
        return wire::extend(PluginHostNotification::fields(),
                            wire::int32b("x", &PluginWindowMovedNotification::x),
                            wire::int32b("y", &PluginWindowMovedNotification::y),
                            wire::int32b("width", &PluginWindowMovedNotification::width),
                            wire::int32b("height", &PluginWindowMovedNotification::height));
    }
};

/// All notifications, in the order of their types.
using PluginHostNotificationKinds =
    WireFamily<UpdateParameterNotification, UpdateParameterDisplayNotification,
               UpdateAllParametersNotification, BeginOrEndEditParameterNotification,
               PluginWindowClosedNotification, PluginWindowMovedNotification>;

static_assert(PluginHostNotificationKinds::isInOrder());
