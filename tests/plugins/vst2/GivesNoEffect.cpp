// Its entry point gives null.

#include "TestEffect.h"

PLUGIN_EXPORT AEffect* VSTPluginMain(audioMasterCallback) {
    return nullptr;
}
