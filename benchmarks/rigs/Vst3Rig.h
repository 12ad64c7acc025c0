#pragma once

#include "rigs/ProcessRig.h"
#include "vst3/Vst3EventList.h"
#include "vst3/Vst3ParameterChanges.h"
#include "vst3/Vst3Plugin.h"

#include <pluginterfaces/vst/ivstaudioprocessor.h>
#include <pluginterfaces/vst/ivstprocesscontext.h>

class CountingComponent;
class CountingController;

/// A VST 3 effect with a controller of its own and 64 parameters.
class Vst3Rig : public ProcessRig {
public:
    Vst3Rig();
    ~Vst3Rig() override;

    /// The layout of the plug-in's block. With each change the controller is asked as often as the host asks
    /// it.
    void renderDirectly(const Work& work) override;

protected:
    WorkDone& getDone() override;
    int32_t getQuestionsPerChange() const override { return 2; }

private:
    void fillLists();

    Ref<Vst3Plugin> plugin;
    // The instance's.
    CountingComponent* component = nullptr;
    CountingController* controller = nullptr;
    Vst3ParameterChanges noChanges;
    Vst3ParameterChanges allChanges;
    Vst3EventList noEvents;
    Vst3EventList allEvents;
    Vst::ProcessContext processContext{};
};
