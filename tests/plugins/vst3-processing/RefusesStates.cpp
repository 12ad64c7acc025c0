// An effect that gives its state to nobody and takes none.

#include "plugins/Vst3Factory.h"
#include "plugins/Vst3SinglePlugin.h"
#include "vst3/Identifiers.h"

namespace {

class RefusesStates : public Vst3SinglePlugin {
public:
    RefusesStates() : Vst3SinglePlugin({.parameters = {{.id = 5, .title = "Kept", .defaultValue = 0.5}}}) {}

    tresult PLUGIN_API getState(Steinberg::IBStream*) override { return kResultFalse; }
    tresult PLUGIN_API setState(Steinberg::IBStream*) override { return kResultFalse; }
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return new Vst3Factory({vst3Class<RefusesStates>(firstClass, "Refuses States")});
}
