#pragma once

#include "vst3/Vst3Names.h"

#include <cstdint>
#include <pluginterfaces/vst/ivsteditcontroller.h>

/// The parameters of a plug-in by index in the controller's list. Nothing is cached: plug-ins may change them
/// at any time. Main thread and audio worker.
class Vst3ParameterList {
public:
    /// `controller` is the instance's, and may be null.
    explicit Vst3ParameterList(const IPtr<Vst::IEditController>& controller) : controller(controller) {}

    int32_t getCount() const;
    /// False without a controller, too.
    bool read(int32_t index, Vst::ParameterInfo& info) const {
        info = {};
        return readAgain(index, info);
    }
    /// The same with a record that was zero, or came from an earlier read here: it is emptied, but for the
    /// ends of its texts, since to zero it takes longer than most plug-ins do.
    bool readAgain(int32_t index, Vst::ParameterInfo& info) const {
        info.id = 0;
        info.title[0] = info.shortTitle[0] = info.units[0] = 0;
        info.stepCount = 0;
        info.defaultNormalizedValue = 0;
        info.unitId = 0;
        info.flags = 0;
        return controller && controller->getParameterInfo(index, info) == kResultOk;
    }

    // Of a parameter that was read. Values are normalised.

    double getValue(Vst::ParamID id) const;
    void setValue(Vst::ParamID id, double value) const { controller->setParamNormalized(id, value); }
    double normalise(Vst::ParamID id, double plainValue) const;

private:
    const IPtr<Vst::IEditController>& controller;
};
