// Both ways in; the effect's name tells which one was taken.

#include "TestEffect.h"

PLUGIN_EXPORT AEffect* olderEntryPoint(audioMasterCallback host) asm("main");

AEffect* olderEntryPoint(audioMasterCallback host) {
    return (new SilentEffect(host, {.uniqueId = 2, .name = "Through main"}))->getEffect();
}

PLUGIN_EXPORT AEffect* VSTPluginMain(audioMasterCallback host) {
    return (new SilentEffect(host, {.uniqueId = 1, .name = "Through VSTPluginMain"}))->getEffect();
}
