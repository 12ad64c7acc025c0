#include "plugins/Vst3Controller.h"

#include <cstdio>
#include <iterator>
#include <pluginterfaces/base/ustring.h>
#include <utility>

namespace {

constexpr auto textCapacity = static_cast<int32_t>(sizeof(Vst::String128) / sizeof(Vst::TChar));

void setText(Vst::String128& target, const char* text) {
    Steinberg::UString(target, textCapacity).fromAscii(text);
}

} // namespace

Vst3Controller::Vst3Controller(std::vector<Vst3Parameter> parameters) : parameters(std::move(parameters)) {}

tresult Vst3Controller::setComponentState(Steinberg::IBStream* state) {
    return state != nullptr ? parameters.read(*state) : tresult{kInvalidArgument};
}

tresult Vst3Controller::setState(Steinberg::IBStream*) {
    return kNotImplemented;
}

tresult Vst3Controller::getState(Steinberg::IBStream*) {
    return kNotImplemented;
}

Steinberg::int32 Vst3Controller::getParameterCount() {
    return parameters.getCount();
}

tresult Vst3Controller::getParameterInfo(Steinberg::int32 index, Vst::ParameterInfo& info) {
    if (index < 0 || index >= parameters.getCount())
        return kInvalidArgument;
    const Vst3Parameter& parameter = parameters[index];
    info = {};
    info.id = parameter.id;
    setText(info.title, parameter.title);
    setText(info.shortTitle, parameter.shortTitle);
    setText(info.units, parameter.units);
    info.stepCount = parameter.stepCount;
    info.defaultNormalizedValue = parameter.defaultValue;
    info.unitId = parameter.unit;
    info.flags = parameter.flags;
    return kResultOk;
}

tresult Vst3Controller::getParamStringByValue(Vst::ParamID id, Vst::ParamValue value, Vst::String128 text) {
    if (parameters.find(id) < 0)
        return kInvalidArgument;
    char shown[textCapacity] = {};
    display(id, value, shown, sizeof shown);
    Steinberg::UString(text, textCapacity).fromAscii(shown);
    return kResultOk;
}

tresult Vst3Controller::getParamValueByString(Vst::ParamID, Vst::TChar*, Vst::ParamValue&) {
    return kNotImplemented;
}

Vst::ParamValue Vst3Controller::normalizedParamToPlain(Vst::ParamID id, Vst::ParamValue value) {
    return value * getStepCount(id);
}

Vst::ParamValue Vst3Controller::plainParamToNormalized(Vst::ParamID id, Vst::ParamValue value) {
    return value / getStepCount(id);
}

Vst::ParamValue Vst3Controller::getParamNormalized(Vst::ParamID id) {
    return parameters.get(id);
}

tresult Vst3Controller::setParamNormalized(Vst::ParamID id, Vst::ParamValue value) {
    return parameters.set(id, value) ? kResultOk : kInvalidArgument;
}

tresult Vst3Controller::setComponentHandler(Vst::IComponentHandler* newHandler) {
    handler = newHandler;
    return kResultOk;
}

Steinberg::IPlugView* Vst3Controller::createView(FIDString) {
    return nullptr;
}

void Vst3Controller::display(Vst::ParamID, double value, char* text, size_t size) {
    std::snprintf(text, size, "%.2f", value);
}

// A continuous parameter's plain value is its normalised one.
double Vst3Controller::getStepCount(Vst::ParamID id) const {
    const int32_t index = parameters.find(id);
    return index >= 0 && parameters[index].stepCount > 0 ? parameters[index].stepCount : 1;
}
