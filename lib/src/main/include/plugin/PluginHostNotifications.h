#pragma once

#include "plugin/PluginHostNotification.h"
#include "plugin/PluginInstanceState.h"

class PluginHostProxyHandler;
class PluginInstance;

/// The type bytes of notifications.
enum class NotificationType : uint8_t {
    updateParameter = 0,
    updateParameterDisplay = 1,
    updateAllParameters = 2,
    beginOrEndEditParameter = 3,
    pluginWindowClosed = 4,
    pluginWindowMoved = 5,
};

/// Client side: reads a notification from its type byte on. Null for a type that doesn't exist, of which only
/// the byte has then been read. Throws `IOException`.
Ref<PluginHostNotification> readNotification(InputStream& stream, Object* sender);

/// The plug-in changed a value itself. Further payload: `int32n` parameterIndex, `float` value.
class UpdateParameterNotification : public PluginHostNotification {
public:
    UpdateParameterNotification(PluginInstance& instance, PluginHostProxyHandler* sender,
                                int32_t parameterIndex, float value);
    UpdateParameterNotification(InputStream& stream, int32_t instanceId, Object* sender);
    ~UpdateParameterNotification() override;

    void run() override;
    int32_t getType() const override;
    void write(OutputStream& stream) const override;
    void deliver(PluginHostNotificationListener& listener) override;

    /// Null on the client.
    Ref<PluginInstance> instance;
    int32_t parameterIndex;
    /// Normalised.
    float value;
};

/// A parameter's texts are new. Further payload: `int32n` parameterIndex, `string` name, `string` display.
class UpdateParameterDisplayNotification : public PluginHostNotification {
public:
    UpdateParameterDisplayNotification(PluginInstance& instance, PluginHostProxyHandler* sender,
                                       int32_t parameterIndex, const String& name, const String& display);
    UpdateParameterDisplayNotification(InputStream& stream, int32_t instanceId, Object* sender);
    ~UpdateParameterDisplayNotification() override;

    void run() override;
    int32_t getType() const override;
    void write(OutputStream& stream) const override;
    void deliver(PluginHostNotificationListener& listener) override;

    /// Null on the client.
    Ref<PluginInstance> instance;
    int32_t parameterIndex;
    String name;
    String display;
};

/// Much has changed. Further payload: the `PluginInstanceState`, which is taken when the notification runs,
/// so that it shows the plug-in as it is when it is sent.
class UpdateAllParametersNotification : public PluginHostNotification {
public:
    UpdateAllParametersNotification(PluginInstance& instance, PluginHostProxyHandler* sender);
    UpdateAllParametersNotification(InputStream& stream, int32_t instanceId, Object* sender);
    ~UpdateAllParametersNotification() override;

    /// Dropped if the instance has been terminated meanwhile, and with a line in the log if a text of the
    /// plug-in can't be read.
    void run() override;
    int32_t getType() const override;
    void write(OutputStream& stream) const override;
    void deliver(PluginHostNotificationListener& listener) override;

    /// Null on the client.
    Ref<PluginInstance> instance;
    /// Null on the host until it runs.
    Ref<PluginInstanceState> state;
};

/// The user took hold of a control in the editor, or let go of it. Further payload: `int32n` parameterIndex,
/// `bool` isBegin.
class BeginOrEndEditParameterNotification : public PluginHostNotification {
public:
    BeginOrEndEditParameterNotification(int32_t instanceId, PluginHostProxyHandler* sender,
                                        int32_t parameterIndex, bool isBegin);
    BeginOrEndEditParameterNotification(InputStream& stream, int32_t instanceId, Object* sender);
    ~BeginOrEndEditParameterNotification() override;

    int32_t getType() const override;
    void write(OutputStream& stream) const override;
    void deliver(PluginHostNotificationListener& listener) override;

    int32_t parameterIndex;
    bool isBegin;
};

/// The editor's window is gone. No further payload.
class PluginWindowClosedNotification : public PluginHostNotification {
public:
    PluginWindowClosedNotification(int32_t instanceId, Object* sender);
    ~PluginWindowClosedNotification() override;

    int32_t getType() const override;
    void deliver(PluginHostNotificationListener& listener) override;
};

/// The editor's window has a new place or size, in pixels of the screen. Further payload: `int32b` x, y,
/// width and height.
class PluginWindowMovedNotification : public PluginHostNotification {
public:
    PluginWindowMovedNotification(int32_t instanceId, PluginHostProxyHandler* sender, int32_t x, int32_t y,
                                  int32_t width, int32_t height);
    PluginWindowMovedNotification(InputStream& stream, int32_t instanceId, Object* sender);
    ~PluginWindowMovedNotification() override;

    int32_t getType() const override;
    void write(OutputStream& stream) const override;
    void deliver(PluginHostNotificationListener& listener) override;

    int32_t x;
    int32_t y;
    int32_t width;
    int32_t height;
};
