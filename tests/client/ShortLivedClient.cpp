// A client that is about to be killed: starts a host with a plug-in, says so, and waits.
//
//     short-lived-client HOST PLUGIN [reports]
//
// prints the host's process id once the plug-in is up, or has reported a parameter.

#include "client/RemotePluginHostProxy.h"
#include "client/ReplyWaiter.h"

#include "plugin/PluginHostNotificationListener.h"

#include <cstdio>
#include <semaphore>
#include <unistd.h>

namespace {

class FirstReport : public PluginHostNotificationListener {
public:
    void onUpdateParameter(const UpdateParameterNotification&) override { reported.release(); }
    void onUpdateParameterDisplay(const UpdateParameterDisplayNotification&) override {}
    void onUpdateAllParameters(const UpdateAllParametersNotification&) override {}
    void onBeginOrEndEditParameter(const BeginOrEndEditParameterNotification&) override {}
    void onPluginWindowMoved(const PluginWindowMovedNotification&) override {}
    void onPluginWindowClosed(const PluginWindowClosedNotification&) override {}

    std::counting_semaphore<> reported{0};
};

} // namespace

int main(int argc, char** argv) {
    constexpr unsigned longestLife = 30; // seconds
    alarm(longestLife);
    if (argc < 3)
        return 2;
    const Ref<RemotePluginHostProxy> proxy(new RemotePluginHostProxy(argv[1]));
    const Ref<ReplyWaiter> created(new ReplyWaiter(*proxy));
    const Ref<FirstReport> listener(new FirstReport);
    proxy->createPluginInstance(argv[2], "", "", false, listener, created);
    created->wait(longestLife);
    if (argc > 3)
        listener->reported.acquire();
    std::printf("\n%d\n", static_cast<int>(proxy->getChildPid()));
    std::fflush(stdout);
    pause();
}
