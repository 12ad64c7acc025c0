// An effect with errors for the sanitizers. The number of the program that is set says which.

#include "plugins/Vst2Effect.h"

#include <climits>
#include <cstdlib>
#include <thread>

namespace {

enum Error { leak = 1, race = 2, overflow = 3, useAfterFree = 4 };

int shared = 0;
volatile int largest = INT_MAX;

// Not inlined, and its own variables are gone when it returns: a leak has no pointer to it.
__attribute__((noinline)) void err(int32_t error) {
    switch (error) {
    case leak: {
        auto* volatile lost = new int[1000];
        lost[0] = 1;
        lost = nullptr;
        break;
    }
    case race: {
        std::thread other([] { ++shared; });
        ++shared;
        other.join();
        break;
    }
    case overflow:
        largest = largest + 1;
        break;
    case useAfterFree: {
        auto* volatile freed = static_cast<char*>(std::malloc(100));
        std::free(freed);
        freed[1] = 1;
        break;
    }
    default:
        break;
    }
}

class ErrsWhenAsked : public Vst2Effect {
public:
    explicit ErrsWhenAsked(audioMasterCallback host)
        : Vst2Effect(host, {.uniqueId = 0x45727273, .name = "Errs", .programs = 5}) {}

protected:
    VstIntPtr dispatch(VstInt32 opcode, VstInt32 index, VstIntPtr value, void* ptr, float opt) override {
        if (opcode == effSetProgram)
            err(static_cast<int32_t>(value));
        return Vst2Effect::dispatch(opcode, index, value, ptr, opt);
    }

    void processReplacing(float**, float**, int32_t) override {}
};

} // namespace

extern "C" __attribute__((visibility("default"))) AEffect* VSTPluginMain(audioMasterCallback host) {
    return (new ErrsWhenAsked(host))->getEffect();
}
