// An effect that says what becomes of denormal numbers: its output is 1 where they are flushed to zero and 2
// where they are kept, and the display of its parameter says the same of the thread that asks for it.

#include "plugins/Vst2Effect.h"

#include <algorithm>
#include <cstdio>
#include <limits>

namespace {

bool denormalsAreFlushed() {
    volatile float result = std::numeric_limits<float>::min();
    result = result * 0.5F;
    volatile float input = std::numeric_limits<float>::denorm_min();
    const float product = input * 1.0e30F;
    return result == 0.0F && product == 0.0F;
}

class WatchesDenormals : public Vst2Effect {
public:
    explicit WatchesDenormals(audioMasterCallback host)
        : Vst2Effect(host, {.uniqueId = 0x57446E31, .name = "Watches Denormals", .parameters = 1}) {}

protected:
    void processReplacing(float**, float** outputs, int32_t frames) override {
        for (int channel = 0; channel < 2; ++channel)
            std::fill_n(outputs[channel], frames, denormalsAreFlushed() ? 1.0F : 2.0F);
    }

    void getParameterDisplay(int32_t, char* text, size_t size) override {
        std::snprintf(text, size, "%s", denormalsAreFlushed() ? "zero" : "kept");
    }
};

} // namespace

extern "C" __attribute__((visibility("default"))) AEffect* VSTPluginMain(audioMasterCallback host) {
    return (new WatchesDenormals(host))->getEffect();
}
