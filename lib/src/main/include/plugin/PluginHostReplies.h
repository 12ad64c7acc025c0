#pragma once

#include "plugin/PluginHostReply.h"
#include "plugin/PluginInstanceState.h"
#include "plugin/WireMessage.h"

class PluginInstance;

/// An instance has been made.
class CreatePluginInstanceReply : public WireMessage<CreatePluginInstanceReply, PluginHostReply> {
public:
    static constexpr int32_t type = 0;

    /// Host side: queries the instance.
    explicit CreatePluginInstanceReply(PluginInstance& instance);
    /// Client side. Throws `IOException`.
    explicit CreatePluginInstanceReply(InputStream& stream);
    ~CreatePluginInstanceReply() override;

    bool hasEditor = false;
    int32_t instanceId = -1;
    int32_t inputChannelCount = -1;
    int32_t outputChannelCount = -1;
    /// In samples.
    int32_t latency = -1;
    Ref<PluginInstanceState> state;

    static constexpr auto fields() {
        return wire::fields(
            wire::int32n("instanceId", &CreatePluginInstanceReply::instanceId),
            wire::int32n("inputChannelCount", &CreatePluginInstanceReply::inputChannelCount),
            wire::int32n("outputChannelCount", &CreatePluginInstanceReply::outputChannelCount),
            wire::int32n("latency", &CreatePluginInstanceReply::latency),
            wire::boolean("hasEditor", &CreatePluginInstanceReply::hasEditor),
            wire::record("state", &CreatePluginInstanceReply::state));
    }
};

/// The channels, latency and state of an instance as they are now.
class DefineIoReply : public WireMessage<DefineIoReply, PluginHostReply> {
public:
    static constexpr int32_t type = 3;

    explicit DefineIoReply(PluginInstance& instance);
    explicit DefineIoReply(InputStream& stream);
    ~DefineIoReply() override;

    int32_t instanceId = -1;
    int32_t inputChannelCount = -1;
    int32_t outputChannelCount = -1;
    /// In samples.
    int32_t latency = -1;
    Ref<PluginInstanceState> state;

    static constexpr auto fields() {
        return wire::fields(wire::int32n("instanceId", &DefineIoReply::instanceId),
                            wire::int32n("inputChannelCount", &DefineIoReply::inputChannelCount),
                            wire::int32n("outputChannelCount", &DefineIoReply::outputChannelCount),
                            wire::int32n("latency", &DefineIoReply::latency),
                            wire::record("state", &DefineIoReply::state));
    }
};

/// A preset was loaded or saved. Nothing on the wire: each side fills it from the request.
class PresetReply : public PluginHostReply {
public:
    PresetReply(int32_t instanceId, const String& path);
    ~PresetReply() override;

    String path;
    int32_t instanceId;

    static constexpr auto fields() { return wire::fields(); }
};

class SavePresetReply : public WireMessage<SavePresetReply, PresetReply> {
public:
    static constexpr int32_t type = 1;

    using WireMessage::WireMessage;
    ~SavePresetReply() override;
};

class LoadPresetReply : public WireMessage<LoadPresetReply, PresetReply> {
public:
    static constexpr int32_t type = 2;

    using WireMessage::WireMessage;
    ~LoadPresetReply() override;
};
