#pragma once

#include "plugin/PluginHostReply.h"
#include "plugin/PluginInstanceState.h"

class PluginInstance;

enum class ReplyType : int32_t { createPluginInstance = 0, savePreset = 1, loadPreset = 2, defineIo = 3 };

/// An instance is up. On the wire: `int32n` instanceId, inputChannelCount, outputChannelCount and latency,
/// `bool` hasEditor, then the `PluginInstanceState`.
class CreatePluginInstanceReply : public PluginHostReply {
public:
    /// Host side: questions the instance.
    explicit CreatePluginInstanceReply(PluginInstance& instance);
    /// Client side. Throws `IOException`.
    explicit CreatePluginInstanceReply(InputStream& stream);
    ~CreatePluginInstanceReply() override;

    int32_t getType() const override;
    void write(OutputStream& stream) const override;

    bool hasEditor = false;
    int32_t instanceId = -1;
    int32_t inputChannelCount = -1;
    int32_t outputChannelCount = -1;
    /// In samples.
    int32_t latency = -1;
    Ref<PluginInstanceState> state;
};

/// The channels, latency and state of an instance as they are now. On the wire: `int32n` instanceId,
/// inputChannelCount, outputChannelCount and latency, then the `PluginInstanceState`.
class DefineIoReply : public PluginHostReply {
public:
    explicit DefineIoReply(PluginInstance& instance);
    explicit DefineIoReply(InputStream& stream);
    ~DefineIoReply() override;

    int32_t getType() const override;
    void write(OutputStream& stream) const override;

    int32_t instanceId = -1;
    int32_t inputChannelCount = -1;
    int32_t outputChannelCount = -1;
    /// In samples.
    int32_t latency = -1;
    Ref<PluginInstanceState> state;
};

/// A preset was loaded or saved. Nothing on the wire: each side fills it from the request.
class PresetReply : public PluginHostReply {
public:
    PresetReply(int32_t instanceId, const String& path);
    ~PresetReply() override;

    void write(OutputStream& stream) const override;

    String path;
    int32_t instanceId;
};

class SavePresetReply : public PresetReply {
public:
    using PresetReply::PresetReply;
    ~SavePresetReply() override;
    int32_t getType() const override;
};

class LoadPresetReply : public PresetReply {
public:
    using PresetReply::PresetReply;
    ~LoadPresetReply() override;
    int32_t getType() const override;
};
