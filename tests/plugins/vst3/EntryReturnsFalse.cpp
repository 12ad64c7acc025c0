// A module that refuses to be loaded. It counts how often it was asked, and keeps what it was given.

#include "plugins/Vst3Factory.h"

extern "C" {

__attribute__((visibility("default"))) int entryCalls = 0;
__attribute__((visibility("default"))) void* entryHandle = nullptr;

__attribute__((visibility("default"))) bool ModuleEntry(void* handle) {
    ++entryCalls;
    entryHandle = handle;
    return false;
}
}

Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
    return new Vst3Factory({});
}
