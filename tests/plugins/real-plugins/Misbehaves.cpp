// An effect that passes its input on and misbehaves.

#include "plugins/Vst2Effect.h"
#include "plugins/real-plugins/Misbehaviour.h"

#include <algorithm>

namespace {

class Misbehaves : public Vst2Effect {
public:
    explicit Misbehaves(audioMasterCallback host)
        : Vst2Effect(host, {.uniqueId = 0x4d697362, .name = "Misbehaves"}) {}

protected:
    void processReplacing(float** inputs, float** outputs, int32_t frames) override {
        for (int32_t channel = 0; channel < effect.numOutputs; ++channel)
            std::copy_n(inputs[channel], frames, outputs[channel]);
        misbehaviour.renderBlock(outputs[effect.numOutputs - 1], frames);
    }

private:
    Misbehaviour misbehaviour;
};

} // namespace

extern "C" __attribute__((visibility("default"))) AEffect* VSTPluginMain(audioMasterCallback host) {
    return (new Misbehaves(host))->getEffect();
}
