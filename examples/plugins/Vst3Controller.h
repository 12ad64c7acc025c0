#pragma once

#include "plugins/Vst3Object.h"
#include "plugins/Vst3Parameters.h"

#include <pluginterfaces/vst/ivsteditcontroller.h>
#include <vector>

/// The half of a VST 3 plug-in that has its parameters: the base of the controllers of this tree.
/// `Vst3Offering` adds further interfaces; derived classes may override every operation.
class Vst3Controller : public Vst3Half<Vst::IEditController> {
public:
    explicit Vst3Controller(std::vector<Vst3Parameter> parameters = {});

    /// Reads the component's values of the parameters.
    tresult PLUGIN_API setComponentState(Steinberg::IBStream* state) override;
    /// A controller has no state beyond the component's.
    tresult PLUGIN_API setState(Steinberg::IBStream* state) override;
    tresult PLUGIN_API getState(Steinberg::IBStream* state) override;
    Steinberg::int32 PLUGIN_API getParameterCount() override;
    tresult PLUGIN_API getParameterInfo(Steinberg::int32 index, Vst::ParameterInfo& info) override;
    tresult PLUGIN_API getParamStringByValue(Vst::ParamID id, Vst::ParamValue value,
                                             Vst::String128 text) override;
    tresult PLUGIN_API getParamValueByString(Vst::ParamID id, Vst::TChar* text,
                                             Vst::ParamValue& value) override;
    Vst::ParamValue PLUGIN_API normalizedParamToPlain(Vst::ParamID id, Vst::ParamValue value) override;
    Vst::ParamValue PLUGIN_API plainParamToNormalized(Vst::ParamID id, Vst::ParamValue value) override;
    Vst::ParamValue PLUGIN_API getParamNormalized(Vst::ParamID id) override;
    tresult PLUGIN_API setParamNormalized(Vst::ParamID id, Vst::ParamValue value) override;
    tresult PLUGIN_API setComponentHandler(Vst::IComponentHandler* newHandler) override;
    Steinberg::IPlugView* PLUGIN_API createView(FIDString name) override;

protected:
    /// Writes at most `size` bytes with the terminator.
    virtual void display(Vst::ParamID id, double value, char* text, size_t size);

    Vst3Parameters parameters;
    IPtr<Vst::IComponentHandler> handler;

private:
    double getStepCount(Vst::ParamID id) const;
};
