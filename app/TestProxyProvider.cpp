#include "app/TestProxyProvider.h"

#include "app/PluginFormats.h"
#include "app/TestRemotePluginHostProxyManager.h"
#include "client/RemotePluginHostProxy.h"
#include "host/PluginHost.h"
#include "local/LocalPluginHostProxy.h"

#include <csignal>
#include <unistd.h>

namespace {

/// For a scope, the end of a child interrupts the wait of the process's first thread, also one that begins
/// within a second of it.
class ChildEndsInterrupt : public NonCopyable, public NonMovable {
public:
    ChildEndsInterrupt() {
        setHandler(
            SIGALRM, [](int) {}, formerAlarm);
        setHandler(
            SIGCHLD, [](int) { alarm(1); }, formerChild);
    }
    ~ChildEndsInterrupt() {
        sigaction(SIGCHLD, &formerChild, nullptr);
        alarm(0);
        sigaction(SIGALRM, &formerAlarm, nullptr);
    }

private:
    static void setHandler(int signal, void (*handler)(int), struct sigaction& former) {
        struct sigaction action {};
        action.sa_handler = handler; // without SA_RESTART
        sigaction(signal, &action, &former);
    }

    struct sigaction formerAlarm {};
    struct sigaction formerChild {};
};

} // namespace

TestProxyProvider::~TestProxyProvider() = default;

SandboxedTestProxyProvider::SandboxedTestProxyProvider(const String& executablePath)
    : executablePath(executablePath) {
    RemotePluginHostProxy::setManager(new TestRemotePluginHostProxyManager);
}

SandboxedTestProxyProvider::~SandboxedTestProxyProvider() = default;

Ref<PluginHostProxy> SandboxedTestProxyProvider::createProxy() {
    // Without this, a child that ends before it opens its pipes is waited for without end.
    const ChildEndsInterrupt interrupt;
    return new RemotePluginHostProxy(executablePath);
}

LocalTestProxyProvider::~LocalTestProxyProvider() = default;

Ref<PluginHostProxy> LocalTestProxyProvider::createProxy() {
    const Ref<PluginHost> host(
        new PluginHost(RemotePluginHostProxy::defaultSampleRate, RemotePluginHostProxy::defaultBlockSize));
    addPluginFormats(*host);
    const Ref<LocalPluginHostProxy> proxy(new LocalPluginHostProxy(host));
    proxy->start();
    return proxy;
}
