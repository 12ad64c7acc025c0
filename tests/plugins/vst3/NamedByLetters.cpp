// A module whose class has letters in its identifier.

#include "plugins/Vst3Factory.h"
#include "plugins/Vst3SinglePlugin.h"

namespace {

class Plugin : public Vst3SinglePlugin {
public:
    Plugin() : Vst3SinglePlugin({}) {}
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return new Vst3Factory(
        {vst3Class<Plugin>(FUID(0xABCDEF01, 0xABCDEF02, 0xABCDEF03, 0xABCDEF04), "Named By Letters")});
}
