#include "vst3/Vst3ParameterList.h"

int32_t Vst3ParameterList::getCount() const {
    return controller ? controller->getParameterCount() : 0;
}

bool Vst3ParameterList::read(int32_t index, Vst::ParameterInfo& info) const {
    info = {};
    return controller && controller->getParameterInfo(index, info) == kResultOk;
}

double Vst3ParameterList::getValue(Vst::ParamID id) const {
    return controller->getParamNormalized(id);
}

void Vst3ParameterList::setValue(Vst::ParamID id, double value) const {
    controller->setParamNormalized(id, value);
}

double Vst3ParameterList::normalise(Vst::ParamID id, double plainValue) const {
    return controller->plainParamToNormalized(id, plainValue);
}
