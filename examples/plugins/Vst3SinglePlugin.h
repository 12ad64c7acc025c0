#pragma once

#include "plugins/Vst3Component.h"
#include "plugins/Vst3Controller.h"

/// A component that is its own controller: both halves in one object, on one count. A value set on the
/// controller is the component's at once. `setState` and `getState` are two operations of each half, unless a
/// derived class overrides both at once.
class Vst3SinglePlugin : public Vst3Component, public Vst3Controller {
public:
    explicit Vst3SinglePlugin(const Vst3ComponentTraits& traits)
        : Vst3Component(traits), Vst3Controller(traits.parameters) {}

    tresult PLUGIN_API initialize(FUnknown* context) override { return Vst3Component::initialize(context); }
    tresult PLUGIN_API terminate() override { return Vst3Component::terminate(); }

    tresult PLUGIN_API setParamNormalized(Vst::ParamID id, Vst::ParamValue value) override {
        Vst3Component::parameters.set(id, value);
        return Vst3Controller::setParamNormalized(id, value);
    }

    tresult PLUGIN_API queryInterface(const TUID identifier, void** result) override {
        if (Vst3Component::queryInterface(identifier, result) == kResultOk)
            return kResultOk;
        return Vst3Controller::queryInterface(identifier, result);
    }
    Steinberg::uint32 PLUGIN_API addRef() override { return Vst3Component::addRef(); }
    Steinberg::uint32 PLUGIN_API release() override { return Vst3Component::release(); }
};
