// A plug-in whose blocks take MICROSECONDS of processor time. The count of its blocks is the first sample of
// each block's output.

#include "plugins/Vst2Effect.h"

#include <ctime>

namespace {

constexpr long duration = MICROSECONDS * 1'000L; // nanoseconds

long elapsed(const timespec& begin) {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (now.tv_sec - begin.tv_sec) * 1'000'000'000 + now.tv_nsec - begin.tv_nsec;
}

class TakesItsTime : public Vst2Effect {
public:
    explicit TakesItsTime(audioMasterCallback host)
        : Vst2Effect(host, {.uniqueId = 0x54696d65, .name = "Takes Its Time"}) {}

protected:
    void processReplacing(float**, float** outputs, int32_t) override {
        timespec begin{};
        clock_gettime(CLOCK_MONOTONIC, &begin);
        while (elapsed(begin) < duration) {
        }
        outputs[0][0] = ++blocks;
    }

private:
    float blocks = 0;
};

} // namespace

extern "C" __attribute__((visibility("default"))) AEffect* VSTPluginMain(audioMasterCallback host) {
    return (new TakesItsTime(host))->getEffect();
}
