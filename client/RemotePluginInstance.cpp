#include "client/RemotePluginInstance.h"

RemotePluginInstance::RemotePluginInstance(int32_t instanceId,
                                           const Ref<PluginHostNotificationListener>& listener)
    : instanceId(instanceId), listener(listener) {}

RemotePluginInstance::~RemotePluginInstance() = default;
