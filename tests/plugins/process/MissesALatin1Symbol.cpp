// Calls a function that isn't there, from a place that is never reached; its name is Latin-1.

#include "plugins/Vst2Effect.h"

extern "C" void missingFunction() __asm__("fl\xFCgel");

extern "C" __attribute__((visibility("default"))) AEffect* VSTPluginMain(audioMasterCallback host) {
    if (host == nullptr)
        missingFunction();
    return nullptr;
}
