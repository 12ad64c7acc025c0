// The older way in, which most files have: an entry point named "main" and no other.

#include "TestEffect.h"

PLUGIN_EXPORT AEffect* onlyEntryPoint(audioMasterCallback host) asm("main");

AEffect* onlyEntryPoint(audioMasterCallback host) {
    return (new SilentEffect(host, {.uniqueId = 0x4D61696E, .name = "Only Main"}))->getEffect();
}
