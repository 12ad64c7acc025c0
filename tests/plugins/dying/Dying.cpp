// An effect that dies, or hangs, in the middle of its work. One source, many files: DEATH says how, MOMENT
// when.

#include "plugins/Vst2Effect.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <unistd.h>

namespace {

enum class Moment { create, process, idle };

[[maybe_unused]] void crash() {
    // The compiler isn't to see that nothing is there.
    volatile uintptr_t nowhere = 16;
    *reinterpret_cast<volatile int*>(nowhere) = 0;
}

[[maybe_unused]] void leave() {
    std::exit(3);
}

[[maybe_unused]] void hang() {
    for (;;)
        pause();
}

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
