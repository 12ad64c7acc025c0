#pragma once

#include "client/RemotePluginInstance.h"
#include "plugin/PluginAudioContext.h"

/// What a proxy keeps of an instance whose host lives in the same process: its audio block, too.
class LocalPluginInstance : public RemotePluginInstance {
public:
    using RemotePluginInstance::RemotePluginInstance;
    ~LocalPluginInstance() override;

    /// Null until the host has made one.
    Ref<PluginAudioContext> context;
};
