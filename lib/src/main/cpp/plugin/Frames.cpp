#include "plugin/Frames.h"

#include "plugin/PluginHostAsyncReplyHandler.h"
#include "plugin/PluginHostNotifications.h"
#include "plugin/PluginHostProxyHandler.h"
#include "plugin/PluginHostReply.h"
#include "plugin/PluginHostRequests.h"

namespace {

void beginReply(OutputStream& stream, const PluginHostRequest& request, bool hasSucceeded) {
    if (request.isAsync())
        stream.writeNativeInt32(request.requestId);
    stream.writeByte(hasSucceeded);
}

} // namespace

void writeRequest(OutputStream& stream, const PluginHostRequest& request) {
    stream.writeByte(static_cast<uint8_t>(request.getType()));
    if (request.hasRequestId())
        stream.writeNativeInt32(request.requestId);
    request.write(stream);
    stream.flush();
}

Ref<PluginHostRequest> readRequest(const Ref<PluginHostProxyHandler>& handler, InputStream& stream) {
    const uint8_t type = stream.readByte();
    Ref<PluginHostRequest> request = PluginHostRequests::make<PluginHostRequest>(type);
    if (!request)
        throw IOException(concat("Unknown request type ", static_cast<int32_t>(type)));
    request->handler = handler;
    if (request->hasRequestId())
        request->requestId = stream.readNativeInt32();
    request->read(stream);
    return request;
}

void writeReply(OutputStream& stream, const PluginHostRequest& request, const PluginHostReply* reply) {
    beginReply(stream, request, true);
    if (reply != nullptr)
        reply->write(stream);
    stream.flush();
}

void writeFailure(OutputStream& stream, const PluginHostRequest& request, const String& message) {
    beginReply(stream, request, false);
    stream.writeString(message);
    stream.flush();
}

RequestOutcome readOutcome(InputStream& stream, PluginHostRequest& request) {
    RequestOutcome outcome;
    outcome.hasSucceeded = stream.readBool();
    if (outcome.hasSucceeded)
        outcome.reply = request.readReply(stream);
    else
        outcome.message = stream.readString();
    return outcome;
}

void writeNotification(OutputStream& stream, const PluginHostNotification& notification) {
    stream.writeNativeInt32(notificationMark);
    notification.write(stream);
    stream.flush();
}

Ref<PluginHostNotification> readNotification(InputStream& stream, Object* sender) {
    return PluginHostNotificationKinds::make<PluginHostNotification>(stream.readByte(), stream, sender);
}
