// An effect that faults in its first block.

#include "plugins/Vst3Factory.h"
#include "plugins/Vst3SinglePlugin.h"
#include "vst3/Identifiers.h"

#include <csignal>

namespace {

class CrashesInProcess : public Vst3SinglePlugin {
public:
    CrashesInProcess() : Vst3SinglePlugin({}) {}

protected:
    void render(Vst::ProcessData&) override { std::raise(SIGSEGV); }
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return new Vst3Factory({vst3Class<CrashesInProcess>(firstClass, "Crashes In Process")});
}
