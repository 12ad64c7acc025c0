#pragma once

#include "plugins/Vst3Component.h"
#include "plugins/Vst3Controller.h"

#include <concepts>
#include <vector>

inline constexpr const char* vst3ControllerCategory = "Component Controller Class";

/// A class that a module offers. Texts are ASCII.
struct Vst3Class {
    FUID id;
    const char* category;
    const char* name;
    /// Makes an object with a count of 1.
    FUnknown* (*create)();
    const char* subcategories = "";
};

/// A component class or a controller class, of the plug-in's C++ class.
template <class Plugin>
Vst3Class vst3Class(const FUID& id, const char* name, const char* subcategories = "") {
    if constexpr (std::derived_from<Plugin, Vst3Component>) {
        return {id, kVstAudioEffectClass, name,
                []() -> FUnknown* { return static_cast<Vst::IComponent*>(new Plugin); }, subcategories};
    } else {
        return {id, vst3ControllerCategory, name,
                []() -> FUnknown* { return static_cast<Vst::IEditController*>(new Plugin); }, subcategories};
    }
}

/// The classes of a module, returned by its `GetPluginFactory`.
class Vst3Factory : public Vst3Offering<Vst3Counted, Steinberg::IPluginFactory2> {
public:
    explicit Vst3Factory(std::vector<Vst3Class> classes);

    tresult PLUGIN_API queryInterface(const TUID identifier, void** result) override;
    tresult PLUGIN_API getFactoryInfo(Steinberg::PFactoryInfo* info) override;
    Steinberg::int32 PLUGIN_API countClasses() override;
    tresult PLUGIN_API getClassInfo(Steinberg::int32 index, Steinberg::PClassInfo* info) override;
    tresult PLUGIN_API createInstance(FIDString classId, FIDString identifier, void** result) override;
    tresult PLUGIN_API getClassInfo2(Steinberg::int32 index, Steinberg::PClassInfo2* info) override;

protected:
    const std::vector<Vst3Class> classes;
};
