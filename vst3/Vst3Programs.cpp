#include "vst3/Vst3Programs.h"

#include "vst3/Vst3ParameterChanges.h"
#include "vst3/Vst3ParameterList.h"

void Vst3Programs::find(Vst::IUnitInfo* units) {
    const int32_t count = parameters.getCount();
    for (int32_t i = 0; i < count; ++i) {
        Vst::ParameterInfo info;
        if (!parameters.read(i, info) || info.unitId != Vst::kRootUnitId ||
            (info.flags & Vst::ParameterInfo::kIsProgramChange) == 0)
            continue;
        // The last one wins.
        parameterIndex = i;
        parameterId = info.id;
        isAutomatable = (info.flags & Vst::ParameterInfo::kCanAutomate) != 0;
    }
    if (units != nullptr && units->getUnitCount() > 0) {
        Vst::UnitInfo info{};
        units->getUnitInfo(0, info);
        if (info.programListId != Vst::kNoProgramListId)
            listId = info.programListId;
    }
}

int32_t Vst3Programs::getCount() const {
    if (listId == Vst::kNoProgramListId)
        return 0;
    Vst::ParameterInfo info;
    return parameters.read(parameterIndex, info) ? info.stepCount : 0;
}

void Vst3Programs::select(int32_t index, int32_t sampleOffset, Vst3ParameterChanges& changes) const {
    if (index < 0 || index >= getCount())
        return;
    const double value = parameters.normalise(parameterId, index);
    if (!isAutomatable)
        parameters.setValue(parameterId, value);
    else if (Vst3ParamValueQueue* queue = changes.queueOf(parameterId))
        queue->append(sampleOffset, value);
}
