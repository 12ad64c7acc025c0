// A plug-in that only counts its blocks. The count is the first sample of each block's output, by which a
// benchmark checks that it ran. A float is exact up to 16 million.

#include "plugins/Vst2Effect.h"

namespace {

class DoesNothing : public Vst2Effect {
public:
    explicit DoesNothing(audioMasterCallback host)
        : Vst2Effect(host, {.uniqueId = 0x4e6f7468, .name = "Does Nothing"}) {}

protected:
    void processReplacing(float**, float** outputs, int32_t) override { outputs[0][0] = ++blocks; }

private:
    float blocks = 0;
};

} // namespace

extern "C" __attribute__((visibility("default"))) AEffect* VSTPluginMain(audioMasterCallback host) {
    return (new DoesNothing(host))->getEffect();
}
