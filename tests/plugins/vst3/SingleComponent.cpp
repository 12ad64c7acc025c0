// An effect that is its own controller. The controller class that it names is null.

#include "vst3/Identifiers.h"
#include "vst3/RecordingSinglePlugin.h"

namespace {

class SingleComponent : public RecordingSinglePlugin {
public:
    SingleComponent() : RecordingSinglePlugin({.parameters = {{.id = 5, .title = "Only"}}}) {}

    tresult PLUGIN_API getControllerClassId(TUID classId) override {
        record.add("plug-in getControllerClassId");
        FUID().toTUID(classId);
        return kResultOk;
    }
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return new RecordingFactory({vst3Class<SingleComponent>(firstClass, "Single Component")});
}
