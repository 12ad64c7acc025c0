#include "app/TestProxyProvider.h"

#include "app/TestRemotePluginHostProxyManager.h"
#include "client/RemotePluginHostProxy.h"
#include "host/PluginHost.h"
#include "local/LocalPluginHostProxy.h"

TestProxyProvider::~TestProxyProvider() = default;

SandboxedTestProxyProvider::SandboxedTestProxyProvider(const String& executablePath)
    : executablePath(executablePath) {
    RemotePluginHostProxy::setManager(new TestRemotePluginHostProxyManager);
}

SandboxedTestProxyProvider::~SandboxedTestProxyProvider() = default;

Ref<PluginHostProxy> SandboxedTestProxyProvider::createProxy() {
    return new RemotePluginHostProxy(executablePath);
}

LocalTestProxyProvider::~LocalTestProxyProvider() = default;

Ref<PluginHostProxy> LocalTestProxyProvider::createProxy() {
    const Ref<PluginHost> host(
        new PluginHost(RemotePluginHostProxy::defaultSampleRate, RemotePluginHostProxy::defaultBlockSize));
    const Ref<LocalPluginHostProxy> proxy(new LocalPluginHostProxy(host));
    proxy->start();
    return proxy;
}
