// An effect that is its own controller. It names no controller class.

#include "vst3/Identifiers.h"
#include "vst3/RecordingSinglePlugin.h"

namespace {

class SingleComponent : public RecordingSinglePlugin {
public:
    SingleComponent() : RecordingSinglePlugin({.parameters = {{.id = 5, .title = "Only"}}}) {}
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return new RecordingFactory({vst3Class<SingleComponent>(firstClass, "Single Component")});
}
