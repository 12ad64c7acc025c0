// An effect with neither channels nor notes.

#include "plugins/Vst2Effect.h"

namespace {

class WithoutAudioAndNotes : public Vst2Effect {
public:
    explicit WithoutAudioAndNotes(audioMasterCallback host)
        : Vst2Effect(host, {.uniqueId = 0x4E6F6E65, .name = "Nothing", .inputs = 0, .outputs = 0}) {}

protected:
    void processReplacing(float**, float**, int32_t) override {}
    bool canDo(const char*) override { return false; }
};

} // namespace

extern "C" __attribute__((visibility("default"))) AEffect* VSTPluginMain(audioMasterCallback host) {
    return (new WithoutAudioAndNotes(host))->getEffect();
}
