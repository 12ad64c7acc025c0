// Has only the older process function, which adds to its outputs: here its inputs, turned down by half. Ends
// the process if it is asked to replace.

#include "TestEffect.h"

#include <cstdlib>

namespace {

class AddingEffect : public Vst2Effect {
public:
    using Vst2Effect::Vst2Effect;

protected:
    void processReplacing(float**, float**, int32_t) override { abort(); }

    void processAccumulating(float** inputs, float** outputs, int32_t frames) override {
        for (int32_t channel = 0; channel < effect.numOutputs; ++channel) {
            for (int32_t frame = 0; frame < frames; ++frame)
                outputs[channel][frame] += inputs[channel][frame] * 0.5F;
        }
    }
};

} // namespace

PLUGIN_EXPORT AEffect* VSTPluginMain(audioMasterCallback host) {
    return (new AddingEffect(host, {.uniqueId = 0x41646473, .name = "Adds", .flags = 0}))->getEffect();
}
