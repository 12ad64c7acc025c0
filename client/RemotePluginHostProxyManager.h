#pragma once

#include "plugin/CoreNames.h"

class RemotePluginHostProxy;

/// Hears of hosts that have died; one for the whole client. For each host that came up, one of the two
/// operations is called, once. What they throw is logged.
class RemotePluginHostProxyManager : public Object {
public:
    ~RemotePluginHostProxyManager() override;

    /// Once for each host that died without being asked to, on whichever thread noticed; `onReplyThread` says
    /// that it is the one that reads the host's replies. References to `proxy` may be made and dropped, the
    /// last one too. The constructor of `proxy` may still be at work: it doesn't return before this does, and
    /// must not be waited for; a reference that is made then is dropped here, or once the constructor's
    /// caller has its own.
    virtual void hostDied(RemotePluginHostProxy& proxy, const String& message, bool onReplyThread) = 0;
    /// The host of `proxy` was asked to end, though it may have died in the same moment. On the thread that
    /// asked.
    virtual void hostShutDown(RemotePluginHostProxy& proxy);
};
