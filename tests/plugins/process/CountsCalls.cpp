// An effect that gives as its output what its thread has done since its last block: frame 0 the allocations
// and releases of memory, frame 1 the calls of locks. With its parameter above 0.5 it reports to its host
// from inside its block, and frame 2 gives the allocations of that. The numbers come from the library that
// was loaded before all others; without it they are -1.

#include "plugins/Vst2Effect.h"

#include <algorithm>
#include <cstdint>
#include <dlfcn.h>

namespace {

using Counter = uint32_t (*)();

class CountsCalls : public Vst2Effect {
public:
    explicit CountsCalls(audioMasterCallback host)
        : Vst2Effect(host, {.uniqueId = 0x43434C31,
                            .name = "Counts Calls",
                            .parameters = 1,
                            .flags = effFlagsCanReplacing | effFlagsIsSynth}),
          allocations(reinterpret_cast<Counter>(dlsym(RTLD_DEFAULT, "countedAllocations"))),
          locks(reinterpret_cast<Counter>(dlsym(RTLD_DEFAULT, "countedLocks"))) {}

protected:
    void processReplacing(float**, float** outputs, int32_t frames) override {
        for (int channel = 0; channel < 2; ++channel)
            std::fill_n(outputs[channel], frames, -1.0F);
        if (allocations == nullptr || locks == nullptr)
            return;
        outputs[0][0] = static_cast<float>(allocations() - allocationsBefore);
        outputs[0][1] = static_cast<float>(locks() - locksBefore);
        if (getParameter(0) > 0.5F) {
            const uint32_t before = allocations();
            callHost(audioMasterAutomate, 0, 0, nullptr, getParameter(0));
            outputs[0][2] = static_cast<float>(allocations() - before);
        }
        allocationsBefore = allocations();
        locksBefore = locks();
    }

    bool canDo(const char*) override { return true; }

private:
    Counter allocations;
    Counter locks;
    uint32_t allocationsBefore = 0;
    uint32_t locksBefore = 0;
};

} // namespace

extern "C" __attribute__((visibility("default"))) AEffect* VSTPluginMain(audioMasterCallback host) {
    return (new CountsCalls(host))->getEffect();
}
