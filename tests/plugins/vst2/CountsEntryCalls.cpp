// Counts the calls of its entry point, and keeps what the host answered to `audioMasterCurrentId` in the
// latest one.

#include "TestEffect.h"

PLUGIN_EXPORT int32_t entryCalls;
PLUGIN_EXPORT int32_t currentIdDuringEntry;

__attribute__((visibility("default"))) int32_t entryCalls = 0;
__attribute__((visibility("default"))) int32_t currentIdDuringEntry = 0;

PLUGIN_EXPORT AEffect* VSTPluginMain(audioMasterCallback host) {
    ++entryCalls;
    currentIdDuringEntry = static_cast<int32_t>(host(nullptr, audioMasterCurrentId, 0, 0, nullptr, 0));
    return (new SilentEffect(host, {.uniqueId = 314, .name = "Counter"}))->getEffect();
}
