#include "client/RemotePluginHostProxyAsyncReplyThread.h"

#include "client/CallReceiver.h"
#include "client/RemotePluginHostProxy.h"
#include "core/Assertion.h"
#include "core/Log.h"
#include "plugin/Frames.h"
#include "plugin/PluginHostAsyncReplyHandler.h"
#include "plugin/PluginHostNotifications.h"
#include "plugin/PluginHostReply.h"

RemotePluginHostProxyAsyncReplyThread::RemotePluginHostProxyAsyncReplyThread(RemotePluginHostProxy* proxy)
    : Thread("Plugin async reply"), proxy(proxy) {}

RemotePluginHostProxyAsyncReplyThread::~RemotePluginHostProxyAsyncReplyThread() {
    join();
}

bool RemotePluginHostProxyAsyncReplyThread::waitForEnd(double seconds) {
    const timespec deadline = base::core::monotonicDeadline(seconds);
    const auto hasEnded = ended.lock();
    while (!*hasEnded) {
        if (!hasEnded.waitUntil(endReached, deadline))
            return *hasEnded;
    }
    return true;
}

void RemotePluginHostProxyAsyncReplyThread::run() {
    try {
        readFrames();
    } catch (const IOException& exception) {
        proxy->connectionLost(exception.getMessage(), true);
    } catch (const Exception& exception) {
        base::core::logProgress("Plugin host async reply reader thread crashed", exception.getMessage());
    } catch (...) {
        base::core::logProgress("Plugin host async reply reader thread crashed with unknown exception");
    }
    const auto hasEnded = ended.lock();
    *hasEnded = true;
    endReached.broadcast();
}

void RemotePluginHostProxyAsyncReplyThread::readFrames() {
    while (!proxy->isClosed())
        readFrame();
}

void RemotePluginHostProxyAsyncReplyThread::readFrame() {
    const int32_t mark = proxy->asyncInput->readNativeInt32();
    if (mark == notificationMark)
        readNotificationFrame();
    else
        readReplyFrame(mark);
}

void RemotePluginHostProxyAsyncReplyThread::readNotificationFrame() {
    const Ref<PluginHostNotification> notification = readNotification(*proxy->asyncInput, proxy);
    if (!notification) {
        BASE_FAIL(concat("Illegal state: ", "Unknown notification type"));
        // The rest of the stream can't be parsed.
        throw IOException("Unknown notification type");
    }
    const Ref<RemotePluginInstance> instance = proxy->findInstance(notification->instanceId);
    if (instance && instance->listener && !proxy->isClosed())
        callReceiver(listenerName, [&] { notification->deliver(*instance->listener); });
}

void RemotePluginHostProxyAsyncReplyThread::readReplyFrame(int32_t requestId) {
    const Ref<PluginHostRequest> request = proxy->takePendingRequest(requestId);
    const Ref<PluginHostAsyncReplyHandler> handler = request->replyHandler;
    const RequestOutcome outcome = readOutcome(*proxy->asyncInput, *request);
    if (!handler || proxy->isClosed())
        return;
    callReceiver(replyHandlerName, [&] {
        if (outcome.hasSucceeded)
            handler->onReply(outcome.reply.get());
        else
            handler->onError(outcome.message);
    });
}
