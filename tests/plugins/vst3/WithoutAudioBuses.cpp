// A plug-in that takes notes and gives notes, and has no audio.

#include "vst3/Identifiers.h"
#include "vst3/RecordingPlugin.h"

namespace {

class Component : public RecordingComponent {
public:
    Component() : RecordingComponent({.buses = {Vst3Bus::eventInput(), Vst3Bus::eventOutput()}}) {}
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return new RecordingFactory({vst3Class<Component>(firstClass, "Without Audio Buses")});
}
