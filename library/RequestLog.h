#pragma once

#include "core/Guarded.h"
#include "plugin/CoreNames.h"

#include <cstdint>
#include <ctime>
#include <deque>
#include <optional>

namespace client_library {

class ClientPlugin;

/// The requests of one host that it hasn't done with, in the order in which it does them. Any thread.
class RequestLog : public NonCopyable, public NonMovable {
public:
    /// Counts from 1.
    using Number = uint64_t;
    static constexpr int32_t noInstance = 0;

    struct Request {
        Number number;
        /// Without its "Request".
        const char* name;
        int32_t instanceId;
        /// What a creation makes, which has no instance yet; else null. Compared with plug-ins that are
        /// there.
        const ClientPlugin* created;
        String createdPath;
        /// When the host could begin with it, by `CLOCK_MONOTONIC`.
        timespec begin;
    };

    /// Before the request is sent; the order of calls is that of the pipe.
    Number add(const char* name, int32_t instanceId, const ClientPlugin* created = nullptr);
    /// Before a ping is sent, whose answer ends all requests up to now.
    Number addPing();
    /// The host has done with a request, and so with those before.
    void end(Number number);
    /// So many pings were answered.
    void endPings(size_t count);
    /// The host is gone: no request ends any more.
    void close();
    /// What the host is at, if anything.
    std::optional<Request> getOldest() const;
    /// Waits until a request has ended; false if `deadline` passes, or the host is gone.
    bool waitForEnd(Number number, const timespec& deadline);

private:
    struct State {
        std::deque<Request> requests;
        std::deque<Number> pings;
        Number last = 0;
        Number ended = 0;
        bool isClosed = false;
    };

    void endUpTo(State& current, Number number);

    base::core::Condition changed;
    base::core::Guarded<State> state;
};

/// From `begin` to now, in seconds, by `CLOCK_MONOTONIC`.
double secondsSince(const timespec& begin);
timespec monotonicTime();

} // namespace client_library
