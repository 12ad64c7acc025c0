#pragma once

#include "plugin/CoreNames.h"
#include "plugin/ParameterInfo.h"
#include "plugin/PluginAudioBus.h"
#include "plugin/Program.h"
#include "plugin/WireRecord.h"

#include <array>
#include <cstdint>
#include <vector>

class PluginInstance;

/// The state of an instance for the client. Immutable.
class PluginInstanceState : public Object {
public:
    static constexpr size_t noteCount = 128;
    static constexpr const char* wireName = "record";

    /// Empty, for reading into.
    PluginInstanceState();
    /// Queries the plug-in, with the instance's notifications muted. Main thread. Oddity snapshot-unmutes:
    /// unmutes them at the end, also if they were muted before.
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

    static constexpr auto fields() {
        using State = PluginInstanceState;
        using wire::Int32n;
        using wire::Nested;
        return wire::fields(
            wire::list<Int32n, Nested<PluginAudioBus>>("inputBusCount", "inputBus", &State::inputBuses),
            wire::list<Int32n, Nested<PluginAudioBus>>("outputBusCount", "outputBus", &State::outputBuses),
            wire::list<Int32n, Nested<ParameterInfo>>("parameterCount", "parameter", &State::parameters),
            wire::list<Int32n, ProgramName>("programCount", "programName", &State::programs),
            wire::optionalArray<wire::Text>("hasNoteNames", &State::hasNoteNames, "noteName",
                                            &State::noteNames, "128 if hasNoteNames"),
            wire::int32n("latency", &State::latency), wire::boolean("supportsMpe", &State::supportsMpe),
            wire::boolean("hasMidiControllerMapping", &State::hasMidiControllerMapping),
            wire::boolean("hasNoteOutput", &State::hasNoteOutput));
    }

private:
    /// On the wire a program is its name.
    struct ProgramName {
        static constexpr const char* name = wire::Text::name;
        static Ref<Program> read(InputStream& stream) { return new Program(wire::Text::read(stream)); }
        static void write(OutputStream& stream, const Ref<Program>& program) {
            wire::Text::write(stream, program->name);
        }
    };
};
