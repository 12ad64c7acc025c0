// The three effects as a VST 3 module of three classes. "Louder" is its own controller; the other two have no
// parameters.

#include "plugins/TrioSound.h"
#include "plugins/Vst3Factory.h"
#include "plugins/Vst3SinglePlugin.h"
#include "plugins/Vst3Twin.h"

namespace {

const FUID louderClass(0x4578616D, 0x706C6520, 0x576F726B, 0x54724C6F);
const FUID upsideDownClass(0x4578616D, 0x706C6520, 0x576F726B, 0x54725570);
const FUID swapSidesClass(0x4578616D, 0x706C6520, 0x576F726B, 0x54725377);

constexpr ParameterText louderTexts[] = {{"Gain", "", 0.5F}};

class Louder : public Vst3SinglePlugin {
public:
    Louder() : Vst3SinglePlugin({.parameters = twinParameters(louderTexts)}) {}

    tresult PLUGIN_API setProcessing(Steinberg::TBool state) override {
        if (state)
            sound.clear();
        return kResultOk;
    }

    Steinberg::uint32 PLUGIN_API getLatencySamples() override { return LouderSound::latency; }

protected:
    void render(Vst::ProcessData& data) override {
        if (isStereo(data.inputs, data.numInputs) && isStereo(data.outputs, data.numOutputs))
            sound.render(twinValue(Vst3Component::parameters, 0), data.inputs->channelBuffers32,
                         data.outputs->channelBuffers32, data.numSamples);
    }

private:
    LouderSound sound;
};

/// An effect without parameters.
template <void (*renderEffect)(const float* const*, float* const*, int32_t)>
class PlainEffect : public Vst3Component {
public:
    PlainEffect() : Vst3Component({}) {}

protected:
    void render(Vst::ProcessData& data) override {
        if (isStereo(data.inputs, data.numInputs) && isStereo(data.outputs, data.numOutputs))
            renderEffect(data.inputs->channelBuffers32, data.outputs->channelBuffers32, data.numSamples);
    }
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return new Vst3Factory({vst3Class<Louder>(louderClass, "Louder", "Fx"),
                            vst3Class<PlainEffect<renderUpsideDown>>(upsideDownClass, "Upside Down", "Fx"),
                            vst3Class<PlainEffect<renderSwapSides>>(swapSidesClass, "Swap Sides", "Fx")});
}
