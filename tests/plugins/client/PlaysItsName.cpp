// An effect whose output is constant: as many sixteenths as the name of its file ends with, as in
// "voice-3.so". Copies and links of the file are different plug-ins.

#include "plugins/Vst2Effect.h"

#include <algorithm>
#include <cstdlib>
#include <dlfcn.h>
#include <string>

namespace {

float sixteenthsOfTheName() {
    Dl_info file{};
    if (dladdr(reinterpret_cast<const void*>(&sixteenthsOfTheName), &file) == 0)
        return 0;
    const std::string path = file.dli_fname;
    return static_cast<float>(std::atoi(path.c_str() + path.rfind('-') + 1)) / 16;
}

class PlaysItsName : public Vst2Effect {
public:
    explicit PlaysItsName(audioMasterCallback host)
        : Vst2Effect(host, {.uniqueId = 0x506C4E61, .name = "Plays Its Name"}) {}

protected:
    void processReplacing(float**, float** outputs, int32_t frames) override {
        for (int channel = 0; channel < 2; ++channel)
            std::fill_n(outputs[channel], frames, level);
    }

private:
    const float level = sixteenthsOfTheName();
};

} // namespace

extern "C" __attribute__((visibility("default"))) AEffect* VSTPluginMain(audioMasterCallback host) {
    return (new PlaysItsName(host))->getEffect();
}
