// Its name isn't UTF-8.

#include "TestEffect.h"

PLUGIN_EXPORT AEffect* VSTPluginMain(audioMasterCallback host) {
    return (new SilentEffect(host, {.uniqueId = 1,
                                    .name = "Fl\xFC"
                                            "gel"}))
        ->getEffect();
}
