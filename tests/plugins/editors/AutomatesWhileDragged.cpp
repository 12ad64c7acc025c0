// An effect whose editor automates a parameter while its dial is dragged: begin, each value, end.

#include "plugins/vst2/TestEffect.h"

namespace {

class AutomatesWhileDragged : public SilentEffect {
public:
    explicit AutomatesWhileDragged(audioMasterCallback host)
        : SilentEffect(host, {.uniqueId = 0x44726167, .name = "Drag", .parameters = 2, .hasDials = true}) {
        setParameter(0, 0.25F);
    }
};

} // namespace

PLUGIN_EXPORT AEffect* VSTPluginMain(audioMasterCallback host) {
    return (new AutomatesWhileDragged(host))->getEffect();
}
