#include "vst3/Vst3PluginApi.h"

#include "plugin/PluginBundle.h"
#include "vst3/Vst3Plugin.h"

#include <memory>

constinit Vst3PluginApi Vst3PluginApi::instance;

String Vst3PluginApi::getName() const {
    return "VST 3";
}

bool Vst3PluginApi::loads(const String& path) const {
    return isVst3Path(path);
}

Plugin* Vst3PluginApi::createPlugin(PluginHostContext* host, const String& path) {
    auto plugin = std::make_unique<Vst3Plugin>(host, path);
    plugin->load();
    return plugin.release();
}
