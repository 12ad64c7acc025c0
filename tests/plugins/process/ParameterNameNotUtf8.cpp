// An effect with a parameter whose name is no UTF-8.

#include "plugins/Vst2Effect.h"

#include <algorithm>

namespace {

class ParameterNameNotUtf8 : public Vst2Effect {
public:
    explicit ParameterNameNotUtf8(audioMasterCallback host)
        : Vst2Effect(host, {.uniqueId = 0x4E555438, .name = "Odd Text", .parameters = 1}) {}

protected:
    const char* getParameterName(int32_t) override { return "\xFF\xFE"; }

    void processReplacing(float**, float** outputs, int32_t frames) override {
        for (int channel = 0; channel < 2; ++channel)
            std::fill_n(outputs[channel], frames, 0.0F);
    }
};

} // namespace

extern "C" __attribute__((visibility("default"))) AEffect* VSTPluginMain(audioMasterCallback host) {
    return (new ParameterNameNotUtf8(host))->getEffect();
}
