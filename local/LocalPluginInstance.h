#pragma once

#include "client/RemotePluginInstance.h"
#include "plugin/PluginAudioContext.h"

/// The client's side of an instance in the same process, which includes its audio block.
class LocalPluginInstance : public RemotePluginInstance {
public:
    using RemotePluginInstance::RemotePluginInstance;
    ~LocalPluginInstance() override;

    /// Null until the host has made one.
    Ref<PluginAudioContext> context;
};
