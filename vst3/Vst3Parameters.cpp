#include "vst3/Vst3Parameters.h"

int32_t Vst3Parameters::getCount() const {
    return controller ? controller->getParameterCount() : 0;
}

bool Vst3Parameters::read(int32_t index, Vst::ParameterInfo& info) const {
    info = {};
    return controller && controller->getParameterInfo(index, info) == kResultOk;
}

double Vst3Parameters::getValue(Vst::ParamID id) const {
    return controller->getParamNormalized(id);
}

void Vst3Parameters::setValue(Vst::ParamID id, double value) const {
    controller->setParamNormalized(id, value);
}

double Vst3Parameters::normalise(Vst::ParamID id, double plainValue) const {
    return controller->plainParamToNormalized(id, plainValue);
}
