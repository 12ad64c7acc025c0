// A plug-in that does nothing but count its blocks: the count is the first sample of each block's output, so
// that a benchmark can see that it really ran. A float counts exactly up to 16 million.

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
