// Its entry point gives something that isn't an effect, and that ends the process if it is called.

#include "TestEffect.h"

#include <cstdlib>

PLUGIN_EXPORT AEffect* VSTPluginMain(audioMasterCallback) {
    static AEffect effect{};
    effect.magic = 0x56737451;
    effect.dispatcher = [](AEffect*, VstInt32, VstInt32, VstIntPtr, void*, float) -> VstIntPtr { abort(); };
    return &effect;
}
