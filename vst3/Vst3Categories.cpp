#include "vst3/Vst3Categories.h"

#include "core/Log.h"
#include "plugin/PluginInstance.h"
#include "vst3/Vst3Buses.h"

namespace {

DeviceType deviceTypeByBuses(const Vst3Buses& buses) {
    const bool notesIn = buses.countMain(Vst::kEvent, Vst::kInput) > 0;
    const bool audioIn = buses.countMain(Vst::kAudio, Vst::kInput) > 0;
    const bool notesOut = buses.countMain(Vst::kEvent, Vst::kOutput) > 0;
    const bool audioOut = buses.countMain(Vst::kAudio, Vst::kOutput) > 0;
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

} // namespace

String categoryOf(const String& subcategories) {
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

std::vector<int32_t> deviceTypesOf(const String& subcategories, const Vst3Buses& buses) {
    std::vector<String> pieces;
    String::split(subcategories, U'|', pieces);
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
        types.push_back(deviceTypeByBuses(buses));
    return types;
}
