#include "local/LocalPluginHostProxyHandler.h"

#include "client/CallReceiver.h"
#include "local/LocalPluginAudioContext.h"
#include "local/LocalPluginHostProxy.h"
#include "local/LocalPluginInstance.h"
#include "plugin/PluginHostAsyncReplyHandler.h"
#include "plugin/PluginHostContext.h"
#include "plugin/PluginHostNotification.h"
#include "plugin/PluginHostReply.h"
#include "plugin/PluginHostRequest.h"

LocalPluginHostProxyHandler::LocalPluginHostProxyHandler(const Ref<PluginHostContext>& host,
                                                         LocalPluginHostProxy* proxy)
    : PluginHostProxyHandler(host), proxy(proxy) {}

LocalPluginHostProxyHandler::~LocalPluginHostProxyHandler() = default;

void LocalPluginHostProxyHandler::runNextRequest() {
    const Ref<PluginHostRequest> request = proxy->takeQueuedRequest();
    request->handler = this;
    request->run();
    // The client may keep the request.
    request->handler = nullptr;
}

void LocalPluginHostProxyHandler::sendReply(PluginHostRequest& request, PluginHostReply& reply) {
    if (const Ref<PluginHostAsyncReplyHandler> receiver = proxy->takeReceiver(request))
        callReceiver(replyHandlerName, [&] { receiver->onReply(&reply); });
}

void LocalPluginHostProxyHandler::sendEmptyReply(PluginHostRequest& request) {
    if (const Ref<PluginHostAsyncReplyHandler> receiver = proxy->takeReceiver(request))
        callReceiver(replyHandlerName, [&] { receiver->onReply(nullptr); });
}

void LocalPluginHostProxyHandler::sendError(PluginHostRequest& request, const String& message) {
    if (const Ref<PluginHostAsyncReplyHandler> receiver = proxy->takeReceiver(request))
        callReceiver(replyHandlerName, [&] { receiver->onError(message); });
}

void LocalPluginHostProxyHandler::sendNotification(PluginHostNotification& notification) {
    const Ref<LocalPluginInstance> instance = proxy->findInstance(notification.instanceId);
    if (!instance || !instance->listener || proxy->isClosed())
        return;
    notification.sender = proxy;
    callReceiver(listenerName, [&] { notification.deliver(*instance->listener); });
}

void LocalPluginHostProxyHandler::shutdown() {
    host->stop();
}

void LocalPluginHostProxyHandler::setUpAudio(PluginInstance& instance) {
    const Ref<LocalPluginAudioContext> context(new LocalPluginAudioContext(instance, host->blockSize));
    context->layOut();
    context->fillGuards();
    instance.setAudioContext(context);
    if (const Ref<LocalPluginInstance> known = proxy->findInstance(instance.instanceId))
        known->context = context;
}
