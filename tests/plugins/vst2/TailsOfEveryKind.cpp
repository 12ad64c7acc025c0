// A shell whose plug-ins differ in what they say of their tail: unknown, unknown but silent in stop, none,
// endless, and 100 samples. 32 frames to a block.

#include "TestEffect.h"

namespace {

class TailEffect : public SilentEffect {
public:
    TailEffect(audioMasterCallback host, int32_t uniqueId, VstIntPtr tailSize, int32_t flags)
        : SilentEffect(host, {.uniqueId = uniqueId, .name = "Tail", .flags = flags}), tailSize(tailSize) {}

protected:
    VstIntPtr getTailSize() override { return tailSize; }

private:
    VstIntPtr tailSize;
};

} // namespace

PLUGIN_EXPORT AEffect* VSTPluginMain(audioMasterCallback host) {
    static constexpr int32_t ids[] = {3001, 3002, 3003, 3004, 3005, 0};
    static constexpr struct {
        VstIntPtr tailSize;
        int32_t flags;
    } kinds[] = {{0, effFlagsCanReplacing},
                 {0, effFlagsCanReplacing | effFlagsNoSoundInStop},
                 {1, effFlagsCanReplacing},
                 {-1, effFlagsCanReplacing},
                 {100, effFlagsCanReplacing}};
    const auto asked = static_cast<int32_t>(host(nullptr, audioMasterCurrentId, 0, 0, nullptr, 0));
    for (size_t i = 0; i < std::size(kinds); ++i) {
        if (asked == ids[i])
            return (new TailEffect(host, asked, kinds[i].tailSize, kinds[i].flags))->getEffect();
    }
    return (new ShellEffect(host, 3000, "Tails", ids))->getEffect();
}
