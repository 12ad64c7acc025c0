// A module whose factory is null.

#include "vst3/Vst3Names.h"

#include <pluginterfaces/base/ipluginbase.h>

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return nullptr;
}
