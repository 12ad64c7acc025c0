// An effect that passes its input on and, in its third block, does the one bad thing that its target is named
// after.

#include "plugins/Vst2Effect.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <unistd.h>

namespace {

class Misbehaves : public Vst2Effect {
public:
    explicit Misbehaves(audioMasterCallback host)
        : Vst2Effect(host, {.uniqueId = 0x4d697362, .name = "Misbehaves"}) {}

protected:
    void processReplacing(float** inputs, float** outputs, int32_t frames) override {
        for (int32_t channel = 0; channel < effect.numOutputs; ++channel)
            std::copy_n(inputs[channel], frames, outputs[channel]);
        constexpr int32_t badBlock = 3;
        if (++block == badBlock)
            misbehave(outputs[effect.numOutputs - 1], frames);
    }

private:
    static void misbehave([[maybe_unused]] float* output, [[maybe_unused]] int32_t frames) {
#if defined(WRITES_BEYOND_ITS_OUTPUT)
        output[frames] = 0;
#elif defined(RENDERS_NAN)
        output[frames - 1] = std::numeric_limits<float>::quiet_NaN();
#elif defined(RENDERS_INFINITY)
        output[0] = std::numeric_limits<float>::infinity();
#elif defined(NEVER_RETURNS)
        for (;;)
            pause();
#elif defined(ENDS_THE_PROCESS)
        _exit(7);
#else
#error "Which bad thing?"
#endif
    }

    int32_t block = 0;
};

} // namespace

extern "C" __attribute__((visibility("default"))) AEffect* VSTPluginMain(audioMasterCallback host) {
    return (new Misbehaves(host))->getEffect();
}
