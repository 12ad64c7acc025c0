// A module whose class has letters in its identifier.

#include "vst3/PlainEffect.h"

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return new Vst3Factory(
        {vst3Class<PlainEffect>(FUID(0xABCDEF01, 0xABCDEF02, 0xABCDEF03, 0xABCDEF04), "Named By Letters")});
}
