#include "library/Description.h"

#include <algorithm>
#include <deque>
#include <memory>
#include <string>
#include <vector>

namespace client_library {
namespace {

/// A description with all that it points to.
class OwnedDescription : public plugin_host_description {
public:
    explicit OwnedDescription(const DescribedPlugin& plugin);

private:
    void addTexts(const DescribedPlugin& plugin);
    void addContent(const PluginInstanceState& content);
    const plugin_host_parameter* add(const ParameterInfo& info);
    const plugin_host_bus* add(const PluginAudioBus& bus);
    const char* keep(const String& text) { return keep(text.toStdString()); }
    const char* keep(std::string text) { return texts.emplace_back(std::move(text)).c_str(); }

    // Elements of a deque stay where they are.
    std::deque<std::string> texts;
    std::deque<std::vector<int32_t>> channelLists;
    std::deque<plugin_host_parameter> ownParameters;
    std::deque<plugin_host_bus> ownBuses;
    std::vector<const plugin_host_parameter*> parameterList;
    std::vector<const plugin_host_bus*> inputBusList;
    std::vector<const plugin_host_bus*> outputBusList;
    std::vector<const char*> programList;
    std::vector<const char*> noteNameList;
};

OwnedDescription::OwnedDescription(const DescribedPlugin& plugin) : plugin_host_description{} {
    size = sizeof(plugin_host_description);
    addTexts(plugin);
    if (plugin.hasEditor)
        flags |= PLUGIN_HOST_HAS_EDITOR;
    input_channel_count = static_cast<size_t>(std::max(plugin.inputChannelCount, 0));
    output_channel_count = static_cast<size_t>(std::max(plugin.outputChannelCount, 0));
    latency = plugin.latency;
    addContent(plugin.content);
}

void OwnedDescription::addTexts(const DescribedPlugin& plugin) {
    const Identity& identity = plugin.identity;
    name = keep(identity.name);
    vendor = keep(identity.vendor);
    version = keep(identity.version);
    category = keep(identity.category);
    identifier = identity.isKnown ? keep(identity.identifier) : keep(plugin.identifier);
    path = keep(plugin.path);
    format = String::endsWith(plugin.path, "vst3") ? PLUGIN_HOST_VST3 : PLUGIN_HOST_VST2;
    if (identity.isKnown)
        flags |= PLUGIN_HOST_IS_IDENTIFIED;
    if (identity.hasNoteInput)
        flags |= PLUGIN_HOST_NOTE_INPUT;
}

void OwnedDescription::addContent(const PluginInstanceState& content) {
    if (content.hasNoteOutput)
        flags |= PLUGIN_HOST_NOTE_OUTPUT;
    if (content.supportsMpe)
        flags |= PLUGIN_HOST_SUPPORTS_MPE;
    if (content.hasMidiControllerMapping)
        flags |= PLUGIN_HOST_MAPS_MIDI_CONTROLLERS;
    for (const Ref<ParameterInfo>& info : content.parameters)
        parameterList.push_back(add(*info));
    for (const Ref<PluginAudioBus>& bus : content.inputBuses)
        inputBusList.push_back(add(*bus));
    for (const Ref<PluginAudioBus>& bus : content.outputBuses)
        outputBusList.push_back(add(*bus));
    for (const Ref<Program>& program : content.programs)
        programList.push_back(keep(program->name));
    if (content.hasNoteNames) {
        for (const String& note : content.noteNames)
            noteNameList.push_back(keep(note));
        note_names = noteNameList.data();
    }
    parameters = parameterList.data();
    parameter_count = parameterList.size();
    input_buses = inputBusList.data();
    input_bus_count = inputBusList.size();
    output_buses = outputBusList.data();
    output_bus_count = outputBusList.size();
    programs = programList.data();
    program_count = programList.size();
}

const plugin_host_parameter* OwnedDescription::add(const ParameterInfo& info) {
    plugin_host_parameter& parameter = ownParameters.emplace_back();
    parameter.size = sizeof parameter;
    parameter.name = keep(info.name);
    parameter.short_name = keep(info.shortName);
    parameter.text = keep(info.display);
    parameter.unit = keep(info.label);
    parameter.group = keep(info.category);
    parameter.value = info.value;
    parameter.id = info.id;
    parameter.flags = (info.canBeAutomated ? PLUGIN_HOST_PARAMETER_AUTOMATABLE : 0) |
                      (info.isSwitch ? PLUGIN_HOST_PARAMETER_SWITCH : 0) |
                      (info.usesIntegerRange ? PLUGIN_HOST_PARAMETER_INTEGER : 0);
    parameter.minimum = info.minInteger;
    parameter.maximum = info.maxInteger;
    return &parameter;
}

const plugin_host_bus* OwnedDescription::add(const PluginAudioBus& bus) {
    plugin_host_bus& own = ownBuses.emplace_back();
    own.size = sizeof own;
    own.name = keep(bus.name);
    own.channels = channelLists.emplace_back(bus.channels).data();
    own.channel_count = bus.channels.size();
    return &own;
}

} // namespace

const plugin_host_description* makeDescription(const DescribedPlugin& plugin) {
    return new OwnedDescription(plugin);
}

void freeDescription(const plugin_host_description* description) {
    delete static_cast<const OwnedDescription*>(description);
}

} // namespace client_library
