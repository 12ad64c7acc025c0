#pragma once

#include "support/OwnedByTest.h"

#include <algorithm>
#include <pluginterfaces/vst/ivstunits.h>
#include <string>

/// What a plug-in says of its units and programs: one unit, with a list of programs, unless it is told
/// otherwise.
class ProgramList : public test_support::OwnedByTest<Vst::IUnitInfo> {
public:
    static constexpr Vst::ProgramListID listId = 44;

    Steinberg::int32 PLUGIN_API getUnitCount() override { return unitCount; }
    tresult PLUGIN_API getUnitInfo(Steinberg::int32, Vst::UnitInfo& info) override {
        info = {};
        info.id = Vst::kRootUnitId;
        info.parentUnitId = Vst::kNoParentUnitId;
        info.programListId = rootList;
        return kResultOk;
    }
    Steinberg::int32 PLUGIN_API getProgramListCount() override { return 1; }
    tresult PLUGIN_API getProgramListInfo(Steinberg::int32, Vst::ProgramListInfo& info) override {
        info = {};
        info.id = listId;
        info.programCount = 10;
        return kResultOk;
    }
    /// "P", the list and the program: "P44.3".
    tresult PLUGIN_API getProgramName(Vst::ProgramListID list, Steinberg::int32 index,
                                      Vst::String128 name) override {
        const std::string text = "P" + std::to_string(list) + "." + std::to_string(index);
        std::copy(text.begin(), text.end(), name);
        name[text.size()] = 0;
        return kResultOk;
    }
    tresult PLUGIN_API getProgramInfo(Vst::ProgramListID, Steinberg::int32, Vst::CString,
                                      Vst::String128) override {
        return kNotImplemented;
    }
    tresult PLUGIN_API hasProgramPitchNames(Vst::ProgramListID, Steinberg::int32) override {
        return kResultFalse;
    }
    tresult PLUGIN_API getProgramPitchName(Vst::ProgramListID, Steinberg::int32, Steinberg::int16,
                                           Vst::String128) override {
        return kNotImplemented;
    }
    Vst::UnitID PLUGIN_API getSelectedUnit() override { return Vst::kRootUnitId; }
    tresult PLUGIN_API selectUnit(Vst::UnitID) override { return kNotImplemented; }
    tresult PLUGIN_API getUnitByBus(Vst::MediaType, Vst::BusDirection, Steinberg::int32, Steinberg::int32,
                                    Vst::UnitID&) override {
        return kNotImplemented;
    }
    tresult PLUGIN_API setUnitProgramData(Steinberg::int32, Steinberg::int32, Steinberg::IBStream*) override {
        return kNotImplemented;
    }

    Steinberg::int32 unitCount = 1;
    /// The list of the root unit.
    Vst::ProgramListID rootList = listId;
};
