#include "plugin/ParameterInfo.h"
#include "plugin/PluginAudioBus.h"
#include "plugin/Program.h"

ParameterInfo::~ParameterInfo() = default;

Program::Program(const String& name) : name(name) {}

Program::~Program() = default;

PluginAudioBus::PluginAudioBus() = default;

PluginAudioBus::PluginAudioBus(const String& name, const std::vector<int32_t>& channels)
    : name(name), channels(channels) {}

PluginAudioBus::~PluginAudioBus() = default;
