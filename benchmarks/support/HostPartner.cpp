#include "support/HostPartner.h"

#include "client/ReplyWaiter.h"
#include "plugin/PluginHostReplies.h"
#include "support/ProcessView.h"
#include "support/QuietLaunch.h"

namespace {

constexpr double patience = 30; // seconds, for a host to start

Ref<RemotePluginHostProxy> launchHost() {
    const QuietLaunch quiet;
    return new RemotePluginHostProxy(PLUGIN_HOST_EXECUTABLE);
}

} // namespace

HostPartner::HostPartner() : proxy(launchHost()) {
    const Ref<ReplyWaiter> created(new ReplyWaiter(*proxy));
    instanceId = proxy->createPluginInstance(DOES_NOTHING_PLUGIN, {}, {}, false, nullptr, created);
    const auto plugin = created->waitFor<CreatePluginInstanceReply>(patience);
    context = new RemotePluginAudioContextProxy(proxy, *plugin);
    context->beginBlock();
    context->startProcessing();
}

HostPartner::~HostPartner() {
    try {
        context->stopProcessing();
        context->drain();
        proxy->destroyPluginInstance(instanceId);
        proxy->removePluginInstance(instanceId);
        proxy->shutdown();
    } catch (const Exception&) {
        // The host has died already; the proxy reaps it.
    }
}

pid_t HostPartner::getWorkerThread() const {
    return ProcessView(getPid()).threadNamed("RemoteAudioThread");
}
