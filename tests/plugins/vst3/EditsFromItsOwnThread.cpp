// An effect that turns its input upside down. Each time that its first parameter is set above 0, a thread of
// its own edits the second.

#include "plugins/Vst3Factory.h"
#include "plugins/Vst3SinglePlugin.h"
#include "vst3/Identifiers.h"

#include <algorithm>
#include <thread>

namespace {

constexpr Vst::ParamID trigger = 40;
constexpr Vst::ParamID edited = 12;

class EditsFromItsOwnThread : public Vst3SinglePlugin {
public:
    EditsFromItsOwnThread()
        : Vst3SinglePlugin(
              {.parameters = {{.id = trigger, .title = "Trigger"}, {.id = edited, .title = "Edited"}}}) {}

    tresult PLUGIN_API setParamNormalized(Vst::ParamID id, Vst::ParamValue value) override {
        if (id == trigger && value > 0)
            std::thread([this] {
                handler->beginEdit(edited);
                handler->performEdit(edited, 0.5);
                handler->endEdit(edited);
            }).join();
        return Vst3SinglePlugin::setParamNormalized(id, value);
    }

protected:
    void render(Vst::ProcessData& data) override {
        for (int32_t channel = 0; channel < 2; ++channel)
            std::transform(data.inputs[0].channelBuffers32[channel],
                           data.inputs[0].channelBuffers32[channel] + data.numSamples,
                           data.outputs[0].channelBuffers32[channel], [](float sample) { return -sample; });
    }
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return new Vst3Factory({vst3Class<EditsFromItsOwnThread>(firstClass, "Edits From Its Own Thread")});
}
