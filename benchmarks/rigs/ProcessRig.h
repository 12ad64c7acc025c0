#pragma once

#include "host/PluginHost.h"
#include "plugin/PluginAudioContext.h"
#include "plugin/PluginInstance.h"

#include <cstdint>
#include <optional>

/// The work that comes with a block.
struct Work {
    const char* name;
    int32_t events;
    int32_t changes;
    /// Microseconds beyond the plug-in's own time.
    std::optional<double> goal;
};

/// What a plug-in has received.
struct WorkDone {
    int64_t blocks = 0;
    int64_t events = 0;
    int64_t changes = 0;
    /// Questions for the record of a parameter.
    int64_t questions = 0;

    bool operator==(const WorkDone&) const = default;
};

/// A plug-in that only counts, called through an instance or directly with the same work.
class ProcessRig {
public:
    static constexpr int32_t sampleRate = 44100;
    static constexpr int32_t frames = 256;
    /// The work of a block, at most that of the fullest one.
    static constexpr int32_t changes = 1024;

    virtual ~ProcessRig();

    void renderByInstance(const Work& work);
    /// The same with none of the instance's own steps.
    virtual void renderDirectly(const Work& work) = 0;

    /// Throws `std::runtime_error` unless the plug-in has received all work of `blocks` blocks since the last
    /// call.
    void expectWork(const Work& work, int64_t blocks);

protected:
    ProcessRig();

    /// Prepares an instance for its first block, and fills the block with changes of all parameters in turn.
    void setUp(const Ref<PluginInstance>& newInstance);
    virtual WorkDone& getDone() = 0;
    /// How often an instance asks for the record of a parameter with each of its changes.
    virtual int32_t getQuestionsPerChange() const { return 0; }

    Ref<PluginHost> host;
    Ref<PluginInstance> instance;
    Ref<PluginAudioContext> context;
};
