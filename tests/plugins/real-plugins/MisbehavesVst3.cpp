// A VST 3 effect that passes its input on and misbehaves.

#include "plugins/Vst3Factory.h"
#include "plugins/real-plugins/Misbehaviour.h"

#include <algorithm>

namespace {

class Misbehaves : public Vst3Component {
public:
    Misbehaves() : Vst3Component({}) {}

protected:
    void render(Vst::ProcessData& data) override {
        float** outputs = data.outputs->channelBuffers32;
        for (int32_t channel = 0; channel < data.outputs->numChannels; ++channel)
            std::copy_n(data.inputs->channelBuffers32[channel], data.numSamples, outputs[channel]);
        misbehaviour.renderBlock(outputs[data.outputs->numChannels - 1], data.numSamples);
    }

private:
    Misbehaviour misbehaviour;
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return new Vst3Factory({vst3Class<Misbehaves>(FUID(1, 2, 3, 0x4d697362), "Misbehaves", "Fx")});
}
