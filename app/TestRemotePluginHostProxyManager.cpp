#include "app/TestRemotePluginHostProxyManager.h"

#include "app/TestReplyHandler.h"
#include "core/Log.h"

TestRemotePluginHostProxyManager::~TestRemotePluginHostProxyManager() = default;

void TestRemotePluginHostProxyManager::hostDied(RemotePluginHostProxy&, const String& message,
                                                bool onReplyThread) {
    const char* thread = onReplyThread ? "on a different thread to the main thread" : "on main thread";
    base::core::logError("Remote plugin process died ", thread, ": ", message);
    TestReplyHandler::failAll(message);
}
