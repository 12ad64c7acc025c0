// An effect with 65 mono buses each way: the first sample of each output that it is given is the number of
// outputs, the second one the first sample of the input of the same number.

#include "plugins/Vst3Factory.h"
#include "vst3/Identifiers.h"

namespace {

std::vector<Vst3Bus> manyBuses() {
    std::vector<Vst3Bus> buses(65, Vst3Bus::audioInput(Vst::SpeakerArr::kMono));
    buses.insert(buses.end(), 65, Vst3Bus::audioOutput(Vst::SpeakerArr::kMono));
    return buses;
}

class SixtyFiveBuses : public Vst3Component {
public:
    SixtyFiveBuses() : Vst3Component({.buses = manyBuses()}) {}

protected:
    void render(Vst::ProcessData& data) override {
        for (int32_t i = 0; i < data.numOutputs; ++i) {
            float* samples = data.outputs[i].channelBuffers32[0];
            samples[0] = static_cast<float>(data.numOutputs);
            samples[1] = data.inputs[i].channelBuffers32[0][0];
        }
    }
};

} // namespace

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return new Vst3Factory({vst3Class<SixtyFiveBuses>(firstClass, "Sixty-Five Buses")});
}
