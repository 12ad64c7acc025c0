// An effect that faults in its first block.

#include "vst3/Identifiers.h"
#include "vst3/PlainEffect.h"

#include <csignal>

namespace {

class CrashesInProcess : public PlainEffect {
protected:
    void render(Vst::ProcessData&) override { std::raise(SIGSEGV); }
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return new Vst3Factory({vst3Class<CrashesInProcess>(firstClass, "Crashes In Process")});
}
