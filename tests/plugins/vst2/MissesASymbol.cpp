// Calls a function that nobody has, from a place that is never reached.

#include "TestEffect.h"

extern "C" void functionThatNobodyHas();

PLUGIN_EXPORT AEffect* VSTPluginMain(audioMasterCallback host) {
    if (host == nullptr)
        functionThatNobodyHas();
    return (new SilentEffect(host, {.uniqueId = 1, .name = "Incomplete"}))->getEffect();
}
