// An effect that dies, or hangs, in the middle of its work. One source, many files: DEATH says how, MOMENT
// when.

#include "plugins/Vst2Effect.h"
#include "plugins/dying/Deaths.h"

#include <algorithm>

namespace {

enum class Moment { create, process, idle };

void dieAt(Moment moment) {
    if (moment == Moment::MOMENT)
        DEATH();
}

class Dying : public Vst2Effect {
public:
    explicit Dying(audioMasterCallback host)
        : Vst2Effect(host, {.uniqueId = 0x44796967, .name = "Dying", .parameters = 1}) {
        dieAt(Moment::create);
    }

protected:
    void processReplacing(float** inputs, float** outputs, int32_t frames) override {
        for (int channel = 0; channel < 2; ++channel)
            std::copy_n(inputs[channel], frames, outputs[channel]);
        dieAt(Moment::process);
    }

    void mainsChanged(bool on) override {
        if (on)
            callHost(audioMasterNeedIdle);
    }

    void idle() override {
        // So the client knows when.
        callHost(audioMasterAutomate, 0, 0, nullptr, 1.0F);
        dieAt(Moment::idle);
    }
};

} // namespace

extern "C" __attribute__((visibility("default"))) AEffect* VSTPluginMain(audioMasterCallback host) {
    return (new Dying(host))->getEffect();
}
