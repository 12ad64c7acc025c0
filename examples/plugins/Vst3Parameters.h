#pragma once

#include "vst3/Vst3Names.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <pluginterfaces/base/ibstream.h>
#include <pluginterfaces/vst/ivsteditcontroller.h>
#include <pluginterfaces/vst/ivstparameterchanges.h>
#include <pluginterfaces/vst/ivstunits.h>
#include <vector>

/// The description of a parameter. Texts are ASCII.
struct Vst3Parameter {
    Vst::ParamID id;
    const char* title;
    const char* units = "";
    int32_t stepCount = 0;   // 0 is continuous
    double defaultValue = 0; // normalised
    int32_t flags = Vst::ParameterInfo::kCanAutomate;
    const char* shortTitle = "";
    Vst::UnitID unit = Vst::kRootUnitId;
};

/// A plug-in's parameters with their values; each half has its own. Values are atomic, since a host sets them
/// on its audio thread while it reads them on another.
class Vst3Parameters {
public:
    explicit Vst3Parameters(std::vector<Vst3Parameter> parameters);

    int32_t getCount() const { return static_cast<int32_t>(parameters.size()); }
    const Vst3Parameter& operator[](int32_t index) const { return parameters[static_cast<size_t>(index)]; }
    /// -1 for an id that isn't there.
    int32_t find(Vst::ParamID id) const;

    /// Normalised; 0 for an id that isn't there.
    double get(Vst::ParamID id) const;
    /// False for an id that isn't there.
    bool set(Vst::ParamID id, double value);
    /// Adopts the last point of each parameter.
    void apply(Vst::IParameterChanges& changes);

    // The values in order, as native 64-bit floating point numbers.

    tresult read(Steinberg::IBStream& stream);
    tresult write(Steinberg::IBStream& stream) const;

private:
    const std::vector<Vst3Parameter> parameters;
    const std::unique_ptr<std::atomic<double>[]> values;
};
