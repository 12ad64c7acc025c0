#pragma once

#include "vst3/Vst3Names.h"

#include <cstdint>
#include <pluginterfaces/vst/ivsteditcontroller.h>
#include <pluginterfaces/vst/ivstunits.h>

class Vst3ParameterChanges;
class Vst3ParameterList;

/// The programs of a plug-in, which are the steps of one of its parameters. There are none without a list of
/// them.
class Vst3Programs {
public:
    /// `parameters` are the instance's and outlive this.
    explicit Vst3Programs(const Vst3ParameterList& parameters) : parameters(parameters) {}

    /// Finds the parameter, and the list if there is one, that selects the program; `units` may be null. Main
    /// thread, before a worker has the instance.
    void find(Vst::IUnitInfo* units);

    /// `kNoProgramListId` if there is none.
    Vst::ProgramListID getListId() const { return listId; }
    int32_t getCount() const;
    /// Sets the program, by a point in `changes` at `sampleOffset` if the parameter can be automated. No
    /// effect for an index out of range. Main thread and audio worker.
    void select(int32_t index, int32_t sampleOffset, Vst3ParameterChanges& changes) const;

private:
    const Vst3ParameterList& parameters;
    Vst::ProgramListID listId = Vst::kNoProgramListId;
    Vst::ParamID parameterId = Vst::kNoParamId;
    int32_t parameterIndex = -1;
    bool isAutomatable = true;
};
