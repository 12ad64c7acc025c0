#pragma once

#include "support/RecordingComponent.h"
#include "support/RecordingController.h"

#include <cstring>
#include <pluginterfaces/base/ipluginbase.h>

/// Hands out the one component and the one controller of a test.
class RecordingFactory : public test_support::OwnedByTest<Steinberg::IPluginFactory2> {
public:
    static inline const FUID componentClass{0x00112233, 0x44556677, 0x8899AABB, 0xCCDDEEFF};
    static inline const FUID controllerClass{0xC0C0C0C0, 0, 0, 1};
    static constexpr const char* componentText = "00112233445566778899AABBCCDDEEFF";

    RecordingFactory(test_support::RecordingComponent& component,
                     test_support::RecordingController& controller)
        : component(component), controller(controller) {}

    tresult PLUGIN_API getFactoryInfo(Steinberg::PFactoryInfo* info) override {
        *info = Steinberg::PFactoryInfo("Factory's Vendor", "", "", 0);
        return kResultOk;
    }
    Steinberg::int32 PLUGIN_API countClasses() override { return 1; }
    tresult PLUGIN_API getClassInfo(Steinberg::int32, Steinberg::PClassInfo* info) override {
        *info = Steinberg::PClassInfo(componentClass.toTUID(), 1, kVstAudioEffectClass, "Recording");
        return kResultOk;
    }
    tresult PLUGIN_API getClassInfo2(Steinberg::int32, Steinberg::PClassInfo2* info) override {
        *info = Steinberg::PClassInfo2(componentClass.toTUID(), 1, kVstAudioEffectClass, "Recording", 0,
                                       subcategories.c_str(), "Class's Vendor", "1.2.3", "VST 3.7.2");
        return kResultOk;
    }
    tresult PLUGIN_API createInstance(FIDString classId, FIDString identifier, void** result) override {
        if (isInterface(classId, componentClass))
            return component.queryInterface(identifier, result);
        if (isInterface(classId, controllerClass))
            return controller.queryInterface(identifier, result);
        *result = nullptr;
        return kNoInterface;
    }

    std::string subcategories;

private:
    test_support::RecordingComponent& component;
    test_support::RecordingController& controller;
};
