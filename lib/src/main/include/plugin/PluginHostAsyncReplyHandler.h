#pragma once

#include "plugin/CoreNames.h"

#include <cstdint>

class PluginHostReply;

/// Gets the outcome of one asynchronous request, on the thread that reads the host's replies: it must not
/// wait there for anything that needs that thread.
class PluginHostAsyncReplyHandler : public Object {
public:
    ~PluginHostAsyncReplyHandler() override;

    virtual bool isForInstance(int32_t instanceId);
    /// `reply` is never null for a request that has one.
    virtual void onReply(PluginHostReply* reply) = 0;
    /// The request failed, for the reason in `message`.
    virtual void onError(const String& message) = 0;
};
