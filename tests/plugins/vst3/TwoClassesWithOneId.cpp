// A module whose two classes have one identifier.

#include "plugins/Vst3Factory.h"
#include "plugins/Vst3SinglePlugin.h"
#include "vst3/Identifiers.h"

namespace {

class Plugin : public Vst3SinglePlugin {
public:
    Plugin() : Vst3SinglePlugin({}) {}
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return new Vst3Factory({vst3Class<Plugin>(firstClass, "Earlier", "Fx|Earlier"),
                            vst3Class<Plugin>(firstClass, "Later", "Fx|Later")});
}
