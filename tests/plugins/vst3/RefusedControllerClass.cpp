// An effect that names a controller class which its module doesn't have, and is a controller itself.

#include "vst3/Identifiers.h"
#include "vst3/RecordingSinglePlugin.h"

namespace {

class RefusedControllerClass : public RecordingSinglePlugin {
public:
    RefusedControllerClass()
        : RecordingSinglePlugin(
              {.controllerClass = controllerClass, .parameters = {{.id = 5, .title = "Only"}}}) {}
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return new RecordingFactory({vst3Class<RefusedControllerClass>(firstClass, "Refused Controller Class")});
}
