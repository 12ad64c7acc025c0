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

HostPartner::HostPartner(const char* plugin) : proxy(launchHost()) {
    const Ref<ReplyWaiter> created(new ReplyWaiter(*proxy));
    instanceId = proxy->createPluginInstance(plugin, {}, {}, false, nullptr, created);
    const auto reply = created->waitFor<CreatePluginInstanceReply>(patience);
    context = new RemotePluginAudioContextProxy(proxy, *reply);
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

Ref<PluginInstanceState> HostPartner::snapshot() {
    const Ref<ReplyWaiter> updated(new ReplyWaiter(*proxy));
    proxy->updateIO(instanceId, updated);
    return updated->waitFor<DefineIoReply>(patience)->state;
}

pid_t HostPartner::getWorkerThread() const {
    return ProcessView(getPid()).threadNamed("RemoteAudioThread");
}
