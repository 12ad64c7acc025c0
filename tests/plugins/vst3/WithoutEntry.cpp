// A module without an entry.

#include "plugins/Vst3Factory.h"
#include "plugins/Vst3SinglePlugin.h"
#include "vst3/Identifiers.h"

namespace {

class WithoutEntry : public Vst3SinglePlugin {
public:
    WithoutEntry() : Vst3SinglePlugin({}) {}
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return new Vst3Factory({vst3Class<WithoutEntry>(firstClass, "Without Entry")});
}
