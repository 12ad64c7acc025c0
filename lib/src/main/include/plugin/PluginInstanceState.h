#pragma once

#include "plugin/CoreNames.h"
#include "plugin/ParameterInfo.h"
#include "plugin/PluginAudioBus.h"
#include "plugin/Program.h"

#include <array>
#include <cstdint>
#include <vector>

class PluginInstance;

/// Everything that the client keeps about an instance. Doesn't change once it is made.
///
/// On the wire, with "count" a little-endian int32 and "int" a big-endian one:
///
///     count input buses, each: string name, int channels, int per channel
///     count output buses, likewise
///     count parameters, each: string name, string shortName, string display, string label, string category,
///         float value, count id, bool canBeAutomated, bool isSwitch, bool usesIntegerRange,
///         count minInteger, count maxInteger
///     count programs, each: string name
///     bool hasNoteNames, and 128 strings if it is set
///     count latency, bool supportsMpe, bool hasMidiControllerMapping, bool hasNoteOutput
class PluginInstanceState : public Object {
public:
    static constexpr size_t noteCount = 128;

    /// Questions the plug-in. Main thread. Mutes the instance's notifications for that time and unmutes them
    /// at the end, whatever they were before. Deliberate: a snapshot ends the muting of a start-up.
    explicit PluginInstanceState(PluginInstance& instance);
    /// Reads one from the wire. Throws `IOException`.
    explicit PluginInstanceState(InputStream& stream);
    ~PluginInstanceState() override;

    virtual void write(OutputStream& stream) const;

    std::vector<Ref<ParameterInfo>> parameters;
    std::vector<Ref<Program>> programs;
    std::vector<Ref<PluginAudioBus>> inputBuses;
    std::vector<Ref<PluginAudioBus>> outputBuses;
    bool hasNoteNames = false;
    std::array<String, noteCount> noteNames;
    /// In samples.
    int32_t latency = 0;
    bool supportsMpe = false;
    bool hasMidiControllerMapping = false;
    bool hasNoteOutput = false;
};
