// A plug-in with a unique id below 0.

#include "TestEffect.h"

PLUGIN_EXPORT AEffect* VSTPluginMain(audioMasterCallback host) {
    return (new SilentEffect(host, {.uniqueId = -559038737, .name = "Negative"}))->getEffect();
}
