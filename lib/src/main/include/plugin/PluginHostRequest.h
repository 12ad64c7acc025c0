#pragma once

#include "plugin/PluginHostAction.h"
#include "plugin/WireRecord.h"

#include <cstdint>

class PluginHostContext;
class PluginHostAsyncReplyHandler;
class PluginHostProxyHandler;
class PluginHostReply;

/// A client's request to a host. The client builds one and writes it; the host reads it into an object of the
/// same class and runs it on its main thread. Its frame is in plugin/Frames.h.
class PluginHostRequest : public PluginHostAction {
public:
    /// Before a request has been sent.
    static constexpr int32_t noRequestId = -1;

    PluginHostRequest();
    ~PluginHostRequest() override;

    /// `perform` on the handler's host.
    void run() final;
    /// The type byte.
    virtual int32_t getType() const = 0;
    virtual bool isForInstance(int32_t id) const;
    /// Host side, main thread.
    virtual void perform(PluginHostContext& host) = 0;
    /// Without a reply, not even a failure is sent back.
    virtual bool needsReply() const;
    virtual bool isAsync() const;
    /// The payload alone. Throws `IOException`.
    virtual void read(InputStream& stream);
    virtual void write(OutputStream& stream) const;
    /// Client side: makes the reply from the stream; null for a request without one. Throws `IOException`.
    virtual Ref<PluginHostReply> readReply(InputStream& stream);

    /// Client side, before anything is sent: throws `IOException` if a text of the payload has a character
    /// above U+FFFF. The host would read too few bytes of such a text, and its end as the next request.
    void requireSendableTexts() const;

    /// Whether its frame carries a requestId and its reply comes on the asynchronous channel.
    bool hasRequestId() const { return needsReply() && isAsync(); }

    /// Host side: the handler that received it. Null on the client.
    Ref<PluginHostProxyHandler> handler;
    /// Client side: the receiver of the reply; may be null. Null on the host.
    Ref<PluginHostAsyncReplyHandler> replyHandler;
    int32_t requestId = noRequestId;

    /// No payload.
    static constexpr auto fields() { return wire::fields(); }
};
