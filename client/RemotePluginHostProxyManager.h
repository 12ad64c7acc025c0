#pragma once

#include "plugin/CoreNames.h"

class RemotePluginHostProxy;

/// Gets the end of each host reported; one for the whole client. For each host that came up, exactly one of
/// the two operations is called, once. Exceptions are logged.
class RemotePluginHostProxyManager : public Object {
public:
    ~RemotePluginHostProxyManager() override;

    /// The host died without being asked to end. Called on the thread that noticed; `onReplyThread` is true
    /// if that is the one that reads the host's replies. References to `proxy` may be made and dropped,
    /// including the last one. The constructor of `proxy` may still be running: it returns after this call,
    /// so don't wait for it; drop a reference made meanwhile within this call, or after the constructor's
    /// caller has its own.
    virtual void hostDied(RemotePluginHostProxy& proxy, const String& message, bool onReplyThread) = 0;
    /// The host was asked to end; it may have died at the same moment. Called on the thread that asked.
    virtual void hostShutDown(RemotePluginHostProxy& proxy);
};
