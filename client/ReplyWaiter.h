#pragma once

#include "client/RemotePluginHostProxy.h"
#include "client/RemotePluginHostProxyManager.h"
#include "core/Mutex.h"
#include "plugin/PluginHostAsyncReplyHandler.h"
#include "plugin/PluginHostReply.h"

#include <cstdint>

/// Lets a thread wait for the outcome of one asynchronous request. Make it, send the request with it, `wait`.
/// With a `WaitingProxyManager` in place, the death of the host ends the wait too.
class ReplyWaiter : public PluginHostAsyncReplyHandler {
public:
    explicit ReplyWaiter(RemotePluginHostProxy& proxy);
    ~ReplyWaiter() override;

    void onReply(PluginHostReply* reply) override;
    void onError(const String& message) override;

    /// Blocks until the outcome is there, for `seconds` at most, and returns the reply. Throws
    /// `PluginException` with the host's words if the request failed, `IOException` if the host is gone or
    /// the time has passed. Not on the thread that reads replies.
    Ref<PluginHostReply> wait(double seconds);

    /// The same for a reply of a known class.
    template <class Reply>
    Ref<Reply> waitFor(double seconds) {
        return static_cast<Reply*>(wait(seconds).get());
    }

private:
    friend class WaitingProxyManager;

    enum class Outcome { none, reply, error, lost };

    void finish(Outcome newOutcome, const Ref<PluginHostReply>& newReply, const String& newMessage);

    RemotePluginHostProxy* proxy;
    base::core::Mutex lock;
    base::core::Condition finished;
    Outcome outcome = Outcome::none;
    Ref<PluginHostReply> reply;
    String message;
};

/// The manager that goes with `ReplyWaiter`: a host that dies, or is shut down, fails all who wait for it.
class WaitingProxyManager : public RemotePluginHostProxyManager {
public:
    ~WaitingProxyManager() override;
    void hostDied(RemotePluginHostProxy& proxy, const String& message, bool onReplyThread) override;
    void hostShutDown(RemotePluginHostProxy& proxy) override;
};
