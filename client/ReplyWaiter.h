#pragma once

#include "core/Exception.h"
#include "core/Guarded.h"
#include "plugin/PluginHostAsyncReplyHandler.h"
#include "plugin/PluginHostReply.h"

#include <cstdint>

class PluginHostProxy;

/// No answer within the time of a `ReplyWaiter`.
class ReplyTimeout : public IOException {
public:
    using IOException::IOException;
    ReplyTimeout(const ReplyTimeout& other) = default;
    ~ReplyTimeout() override;
    Exception* clone() const override;
};

/// Lets a thread wait for the outcome of one request: make it, send the request with it, `wait`. Losing the
/// host, in a process of its own or in this one, also ends the wait.
class ReplyWaiter : public PluginHostAsyncReplyHandler {
public:
    /// For a request to the host of `proxy`, which is borrowed until `wait` returns.
    explicit ReplyWaiter(const PluginHostProxy& proxy);
    ~ReplyWaiter() override;

    void onReply(PluginHostReply* reply) override;
    void onError(const String& message) override;

    /// Blocks until the request is answered and returns the reply. Throws `PluginException` with the host's
    /// message if the request failed, `IOException` if the host is gone. Not on the thread that calls
    /// receivers.
    Ref<PluginHostReply> wait();
    /// The same for at most `seconds`, after which it throws `ReplyTimeout`.
    Ref<PluginHostReply> wait(double seconds);

    /// The same for a reply of a known class.
    template <class Reply>
    Ref<Reply> waitFor(double seconds) {
        return static_cast<Reply*>(wait(seconds).get());
    }

    /// For proxies: fails all waiters for the host of `proxy`, which is gone. Any thread.
    static void hostLost(const PluginHostProxy& proxy);

protected:
    enum class Outcome { none, reply, error, lost };

    /// For no particular host: its owner calls `failAll` when one is lost.
    ReplyWaiter();
    /// Ends the wait of all waiters for the host of `proxy`; null means those for no particular host.
    static void failAll(const PluginHostProxy* proxy, Outcome outcome, const String& message);

private:
    /// The first outcome is kept.
    struct State {
        Outcome outcome = Outcome::none;
        Ref<PluginHostReply> reply;
        String message;
    };

    bool hasToWait(const State& current) const;
    static Ref<PluginHostReply> resultOf(const State& current);
    void finish(Outcome newOutcome, const Ref<PluginHostReply>& newReply, const String& newMessage);

    const PluginHostProxy* const proxy;
    base::core::Condition finished;
    base::core::Guarded<State> state;
};
