// A shared object that is no plug-in.

#include "TestEffect.h"

PLUGIN_EXPORT AEffect* VSTPluginMainButNotQuite(audioMasterCallback) {
    return nullptr;
}
