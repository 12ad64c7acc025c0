#include "vst3/Vst3PluginApi.h"

#include "plugin/PluginException.h"

constinit Vst3PluginApi Vst3PluginApi::instance;

String Vst3PluginApi::getName() const {
    return "VST 3";
}

Plugin* Vst3PluginApi::createPlugin(PluginHost*, const String& path) {
    throw PluginException(concat("VST 3 plug-ins can't be loaded by this version: ", path));
}
