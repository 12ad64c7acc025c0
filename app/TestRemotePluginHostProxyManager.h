#pragma once

#include "client/RemotePluginHostProxyManager.h"

/// Says that a host under test has died, and fails those who wait for its replies.
class TestRemotePluginHostProxyManager : public RemotePluginHostProxyManager {
public:
    ~TestRemotePluginHostProxyManager() override;

    void hostDied(RemotePluginHostProxy& proxy, const String& message, bool onReplyThread) override;
};
