#pragma once

#include "plugin/PluginHostRequest.h"
#include "plugin/WireRecord.h"

class PluginInstance;

/// A request to one instance. Its payload starts with `int32n` instanceId.
class PluginInstanceRequest : public PluginHostRequest {
public:
    /// The instanceId before the payload has been read.
    static constexpr int32_t unreadInstanceId = -7;

    explicit PluginInstanceRequest(int32_t instanceId = unreadInstanceId);
    ~PluginInstanceRequest() override;

    bool isForInstance(int32_t id) const override;
    /// Looks the instance up and holds it during the run. An unknown id is logged to stderr.
    /// Oddity unknown-instance-silence: it gets no reply, not even to a request that needs one.
    void perform(PluginHostContext& host) override;
    void read(InputStream& stream) override;
    void write(OutputStream& stream) const override;
    virtual void performOnInstance(PluginInstance& instance) = 0;

    int32_t instanceId;

    static constexpr auto fields() {
        return wire::fields(wire::int32n("instanceId", &PluginInstanceRequest::instanceId));
    }
};
