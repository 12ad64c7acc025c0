#include "real-plugins/PlayedPlugin.h"

#include "client/ReplyWaiter.h"

#include <stdexcept>

PlayedPlugin::PlayedPlugin(const std::string& hostProgram, const std::string& plugin, Watchdog* watchdog,
                           const Ref<PluginHostNotificationListener>& listener)
    : watchdog(watchdog), proxy(new RemotePluginHostProxy(hostProgram.c_str())) {
    if (watchdog != nullptr)
        watchdog->setHost(proxy->getChildPid());
    const Ref<ReplyWaiter> waiter(new ReplyWaiter(*proxy));
    proxy->createPluginInstance(plugin.c_str(), {}, {}, false, listener, waiter);
    created = waiter->waitFor<CreatePluginInstanceReply>(replyPatience);
    context = new RemotePluginAudioContextProxy(proxy, *created);
    context->startProcessing();
}

PlayedPlugin::~PlayedPlugin() {
    if (watchdog != nullptr)
        watchdog->setHost(0);
}

void PlayedPlugin::playBlock() {
    context->process(context->blockSize, true, true);
    if (!context->areGuardsIntact())
        throw std::runtime_error("something was written outside of the buffers");
}

std::string PlayedPlugin::describeEnd() {
    try {
        proxy->shutdown();
    } catch (const Exception&) {
        // It has gone by itself.
    }
    const siginfo_t end = awaitEnd(*proxy);
    return (end.si_code == CLD_EXITED ? "the host ended with " : "the host died of ") + describe(end);
}

void PlayedPlugin::end() {
    context->stopProcessing();
    context->drain();
    proxy->destroyPluginInstance(getId());
    proxy->removePluginInstance(getId());
    // Answered by the main thread, which has then destroyed it.
    proxy->ping();
    proxy->shutdown();
    const siginfo_t end = awaitEnd(*proxy);
    if (end.si_code != CLD_EXITED || end.si_status != 0)
        throw std::runtime_error("the host was to end and ended with " + describe(end));
}
