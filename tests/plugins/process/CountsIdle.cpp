// An effect that asks for idle calls and shows their number as the display of its only parameter.

#include "plugins/Vst2Effect.h"

#include <algorithm>
#include <cstdio>

namespace {

class CountsIdle : public Vst2Effect {
public:
    explicit CountsIdle(audioMasterCallback host)
        : Vst2Effect(host, {.uniqueId = 0x43496431, .name = "Counts Idle", .parameters = 1}) {}

protected:
    void mainsChanged(bool) override { callHost(audioMasterNeedIdle); }

    void idle() override { ++calls; }

    void getParameterDisplay(int32_t, char* text, size_t size) override {
        // Of one length, so that a reader knows how much to expect.
        std::snprintf(text, size, "%06d", calls);
    }

    void processReplacing(float**, float** outputs, int32_t frames) override {
        for (int channel = 0; channel < 2; ++channel)
            std::fill_n(outputs[channel], frames, 0.0F);
    }

private:
    int32_t calls = 0;
};

} // namespace

extern "C" __attribute__((visibility("default"))) AEffect* VSTPluginMain(audioMasterCallback host) {
    return (new CountsIdle(host))->getEffect();
}
