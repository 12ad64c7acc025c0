#pragma once

#include "plugin/CoreNames.h"

#include <cstdint>

class PluginHostNotification;
class PluginHostProxyHandler;
class PluginHostReply;
class PluginHostRequest;

// The frames of the main and the asynchronous channel: what precedes the payload of a request, a reply and a
// notification. Readers and writers throw `IOException`. Writers flush.

/// The first word of a notification, where an asynchronous reply has its requestId.
constexpr int32_t notificationMark = 0;

/// Client side, main channel: type, requestId where the request has one, payload.
void writeRequest(OutputStream& stream, const PluginHostRequest& request);
/// Host side: reads a request that `handler` received. Throws for an unknown type, after which the stream is
/// out of step for good.
Ref<PluginHostRequest> readRequest(const Ref<PluginHostProxyHandler>& handler, InputStream& stream);

/// Host side, on the channel that the request's `isAsync` selects: requestId if that is the asynchronous one,
/// success, payload; no payload for a null `reply`.
void writeReply(OutputStream& stream, const PluginHostRequest& request, const PluginHostReply* reply);
/// The same for a failure, with its message.
void writeFailure(OutputStream& stream, const PluginHostRequest& request, const String& message);

/// How a request ended.
struct RequestOutcome {
    bool hasSucceeded = false;
    /// Null for a failure, and for a reply without a payload.
    Ref<PluginHostReply> reply;
    /// Of a failure.
    String message;
};

/// Client side: reads the reply to the request, from after its requestId on.
RequestOutcome readOutcome(InputStream& stream, PluginHostRequest& request);

/// Host side, asynchronous channel: the mark, type, payload.
void writeNotification(OutputStream& stream, const PluginHostNotification& notification);
/// Client side: reads a notification, from after its mark on, that `sender` received. Null for an unknown
/// type, of which only the type byte has been read.
Ref<PluginHostNotification> readNotification(InputStream& stream, Object* sender);
