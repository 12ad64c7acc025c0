// An effect that can't render: its component refuses the processor's interface. It is a controller itself.

#include "vst3/Identifiers.h"
#include "vst3/RecordingSinglePlugin.h"

namespace {

class WithoutProcessor : public RecordingSinglePlugin {
public:
    WithoutProcessor() : RecordingSinglePlugin({.parameters = {{.id = 5, .title = "Only"}}}) {}

    tresult PLUGIN_API queryInterface(const TUID identifier, void** result) override {
        return Vst3Component::isAskedFor(identifier, Vst::IAudioProcessor::iid)
                   ? Vst3Component::refuse(result)
                   : RecordingSinglePlugin::queryInterface(identifier, result);
    }
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return new RecordingFactory({vst3Class<WithoutProcessor>(firstClass, "Without Processor")});
}
