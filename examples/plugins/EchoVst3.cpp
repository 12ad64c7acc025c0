// The echo as a VST 3 module: an effect with a tail, whose controller is a class of its own.

#include "plugins/EchoSound.h"
#include "plugins/Vst3DialController.h"
#include "plugins/Vst3Factory.h"
#include "plugins/Vst3Twin.h"

namespace {

const FUID echoClass(0x4578616D, 0x706C6520, 0x576F726B, 0x45636830);
const FUID controllerClass(0x4578616D, 0x706C6520, 0x576F726B, 0x45636843);

class Echo : public Vst3Component {
public:
    Echo()
        : Vst3Component({.controllerClass = controllerClass,
                         .parameters = twinParameters(EchoSound::parameterTexts)}) {}

    tresult PLUGIN_API setActive(Steinberg::TBool state) override {
        if (state)
            sound.start(static_cast<float>(setup.sampleRate));
        return kResultOk;
    }

    tresult PLUGIN_API setProcessing(Steinberg::TBool state) override {
        if (state)
            sound.clear();
        return kResultOk;
    }

    Steinberg::uint32 PLUGIN_API getTailSamples() override {
        return static_cast<Steinberg::uint32>(sound.getTail(getSettings()));
    }

protected:
    void render(Vst::ProcessData& data) override {
        if (isStereo(data.inputs, data.numInputs) && isStereo(data.outputs, data.numOutputs))
            sound.render(getSettings(), data.inputs->channelBuffers32, data.outputs->channelBuffers32,
                         data.numSamples);
    }

private:
    EchoSound::Settings getSettings() const {
        return {twinValue(parameters, EchoSound::delayParameter),
                twinValue(parameters, EchoSound::feedbackParameter),
                twinValue(parameters, EchoSound::mixParameter)};
    }

    EchoSound sound;
};

class EchoController : public Vst3DialController {
public:
    EchoController() : Vst3DialController(twinParameters(EchoSound::parameterTexts)) {}

protected:
    void display(Vst::ParamID id, double value, char* text, size_t size) override {
        EchoSound::displayParameter(parameters.find(id), static_cast<float>(value), text, size);
    }
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return new Vst3Factory(
        {vst3Class<Echo>(echoClass, "Echo", "Fx|Delay"), vst3Class<EchoController>(controllerClass, "Echo")});
}
