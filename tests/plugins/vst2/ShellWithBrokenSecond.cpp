// A shell of three, of which the second gives no effect.

#include "TestEffect.h"

PLUGIN_EXPORT AEffect* VSTPluginMain(audioMasterCallback host) {
    static constexpr int32_t ids[] = {2001, 2002, 2003, 0};
    switch (const auto asked = static_cast<int32_t>(host(nullptr, audioMasterCurrentId, 0, 0, nullptr, 0))) {
    case 2001:
    case 2003:
        return (new SilentEffect(host, {.uniqueId = asked, .name = "Works"}))->getEffect();
    case 2002:
        return nullptr;
    default:
        return (new ShellEffect(host, 2000, "Shell", ids))->getEffect();
    }
}
