// A module of an effect and an instrument, which aren't in the order of their identifiers.

#include "plugins/Vst3Factory.h"
#include "plugins/Vst3SinglePlugin.h"
#include "vst3/Identifiers.h"

namespace {

class Effect : public Vst3SinglePlugin {
public:
    Effect() : Vst3SinglePlugin({}) {}
};

class Instrument : public Vst3SinglePlugin {
public:
    Instrument() : Vst3SinglePlugin({.buses = {Vst3Bus::eventInput(), Vst3Bus::audioOutput()}}) {}
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return new Vst3Factory({vst3Class<Instrument>(secondClass, "Instrument", "Instrument|Synth"),
                            vst3Class<Effect>(firstClass, "Effect", "Fx|Delay|Stereo")});
}
