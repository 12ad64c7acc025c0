// The part of `Vst3PluginInstance` that answers for parameters, programs and identity.

#include "core/Log.h"
#include "vst3/Vst3Plugin.h"
#include "vst3/Vst3PluginInstance.h"
#include "vst3/Vst3Text.h"

namespace {

constexpr int32_t noParameter = -1;

template <size_t size>
String fixedText(const Steinberg::char8 (&text)[size]) {
    return pluginText(text, size);
}

} // namespace

bool Vst3PluginInstance::readParameter(int32_t index, Vst::ParameterInfo& info) const {
    info = {};
    return controller && controller->getParameterInfo(index, info) == kResultOk;
}

int32_t Vst3PluginInstance::getParameterCount() {
    return controller ? controller->getParameterCount() : 0;
}

void Vst3PluginInstance::getParameterName(int32_t index, char* buffer, int32_t size) {
    if (Vst::ParameterInfo info; readParameter(index, info))
        copyPluginText(info.title, buffer, size);
}

void Vst3PluginInstance::getParameterLabel(int32_t index, char* buffer, int32_t size) {
    if (Vst::ParameterInfo info; readParameter(index, info))
        copyPluginText(info.units, buffer, size);
}

void Vst3PluginInstance::getParameterDisplay(int32_t index, char* buffer, int32_t size) {
    Vst::ParameterInfo info;
    if (!readParameter(index, info))
        return;
    Vst::String128 text = {};
    const double value = controller->getParamNormalized(info.id);
    if (controller->getParamStringByValue(info.id, value, text) == kResultOk)
        copyPluginText(text, buffer, size);
}

float Vst3PluginInstance::getParameterValue(int32_t index) {
    Vst::ParameterInfo info;
    return readParameter(index, info) ? static_cast<float>(controller->getParamNormalized(info.id)) : 0.0F;
}

void Vst3PluginInstance::getParameterProperties(int32_t index, ParameterProperties& properties) {
    Vst::ParameterInfo info;
    if (!readParameter(index, info))
        return;
    properties.canBeAutomated = (info.flags & Vst::ParameterInfo::kCanAutomate) != 0;
    // The index, and not the plug-in's id: the client knows parameters by nothing else.
    properties.id = index;
    properties.usesIntegerRange = info.stepCount > 1;
    properties.isSwitch = info.stepCount == 1;
    properties.minInteger = 0;
    properties.maxInteger = info.stepCount;
    properties.shortName = pluginText(info.shortTitle);
}

void Vst3PluginInstance::setParameterValue(int32_t index, float value) {
    // The user is holding this control in the editor, and wins. The change is lost, deliberately.
    if (index == editedParameterIndex)
        return;
    markDisplayDirty(index);
    if (Vst::ParameterInfo info; readParameter(index, info))
        controller->setParamNormalized(info.id, value);
}

void Vst3PluginInstance::beginParameterEdit(int32_t index) {
    PluginInstance::beginParameterEdit(index);
    if (editedParameterIndex == noParameter)
        editedParameterIndex = index;
}

void Vst3PluginInstance::endParameterEdit(int32_t index) {
    PluginInstance::endParameterEdit(index);
    if (editedParameterIndex == index)
        editedParameterIndex = noParameter;
}

void Vst3PluginInstance::endOpenEdit() {
    if (const int32_t edited = editedParameterIndex; edited != noParameter)
        endParameterEdit(edited);
}

String Vst3PluginInstance::getNoteName(int32_t) {
    return {};
}

String Vst3PluginInstance::getIdentifier() {
    return classIdText(classId);
}

// The lookups below add an empty record for a class that the module doesn't list, which answers for it.

String Vst3PluginInstance::getName() {
    return fixedText(plugin->classInfos[classIdText(classId)].name);
}

String Vst3PluginInstance::getVendor() {
    Steinberg::PFactoryInfo info{};
    plugin->factory->getFactoryInfo(&info);
    return fixedText(info.vendor);
}

String Vst3PluginInstance::getVersion() {
    return plugin->factory2 ? fixedText(plugin->classInfos2[classIdText(classId)].version) : String();
}

String Vst3PluginInstance::getSubcategories() const {
    return plugin->factory2 ? fixedText(plugin->classInfos2[classIdText(classId)].subCategories) : String();
}

String Vst3PluginInstance::getCategory() {
    const String subcategories = getSubcategories();
    std::vector<String> pieces;
    String::split(subcategories, U'|', pieces);
    StringBuilder category;
    for (size_t i = 1; i < pieces.size(); ++i) {
        if (i > 1)
            category.append(" / ");
        category.append(pieces[i]);
    }
    return category.length() > 0 ? category.toString() : subcategories;
}

std::vector<int32_t> Vst3PluginInstance::getDeviceTypes() {
    std::vector<String> pieces;
    String::split(getSubcategories(), U'|', pieces);
    std::vector<int32_t> types;
    if (!pieces.empty() && !pieces.front().isEmpty()) {
        const String& first = pieces.front();
        if (String::compareIgnoreCase(first, "instrument") == 0)
            types.push_back(noteToAudioDevice);
        else if (String::compareIgnoreCase(first, "fx") == 0)
            types.push_back(audioToAudioDevice);
        base::core::writeLogText(base::core::LogLevel::progress, first);
    }
    if (types.empty())
        types.push_back(getDeviceTypeByBuses());
    return types;
}

DeviceType Vst3PluginInstance::getDeviceTypeByBuses() const {
    const bool notesIn = countMainBuses(Vst::kEvent, Vst::kInput) > 0;
    const bool audioIn = countMainBuses(Vst::kAudio, Vst::kInput) > 0;
    const bool notesOut = countMainBuses(Vst::kEvent, Vst::kOutput) > 0;
    const bool audioOut = countMainBuses(Vst::kAudio, Vst::kOutput) > 0;
    if (notesIn && audioOut)
        return noteToAudioDevice;
    if (audioIn && audioOut)
        return audioToAudioDevice;
    if (notesIn && notesOut)
        return noteToNoteDevice;
    if (audioIn && notesOut)
        return audioToNoteDevice;
    return audioToAudioDevice;
}

void Vst3PluginInstance::findProgramParameter() {
    const int32_t count = getParameterCount();
    for (int32_t i = 0; i < count; ++i) {
        Vst::ParameterInfo info;
        if (!readParameter(i, info) || info.unitId != Vst::kRootUnitId ||
            (info.flags & Vst::ParameterInfo::kIsProgramChange) == 0)
            continue;
        // The last one wins.
        programParameterIndex = i;
        programParameterId = info.id;
        programParameterAutomatable = (info.flags & Vst::ParameterInfo::kCanAutomate) != 0;
    }
    if (unitInfo && unitInfo->getUnitCount() > 0) {
        Vst::UnitInfo info{};
        unitInfo->getUnitInfo(0, info);
        if (info.programListId != Vst::kNoProgramListId)
            programListId = info.programListId;
    }
}

int32_t Vst3PluginInstance::getProgramCount() {
    if (programListId == Vst::kNoProgramListId)
        return 0;
    Vst::ParameterInfo info;
    return readParameter(programParameterIndex, info) ? info.stepCount : 0;
}

int32_t Vst3PluginInstance::getCurrentProgram() {
    return currentProgram;
}

void Vst3PluginInstance::getProgramName(int32_t index, char* buffer, int32_t size) {
    buffer[0] = 0;
    if (programListId == Vst::kNoProgramListId)
        return;
    Vst::String128 text = {};
    unitInfo->getProgramName(programListId, index, text);
    copyPluginText(text, buffer, size);
}

void Vst3PluginInstance::setCurrentProgram(int32_t index) {
    setCurrentProgram(index, 0);
}

void Vst3PluginInstance::setCurrentProgram(int32_t index, int32_t sampleOffset) {
    if (index < 0 || index >= getProgramCount() || !controller)
        return;
    const double value = controller->plainParamToNormalized(programParameterId, index);
    if (!programParameterAutomatable)
        controller->setParamNormalized(programParameterId, value);
    else if (Vst3ParamValueQueue* queue = inputParameterChanges.queueOf(programParameterId))
        queue->append(sampleOffset, value);
}
