// A shell that offers nothing.

#include "TestEffect.h"

PLUGIN_EXPORT AEffect* VSTPluginMain(audioMasterCallback host) {
    static constexpr int32_t ids[] = {0};
    return (new ShellEffect(host, 0x456D7074, "Empty Shell", ids))->getEffect();
}
