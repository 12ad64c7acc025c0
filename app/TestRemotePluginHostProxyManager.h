#pragma once

#include "client/RemotePluginHostProxyManager.h"

/// Logs the death of a host under test, and fails all waits for its replies.
class TestRemotePluginHostProxyManager : public RemotePluginHostProxyManager {
public:
    ~TestRemotePluginHostProxyManager() override;

    void hostDied(RemotePluginHostProxy& proxy, const String& message, bool onReplyThread) override;
};
