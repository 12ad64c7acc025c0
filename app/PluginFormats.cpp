#include "app/PluginFormats.h"

#include "host/PluginHost.h"
#include "vst2/Vst2PluginApi.h"
#include "vst3/Vst3PluginApi.h"

void addPluginFormats(PluginHost& host) {
    host.addFormat(Vst3PluginApi::instance);
    // Last: accepts every other path.
    host.addFormat(Vst2PluginApi::instance);
}
