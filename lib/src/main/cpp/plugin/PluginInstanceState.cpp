#include "plugin/PluginInstanceState.h"

#include "plugin/MutedNotifications.h"
#include "plugin/PluginInstance.h"

namespace {

using Buses = std::vector<Ref<PluginAudioBus>>;

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

void writeCount(OutputStream& stream, size_t count) {
    stream.writeNativeInt32(static_cast<int32_t>(count));
}

void writeBuses(OutputStream& stream, const Buses& buses) {
    writeCount(stream, buses.size());
    for (const Ref<PluginAudioBus>& bus : buses) {
        stream.writeString(bus->name);
        stream.writeInt32(static_cast<int32_t>(bus->channels.size()));
        for (const int32_t channel : bus->channels)
            stream.writeInt32(channel);
    }
}

// Lists grow as their entries arrive, so a count from the wire sizes nothing by itself.

void readBuses(InputStream& stream, Buses& buses) {
    const int32_t count = stream.readNativeInt32();
    for (int32_t i = 0; i < count; ++i) {
        const String name = stream.readString();
        std::vector<int32_t> channels;
        const int32_t channelCount = stream.readInt32();
        for (int32_t channel = 0; channel < channelCount; ++channel)
            channels.push_back(stream.readInt32());
        buses.emplace_back(new PluginAudioBus(name, channels));
    }
}

void writeParameter(OutputStream& stream, const ParameterInfo& info) {
    stream.writeString(info.name);
    stream.writeString(info.shortName);
    stream.writeString(info.display);
    stream.writeString(info.label);
    stream.writeString(info.category);
    writeNative(stream, info.value);
    stream.writeNativeInt32(info.id);
    stream.writeByte(info.canBeAutomated);
    stream.writeByte(info.isSwitch);
    stream.writeByte(info.usesIntegerRange);
    stream.writeNativeInt32(info.minInteger);
    stream.writeNativeInt32(info.maxInteger);
}

Ref<ParameterInfo> readParameter(InputStream& stream) {
    Ref<ParameterInfo> info(new ParameterInfo);
    info->name = stream.readString();
    info->shortName = stream.readString();
    info->display = stream.readString();
    info->label = stream.readString();
    info->category = stream.readString();
    info->value = readNative<float>(stream);
    info->id = stream.readNativeInt32();
    info->canBeAutomated = stream.readBool();
    info->isSwitch = stream.readBool();
    info->usesIntegerRange = stream.readBool();
    info->minInteger = stream.readNativeInt32();
    info->maxInteger = stream.readNativeInt32();
    return info;
}

} // namespace

PluginInstanceState::PluginInstanceState(PluginInstance& instance) {
    // The plug-in may call back while it is being questioned.
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
    readBuses(stream, inputBuses);
    readBuses(stream, outputBuses);
    const int32_t parameterCount = stream.readNativeInt32();
    for (int32_t i = 0; i < parameterCount; ++i)
        parameters.push_back(readParameter(stream));
    const int32_t programCount = stream.readNativeInt32();
    for (int32_t i = 0; i < programCount; ++i)
        programs.emplace_back(new Program(stream.readString()));
    hasNoteNames = stream.readBool();
    if (hasNoteNames) {
        for (String& name : noteNames)
            name = stream.readString();
    }
    latency = stream.readNativeInt32();
    supportsMpe = stream.readBool();
    hasMidiControllerMapping = stream.readBool();
    hasNoteOutput = stream.readBool();
}

PluginInstanceState::~PluginInstanceState() = default;

void PluginInstanceState::write(OutputStream& stream) const {
    writeBuses(stream, inputBuses);
    writeBuses(stream, outputBuses);
    writeCount(stream, parameters.size());
    for (const Ref<ParameterInfo>& parameter : parameters)
        writeParameter(stream, *parameter);
    writeCount(stream, programs.size());
    for (const Ref<Program>& program : programs)
        stream.writeString(program->name);
    stream.writeByte(hasNoteNames);
    if (hasNoteNames) {
        for (const String& name : noteNames)
            stream.writeString(name);
    }
    stream.writeNativeInt32(latency);
    stream.writeByte(supportsMpe);
    stream.writeByte(hasMidiControllerMapping);
    stream.writeByte(hasNoteOutput);
}
