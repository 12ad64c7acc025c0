#include "client/RemotePluginHostProxyManager.h"

RemotePluginHostProxyManager::~RemotePluginHostProxyManager() = default;

void RemotePluginHostProxyManager::hostShutDown(RemotePluginHostProxy&) {}
