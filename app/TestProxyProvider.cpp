#include "app/TestProxyProvider.h"

#include "app/PluginFormats.h"
#include "app/TestRemotePluginHostProxyManager.h"
#include "client/RemotePluginHostProxy.h"
#include "host/PluginHost.h"
#include "local/LocalPluginHostProxy.h"

#include <csignal>
#include <unistd.h>

namespace {

/// While it lives, a child that ends interrupts what the process's first thread waits for, or begins to wait
/// for in the second that follows.
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
    // A child that ends before it has opened its pipes would be waited for.
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
