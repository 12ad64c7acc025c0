// An effect that ends its process. The number that it is loaded under says where, in its tens, and how.

#include "plugins/Vst2Effect.h"

#include <algorithm>
#include <cstdlib>
#include <stdexcept>

namespace {

enum Place { inEntryPoint = 1, inOpen = 2, inSetProgram = 3, inIdle = 4, inProcess = 5, inClose = 6 };
enum Way { byFault = 1, byAbort = 2, byExit = 3, byThrow = 4 };

constexpr int ownStatus = 3;

void die(int32_t way) {
    switch (way) {
    case byFault: {
        volatile uintptr_t nowhere = 64;
        *reinterpret_cast<volatile int*>(nowhere) = 1;
        break;
    }
    case byAbort:
        std::abort();
    case byExit:
        std::exit(ownStatus);
    case byThrow:
        throw std::runtime_error("this plug-in was asked to throw");
    default:
        break;
    }
}

class DiesWhenAsked : public Vst2Effect {
public:
    DiesWhenAsked(audioMasterCallback host, int32_t place, int32_t way)
        : Vst2Effect(host, {.uniqueId = 0x44696573, .name = "Dies", .programs = 1}), place(place), way(way) {}

protected:
    VstIntPtr dispatch(VstInt32 opcode, VstInt32 index, VstIntPtr value, void* ptr, float opt) override {
        if ((opcode == effOpen && place == inOpen) || (opcode == effSetProgram && place == inSetProgram) ||
            (opcode == effClose && place == inClose))
            die(way);
        // Idle calls are asked for late, so that the create is over by then.
        if (opcode == effSetProgram && place == inIdle)
            callHost(audioMasterNeedIdle);
        return Vst2Effect::dispatch(opcode, index, value, ptr, opt);
    }

    void idle() override {
        if (place == inIdle)
            die(way);
    }

    void processReplacing(float**, float** outputs, int32_t frames) override {
        for (int channel = 0; channel < 2; ++channel)
            std::fill_n(outputs[channel], frames, 0.0F);
        if (place == inProcess)
            die(way);
    }

private:
    int32_t place;
    int32_t way;
};

} // namespace

extern "C" __attribute__((visibility("default"))) AEffect* VSTPluginMain(audioMasterCallback host) {
    const auto asked = static_cast<int32_t>(host(nullptr, audioMasterCurrentId, 0, 0, nullptr, 0));
    if (asked / 10 == inEntryPoint)
        die(asked % 10);
    return (new DiesWhenAsked(host, asked / 10, asked % 10))->getEffect();
}
