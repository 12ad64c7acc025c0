#pragma once

#include "library/PluginReports.h"
#include "plugin/PluginInstanceState.h"
#include <plugin-host/client.h>

namespace client_library {

/// What a description is made of.
struct DescribedPlugin {
    String path;
    /// As the application gave it; may be empty.
    String identifier;
    Identity identity;
    bool hasEditor;
    int32_t inputChannelCount;
    int32_t outputChannelCount;
    int32_t latency;
    const PluginInstanceState& content;
};

/// The caller's, for `freeDescription`.
const plugin_host_description* makeDescription(const DescribedPlugin& plugin);
void freeDescription(const plugin_host_description* description);

} // namespace client_library
