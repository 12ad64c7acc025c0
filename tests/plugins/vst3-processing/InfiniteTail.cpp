// An effect that never falls silent.

#include "plugins/Vst3Factory.h"
#include "vst3/Identifiers.h"

namespace {

class InfiniteTail : public Vst3Component {
public:
    InfiniteTail() : Vst3Component({}) {}

    Steinberg::uint32 PLUGIN_API getTailSamples() override { return Vst::kInfiniteTail; }
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return new Vst3Factory({vst3Class<InfiniteTail>(firstClass, "Infinite Tail")});
}
