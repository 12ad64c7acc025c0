#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// What a report says of one plug-in of a file. All texts are UTF-8 of one line; a byte that is no text is
/// U+FFFD in them.
struct PluginDescription {
    bool operator==(const PluginDescription&) const = default;

    std::string vendor;
    std::string name;
    /// The format's name: "VST 2.4", "VST 3".
    std::string api;
    /// Names the plug-in within its file: see `PluginInstance::getIdentifier`.
    std::string identifier;
    std::string version;
    std::string category;
    bool hasAudioInput = false;
    bool hasNoteInput = false;
    bool hasAudioOutput = false;
    bool hasNoteOutput = false;
    int32_t audioInBusCount = 0;
    int32_t audioOutBusCount = 0;
    int32_t audioInChannelCount = 0;
    int32_t audioOutChannelCount = 0;
    /// Values of `DeviceType`, in the report's order.
    std::vector<int32_t> deviceTypes;
    /// Whether the record has its last line. One that is cut has what came before.
    bool isComplete = false;
    /// What cut the record, if the report says so.
    std::string failure;
};
