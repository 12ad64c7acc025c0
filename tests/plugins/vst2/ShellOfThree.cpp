// A shell of three, one of which has a negative id.

#include "TestEffect.h"

PLUGIN_EXPORT AEffect* VSTPluginMain(audioMasterCallback host) {
    static constexpr int32_t ids[] = {1001, -1002, 1003, 0};
    static constexpr const char* names[] = {"First", "Second", "Third"};
    const auto asked = static_cast<int32_t>(host(nullptr, audioMasterCurrentId, 0, 0, nullptr, 0));
    for (size_t i = 0; i < std::size(names); ++i) {
        if (asked == ids[i])
            return (new SilentEffect(host, {.uniqueId = asked, .name = names[i]}))->getEffect();
    }
    return (new ShellEffect(host, 1000, "Shell", ids))->getEffect();
}
