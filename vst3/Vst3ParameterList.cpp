#include "vst3/Vst3ParameterList.h"

int32_t Vst3ParameterList::getCount() const {
    return controller ? controller->getParameterCount() : 0;
}

double Vst3ParameterList::getValue(Vst::ParamID id) const {
    return controller->getParamNormalized(id);
}

double Vst3ParameterList::normalise(Vst::ParamID id, double plainValue) const {
    return controller->plainParamToNormalized(id, plainValue);
}
