#include "plugin/PluginInstanceRequest.h"

#include "core/Log.h"
#include "plugin/PluginHostContext.h"
#include "plugin/PluginInstance.h"

PluginInstanceRequest::PluginInstanceRequest(int32_t instanceId) : instanceId(instanceId) {}

PluginInstanceRequest::~PluginInstanceRequest() = default;

bool PluginInstanceRequest::isForInstance(int32_t id) const {
    return instanceId == id;
}

void PluginInstanceRequest::perform(PluginHostContext& host) {
    // Destroying drops the table's reference.
    const Ref<PluginInstance> instance = host.instances.find(instanceId);
    if (!instance) {
        base::core::logError("No plugin instance found with id ", instanceId);
        return;
    }
    instance->awaitWorkerTurns();
    performOnInstance(*instance);
}

void PluginInstanceRequest::read(InputStream& stream) {
    wire::read(stream, *this);
}

void PluginInstanceRequest::write(OutputStream& stream) const {
    wire::write(stream, *this);
}
