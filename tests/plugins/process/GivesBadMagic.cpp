// An entry point that gives what isn't an effect.

#include "vst2/Vst24.h"

extern "C" __attribute__((visibility("default"))) AEffect* VSTPluginMain(audioMasterCallback) {
    static AEffect effect{};
    effect.magic = 0x12345678;
    return &effect;
}
