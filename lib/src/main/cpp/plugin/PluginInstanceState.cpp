#include "plugin/PluginInstanceState.h"

#include "plugin/MutedNotifications.h"
#include "plugin/PluginInstance.h"
#include "plugin/PluginText.h"

namespace {

Ref<ParameterInfo> questionParameter(PluginInstance& instance, int32_t index) {
    Ref<ParameterInfo> info(new ParameterInfo);
    constexpr int32_t size = PluginInstance::textSize;
    char name[size] = {};
    instance.getParameterName(index, name, size);
    info->name = pluginText(name, size);
    char label[size] = {};
    instance.getParameterLabel(index, label, size);
    info->label = pluginText(label, size);
    info->value = instance.getParameterValue(index);
    char display[size] = {};
    instance.getParameterDisplay(index, display, size);
    info->display = pluginText(display, size);

    ParameterProperties properties;
    instance.getParameterProperties(index, properties);
    info->canBeAutomated = properties.canBeAutomated;
    info->isSwitch = properties.isSwitch;
    info->usesIntegerRange = properties.usesIntegerRange;
    info->id = properties.id;
    info->minInteger = properties.minInteger;
    info->maxInteger = properties.maxInteger;
    info->category = properties.category;
    info->shortName = properties.shortName;
    return info;
}

} // namespace

PluginInstanceState::PluginInstanceState() = default;

PluginInstanceState::PluginInstanceState(PluginInstance& instance) {
    // The plug-in may call back during these queries.
    const MutedNotifications muted(instance);
    inputBuses = instance.getInputBuses();
    outputBuses = instance.getOutputBuses();
    const int32_t parameterCount = instance.getParameterCount();
    for (int32_t i = 0; i < parameterCount; ++i)
        parameters.push_back(questionParameter(instance, i));
    const int32_t programCount = instance.getProgramCount();
    for (int32_t i = 0; i < programCount; ++i)
        programs.emplace_back(new Program(instance.programNameText(i)));
    for (size_t note = 0; note < noteCount; ++note) {
        noteNames[note] = instance.getNoteName(static_cast<int32_t>(note));
        hasNoteNames = hasNoteNames || !noteNames[note].isEmpty();
    }
    latency = instance.getLatency();
    supportsMpe = instance.supportsMpe();
    hasMidiControllerMapping = instance.hasMidiControllerMapping();
    hasNoteOutput = instance.hasNoteOutput();
}

PluginInstanceState::PluginInstanceState(InputStream& stream) {
    wire::read(stream, *this);
}

PluginInstanceState::~PluginInstanceState() = default;

void PluginInstanceState::write(OutputStream& stream) const {
    wire::write(stream, *this);
}
