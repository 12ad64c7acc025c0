#pragma once

#include "support/KeptState.h"
#include "support/OwnedByTest.h"

#include <algorithm>
#include <map>
#include <pluginterfaces/vst/ivsteditcontroller.h>
#include <pluginterfaces/vst/ivstnoteexpression.h>
#include <pluginterfaces/vst/ivstunits.h>
#include <string>
#include <utility>
#include <vector>

namespace test_support {

/// A controller of the test program's own: writes down what it is told and answers what it is told to.
class RecordingController
    : public OwnedByTest<Vst::IEditController, Vst::IMidiMapping, Vst::INoteExpressionController> {
public:
    using Calls = std::vector<std::string>;
    /// A parameter and a value that was set.
    using Change = std::pair<Vst::ParamID, double>;
    /// A channel and a controller's number.
    using ControllerKey = std::pair<int16_t, int16_t>;

    explicit RecordingController(Calls& calls) : calls(calls) {}

    Vst::ParameterInfo& addParameter(Vst::ParamID id, const std::u16string& title = u"") {
        Vst::ParameterInfo info{};
        info.id = id;
        copyText(title, info.title);
        return parameters.emplace_back(info);
    }

    /// A text that fills the buffer has no terminator.
    static void copyText(const std::u16string& text, Vst::String128& buffer) {
        std::copy_n(text.begin(), std::min(text.size(), std::size(buffer)), buffer);
    }

    void addNoteExpression(Vst::NoteExpressionTypeID typeId, double minimum = 0, double defaultValue = 0,
                           double maximum = 1) {
        Vst::NoteExpressionTypeInfo info{};
        info.typeId = typeId;
        info.valueDesc.minimum = minimum;
        info.valueDesc.defaultValue = defaultValue;
        info.valueDesc.maximum = maximum;
        noteExpressions.push_back(info);
    }

    tresult PLUGIN_API queryInterface(const TUID identifier, void** result) override {
        if (programs != nullptr && isInterface(identifier, Vst::IUnitInfo::iid))
            return programs->queryInterface(identifier, result);
        return OwnedByTest::queryInterface(identifier, result);
    }

    tresult PLUGIN_API initialize(FUnknown*) override { return kResultOk; }
    tresult PLUGIN_API terminate() override { return kResultOk; }
    tresult PLUGIN_API setComponentState(Steinberg::IBStream* stream) override {
        calls.push_back("controller setComponentState");
        return componentState.set(stream);
    }
    tresult PLUGIN_API setState(Steinberg::IBStream* stream) override {
        calls.push_back("controller setState");
        return state.set(stream);
    }
    tresult PLUGIN_API getState(Steinberg::IBStream* stream) override { return state.get(stream); }
    Steinberg::int32 PLUGIN_API getParameterCount() override {
        return static_cast<Steinberg::int32>(parameters.size());
    }
    tresult PLUGIN_API getParameterInfo(Steinberg::int32 index, Vst::ParameterInfo& info) override {
        if (index < 0 || index >= getParameterCount())
            return kInvalidArgument;
        if (info.id != 0 || info.title[0] != 0 || info.shortTitle[0] != 0 || info.units[0] != 0 ||
            info.stepCount != 0 || info.defaultNormalizedValue != 0 || info.unitId != 0 || info.flags != 0)
            ++filledRecords;
        if (index == unwrittenParameter)
            return parameterAnswer;
        info = parameters[static_cast<size_t>(index)];
        return parameterAnswer;
    }
    tresult PLUGIN_API getParamStringByValue(Vst::ParamID id, Vst::ParamValue value,
                                             Vst::String128 text) override {
        asked = {id, value};
        copyText(display, *reinterpret_cast<Vst::String128*>(text));
        return displayAnswer;
    }
    tresult PLUGIN_API getParamValueByString(Vst::ParamID, Vst::TChar*, Vst::ParamValue&) override {
        return kNotImplemented;
    }
    Vst::ParamValue PLUGIN_API normalizedParamToPlain(Vst::ParamID, Vst::ParamValue value) override {
        return value;
    }
    Vst::ParamValue PLUGIN_API plainParamToNormalized(Vst::ParamID, Vst::ParamValue) override {
        calls.push_back("plainParamToNormalized");
        return 0.5;
    }
    Vst::ParamValue PLUGIN_API getParamNormalized(Vst::ParamID id) override { return values[id]; }
    tresult PLUGIN_API setParamNormalized(Vst::ParamID id, Vst::ParamValue value) override {
        if (!isQuiet)
            changes.emplace_back(id, value);
        values[id] = value;
        return kResultOk;
    }
    tresult PLUGIN_API setComponentHandler(Vst::IComponentHandler* newHandler) override {
        handler = newHandler;
        return kResultOk;
    }
    Steinberg::IPlugView* PLUGIN_API createView(FIDString) override { return nullptr; }

    tresult PLUGIN_API getMidiControllerAssignment(Steinberg::int32 busIndex, Steinberg::int16 channel,
                                                   Vst::CtrlNumber number, Vst::ParamID& id) override {
        const auto known = mapping.find({channel, number});
        if (busIndex != 0 || known == mapping.end())
            return kResultFalse;
        id = known->second;
        return kResultOk;
    }

    Steinberg::int32 PLUGIN_API getNoteExpressionCount(Steinberg::int32 busIndex,
                                                       Steinberg::int16 channel) override {
        return busIndex == 0 && channel == 0 ? static_cast<Steinberg::int32>(noteExpressions.size()) : 0;
    }
    tresult PLUGIN_API getNoteExpressionInfo(Steinberg::int32, Steinberg::int16, Steinberg::int32 index,
                                             Vst::NoteExpressionTypeInfo& info) override {
        info = noteExpressions.at(static_cast<size_t>(index));
        return index == refusedNoteExpression ? kResultFalse : kResultOk;
    }
    tresult PLUGIN_API getNoteExpressionStringByValue(Steinberg::int32, Steinberg::int16,
                                                      Vst::NoteExpressionTypeID, Vst::NoteExpressionValue,
                                                      Vst::String128) override {
        return kNotImplemented;
    }
    tresult PLUGIN_API getNoteExpressionValueByString(Steinberg::int32, Steinberg::int16,
                                                      Vst::NoteExpressionTypeID, const Vst::TChar*,
                                                      Vst::NoteExpressionValue&) override {
        return kNotImplemented;
    }

    /// Shared with the component, so that their order shows.
    Calls& calls;
    /// What it says of its programs, if anything.
    Vst::IUnitInfo* programs = nullptr;
    std::vector<Vst::ParameterInfo> parameters;
    tresult parameterAnswer = kResultOk;
    /// Leaves its record as it came.
    int32_t unwrittenParameter = -1;
    /// How many records weren't empty as they came.
    int32_t filledRecords = 0;
    std::map<Vst::ParamID, double> values;
    /// No change is written down, so that nothing is allocated.
    bool isQuiet = false;
    std::vector<Change> changes;
    std::u16string display;
    tresult displayAnswer = kResultOk;
    /// What the last text was for.
    Change asked{};
    Vst::IComponentHandler* handler = nullptr;
    std::map<ControllerKey, Vst::ParamID> mapping;
    std::vector<Vst::NoteExpressionTypeInfo> noteExpressions;
    int32_t refusedNoteExpression = -1;
    KeptState componentState;
    KeptState state;
};

} // namespace test_support
