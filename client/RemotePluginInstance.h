#pragma once

#include "plugin/CoreNames.h"
#include "plugin/PluginHostNotificationListener.h"

#include <cstdint>

/// The client's side of an instance, kept by its proxy.
class RemotePluginInstance : public Object {
public:
    RemotePluginInstance(int32_t instanceId, const Ref<PluginHostNotificationListener>& listener);
    ~RemotePluginInstance() override;

    const int32_t instanceId;
    /// May be null.
    const Ref<PluginHostNotificationListener> listener;
};
