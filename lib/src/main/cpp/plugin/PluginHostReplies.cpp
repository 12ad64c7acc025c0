#include "plugin/PluginHostReplies.h"

#include "plugin/PluginInstance.h"

PluginHostReply::~PluginHostReply() = default;

CreatePluginInstanceReply::CreatePluginInstanceReply(PluginInstance& instance)
    : hasEditor(instance.hasEditor()), instanceId(instance.instanceId),
      inputChannelCount(instance.getInputChannelCount()),
      outputChannelCount(instance.getOutputChannelCount()), latency(instance.getLatency()),
      state(new PluginInstanceState(instance)) {}

CreatePluginInstanceReply::CreatePluginInstanceReply(InputStream& stream) {
    instanceId = stream.readNativeInt32();
    inputChannelCount = stream.readNativeInt32();
    outputChannelCount = stream.readNativeInt32();
    latency = stream.readNativeInt32();
    hasEditor = stream.readBool();
    state = new PluginInstanceState(stream);
}

CreatePluginInstanceReply::~CreatePluginInstanceReply() = default;

int32_t CreatePluginInstanceReply::getType() const {
    return static_cast<int32_t>(ReplyType::createPluginInstance);
}

void CreatePluginInstanceReply::write(OutputStream& stream) const {
    stream.writeNativeInt32(instanceId);
    stream.writeNativeInt32(inputChannelCount);
    stream.writeNativeInt32(outputChannelCount);
    stream.writeNativeInt32(latency);
    stream.writeByte(hasEditor);
    state->write(stream);
}

DefineIoReply::DefineIoReply(PluginInstance& instance)
    : instanceId(instance.instanceId), inputChannelCount(instance.getInputChannelCount()),
      outputChannelCount(instance.getOutputChannelCount()), latency(instance.getLatency()),
      state(new PluginInstanceState(instance)) {}

DefineIoReply::DefineIoReply(InputStream& stream) {
    instanceId = stream.readNativeInt32();
    inputChannelCount = stream.readNativeInt32();
    outputChannelCount = stream.readNativeInt32();
    latency = stream.readNativeInt32();
    state = new PluginInstanceState(stream);
}

DefineIoReply::~DefineIoReply() = default;

int32_t DefineIoReply::getType() const {
    return static_cast<int32_t>(ReplyType::defineIo);
}

void DefineIoReply::write(OutputStream& stream) const {
    stream.writeNativeInt32(instanceId);
    stream.writeNativeInt32(inputChannelCount);
    stream.writeNativeInt32(outputChannelCount);
    stream.writeNativeInt32(latency);
    state->write(stream);
}

PresetReply::PresetReply(int32_t instanceId, const String& path) : path(path), instanceId(instanceId) {}

PresetReply::~PresetReply() = default;

void PresetReply::write(OutputStream&) const {}

SavePresetReply::~SavePresetReply() = default;

int32_t SavePresetReply::getType() const {
    return static_cast<int32_t>(ReplyType::savePreset);
}

LoadPresetReply::~LoadPresetReply() = default;

int32_t LoadPresetReply::getType() const {
    return static_cast<int32_t>(ReplyType::loadPreset);
}
