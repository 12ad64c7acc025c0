// Names its pins (a stereo and a mono input; a stereo output and two outputs of which it says nothing) and
// describes its parameters.

#include "TestEffect.h"

namespace {

class DescribedEffect : public SilentEffect {
public:
    using SilentEffect::SilentEffect;

protected:
    VstIntPtr dispatch(VstInt32 opcode, VstInt32 index, VstIntPtr value, void* ptr, float opt) override {
        switch (opcode) {
        case effGetInputProperties:
            return describePin(*static_cast<VstPinProperties*>(ptr), index == 0 ? "Main In" : "Side Chain",
                               index == 0);
        case effGetOutputProperties:
            return index == 0 && describePin(*static_cast<VstPinProperties*>(ptr), "Main Out", true);
        case effGetParameterProperties:
            return index == 0 && describeParameter(*static_cast<VstParameterProperties*>(ptr));
        case effCanBeAutomated:
            return index == 0;
        default:
            return SilentEffect::dispatch(opcode, index, value, ptr, opt);
        }
    }

    const char* getParameterName(int32_t) override { return "Plain Name"; }

private:
    static bool describePin(VstPinProperties& pin, const char* label, bool stereo) {
        std::strcpy(pin.label, label);
        pin.flags = kVstPinIsActive | (stereo ? kVstPinIsStereo : 0);
        return true;
    }

    static bool describeParameter(VstParameterProperties& properties) {
        std::strcpy(properties.label, "Described Name");
        properties.flags = kVstParameterIsSwitch | kVstParameterUsesIntegerMinMax |
                           kVstParameterSupportsDisplayIndex | kVstParameterSupportsDisplayCategory;
        properties.minInteger = -12;
        properties.maxInteger = 12;
        properties.displayIndex = 40;
        std::strcpy(properties.categoryLabel, "Filter");
        return true;
    }
};

} // namespace

PLUGIN_EXPORT AEffect* VSTPluginMain(audioMasterCallback host) {
    return (new DescribedEffect(
                host, {.uniqueId = 0x50696E73, .name = "Pins", .inputs = 3, .outputs = 4, .parameters = 2}))
        ->getEffect();
}
