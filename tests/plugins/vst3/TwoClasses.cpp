// A module of an effect and an instrument, which aren't in the order of their identifiers.

#include "vst3/Identifiers.h"
#include "vst3/PlainEffect.h"

namespace {

class Instrument : public Vst3SinglePlugin {
public:
    Instrument() : Vst3SinglePlugin({.buses = {Vst3Bus::eventInput(), Vst3Bus::audioOutput()}}) {}
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return new Vst3Factory({vst3Class<Instrument>(secondClass, "Instrument", "Instrument|Synth"),
                            vst3Class<PlainEffect>(firstClass, "Effect", "Fx|Delay|Stereo")});
}
