#pragma once

#include "plugin/PluginHostAction.h"
#include "plugin/WireRecord.h"

#include <cstdint>

class PluginHostNotificationListener;

/// A message from a host to its client that isn't a reply.
class PluginHostNotification : public PluginHostAction {
public:
    PluginHostNotification(int32_t instanceId, Object* sender);
    ~PluginHostNotification() override;

    /// Host side: passes itself to the handler for sending.
    void run() override;
    virtual int32_t getType() const = 0;
    /// The type byte, then the fields of its kind, of which instanceId is the first.
    virtual void write(OutputStream& stream) const;
    /// Client side: calls the listener's operation of its kind.
    virtual void deliver(PluginHostNotificationListener& listener) = 0;

    int32_t instanceId;
    /// Borrowed. On the host the `PluginHostProxyHandler` that sends it, on the client the proxy that it
    /// arrived through.
    Object* sender;

    static constexpr auto fields() {
        return wire::fields(wire::int32n("instanceId", &PluginHostNotification::instanceId));
    }
};
