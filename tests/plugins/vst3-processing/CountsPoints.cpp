// An effect whose first samples are the points of its first parameter in the block, and how often its
// controller was told of a value since the last block.

#include "plugins/Vst3Factory.h"
#include "plugins/Vst3SinglePlugin.h"
#include "vst3/Identifiers.h"

namespace {

class CountsPoints : public Vst3SinglePlugin {
public:
    CountsPoints() : Vst3SinglePlugin({.parameters = {{.id = 5, .title = "Counted"}}}) {}

    tresult PLUGIN_API setParamNormalized(Vst::ParamID id, Vst::ParamValue value) override {
        ++told;
        return Vst3SinglePlugin::setParamNormalized(id, value);
    }

protected:
    void render(Vst::ProcessData& data) override {
        Vst::IParameterChanges& changes = *data.inputParameterChanges;
        float* samples = data.outputs->channelBuffers32[0];
        samples[0] = 0;
        if (changes.getParameterCount() > 0)
            samples[0] = static_cast<float>(changes.getParameterData(0)->getPointCount());
        samples[1] = told;
        told = 0;
    }

private:
    /// On the audio thread alone.
    float told = 0;
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return new Vst3Factory({vst3Class<CountsPoints>(firstClass, "Counts Points")});
}
