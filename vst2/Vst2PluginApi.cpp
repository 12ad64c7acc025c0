#include "vst2/Vst2PluginApi.h"

#include "vst2/Vst2Plugin.h"

#include <memory>

constinit Vst2PluginApi Vst2PluginApi::instance;

String Vst2PluginApi::getName() const {
    return "VST 2.4";
}

bool Vst2PluginApi::loads(const String&) const {
    return true;
}

Plugin* Vst2PluginApi::createPlugin(PluginHostContext* host, const String& path) {
    auto plugin = std::make_unique<Vst2Plugin>(host, path);
    plugin->load();
    return plugin.release();
}
