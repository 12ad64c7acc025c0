// A module whose two classes have one identifier.

#include "vst3/Identifiers.h"
#include "vst3/PlainEffect.h"

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return new Vst3Factory({vst3Class<PlainEffect>(firstClass, "Earlier", "Fx|Earlier"),
                            vst3Class<PlainEffect>(firstClass, "Later", "Fx|Later")});
}
