#pragma once

#include "rigs/ProcessRig.h"
#include "vst2/Vst24.h"

#include <cstdint>
#include <vector>

class CountingEffect;

/// A VST 2 effect, with a parameter for each change.
class Vst2Rig : public ProcessRig {
public:
    Vst2Rig();
    ~Vst2Rig() override;

    void renderDirectly(const Work& work) override;

protected:
    WorkDone& getDone() override;

private:
    void fillEventList();

    /// Closed, and thereby deleted, by the instance.
    CountingEffect* effect;
    std::vector<VstMidiEvent> events;
    std::vector<uint8_t> listMemory;
    VstEvents* eventList = nullptr;
};
