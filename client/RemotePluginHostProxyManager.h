#pragma once

#include "plugin/CoreNames.h"

class RemotePluginHostProxy;

/// Hears of hosts that have died; one for the whole client.
class RemotePluginHostProxyManager : public Object {
public:
    ~RemotePluginHostProxyManager() override;

    /// Once for each host that died without being asked to, on whichever thread noticed; `onReplyThread` says
    /// that it is the one that reads the host's replies. There the last reference to `proxy` must not be
    /// dropped: its end joins that thread.
    virtual void hostDied(RemotePluginHostProxy& proxy, const String& message, bool onReplyThread) = 0;
    /// For managers that want to know: the host of `proxy` ended because it was asked to.
    virtual void hostShutDown(RemotePluginHostProxy& proxy);
};
