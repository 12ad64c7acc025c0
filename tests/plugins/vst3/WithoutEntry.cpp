// A module without an entry.

#include "vst3/Identifiers.h"
#include "vst3/PlainEffect.h"

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return new Vst3Factory({vst3Class<PlainEffect>(firstClass, "Without Entry")});
}
