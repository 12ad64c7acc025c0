#include "plugin/PluginHostReplies.h"

#include "plugin/PluginInstance.h"

PluginHostReply::~PluginHostReply() = default;

CreatePluginInstanceReply::CreatePluginInstanceReply(PluginInstance& instance)
    : hasEditor(instance.hasEditor()), instanceId(instance.instanceId),
      inputChannelCount(instance.getInputChannelCount()),
      outputChannelCount(instance.getOutputChannelCount()), latency(instance.getLatency()),
      state(new PluginInstanceState(instance)) {}

CreatePluginInstanceReply::CreatePluginInstanceReply(InputStream& stream) {
    wire::read(stream, *this);
}

CreatePluginInstanceReply::~CreatePluginInstanceReply() = default;

DefineIoReply::DefineIoReply(PluginInstance& instance)
    : instanceId(instance.instanceId), inputChannelCount(instance.getInputChannelCount()),
      outputChannelCount(instance.getOutputChannelCount()), latency(instance.getLatency()),
      state(new PluginInstanceState(instance)) {}

DefineIoReply::DefineIoReply(InputStream& stream) {
    wire::read(stream, *this);
}

DefineIoReply::~DefineIoReply() = default;

PresetReply::PresetReply(int32_t instanceId, const String& path) : path(path), instanceId(instanceId) {}

PresetReply::~PresetReply() = default;

SavePresetReply::~SavePresetReply() = default;

LoadPresetReply::~LoadPresetReply() = default;
