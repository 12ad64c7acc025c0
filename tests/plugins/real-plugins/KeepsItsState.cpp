// An effect that saves and loads its state in the way, good or bad, that its target is named after.

#include "plugins/vst2/TestEffect.h"

#include <unistd.h>

namespace {

#if defined(SAVES_5000_PARAMETERS)
constexpr Vst2EffectTraits chosenTraits{
    .uniqueId = 0x4d616e79, .name = "Many Parameters", .parameters = 5000, .programs = 1};
#elif defined(FORGETS_ITS_CHUNK) || defined(ENDS_AT_ITS_CHUNK)
constexpr Vst2EffectTraits chosenTraits{.uniqueId = 0x466f7267,
                                        .name = "Chunk",
                                        .parameters = 2,
                                        .flags = effFlagsCanReplacing | effFlagsProgramChunks};
#else
#error "Which way?"
#endif

class KeepsItsState : public SilentEffect {
public:
    explicit KeepsItsState(audioMasterCallback host) : SilentEffect(host, chosenTraits) {}

protected:
    VstIntPtr dispatch(VstInt32 opcode, VstInt32 index, VstIntPtr value, void* ptr, float opt) override {
        if (opcode == effGetChunk) {
            *static_cast<char**>(ptr) = chunk;
            return sizeof chunk;
        }
        if (opcode == effSetChunk) {
#if defined(ENDS_AT_ITS_CHUNK)
            _exit(7);
#endif
            return 1;
        }
        return SilentEffect::dispatch(opcode, index, value, ptr, opt);
    }
    const char* getParameterName(int32_t index) override {
        return index == 0 ? "First" : "Other";
    }

private:
    char chunk[4] = {'k', 'e', 'p', 't'};
};

} // namespace

PLUGIN_EXPORT AEffect* VSTPluginMain(audioMasterCallback host) {
    return (new KeepsItsState(host))->getEffect();
}
