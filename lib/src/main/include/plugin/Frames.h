#pragma once

#include "plugin/CoreNames.h"

#include <cstdint>

class PluginHostNotification;
class PluginHostProxyHandler;
class PluginHostReply;
class PluginHostRequest;

// The frames of the main and the asynchronous channel: what stands around the payload of a request, a reply
// and a notification. Readers and writers throw `IOException`. A writer flushes, so a frame that it has
// written is on its way.

/// The first word of a notification, where an asynchronous reply has its requestId.
constexpr int32_t notificationMark = 0;

/// Client side, main channel: type, requestId where the request has one, payload.
void writeRequest(OutputStream& stream, const PluginHostRequest& request);
/// Host side: a request that came through `handler`. An unknown type throws, and the stream is then out of
/// step for good.
Ref<PluginHostRequest> readRequest(const Ref<PluginHostProxyHandler>& handler, InputStream& stream);

/// Host side, on the channel that the request's `isAsync` names: requestId where that is the asynchronous
/// one, success, payload; none for a reply that is null.
void writeReply(OutputStream& stream, const PluginHostRequest& request, const PluginHostReply* reply);
/// Likewise, with the words of a failure.
void writeFailure(OutputStream& stream, const PluginHostRequest& request, const String& message);

/// How a request ended.
struct RequestOutcome {
    bool hasSucceeded = false;
    /// Null for a failure, and for a reply without a payload.
    Ref<PluginHostReply> reply;
    /// Of a failure.
    String message;
};

/// Client side: an answer to the request, from behind its requestId on.
RequestOutcome readOutcome(InputStream& stream, PluginHostRequest& request);

/// Host side, asynchronous channel: the mark, type, payload.
void writeNotification(OutputStream& stream, const PluginHostNotification& notification);
/// Client side: a notification from behind its mark on, which came through `sender`. Null for a type that
/// doesn't exist, of which only the byte has then been read.
Ref<PluginHostNotification> readNotification(InputStream& stream, Object* sender);
