#pragma once

#include "plugin/CoreNames.h"

#include <atomic>
#include <cstdint>

/// Counts the calls from a plug-in into the host, so that what they touch can be freed once the last of them
/// has returned. Part of an object that outlives every call, not of what is freed.
///
/// `waitForCalls` waits for a thread that has seen an open gate. One that comes after `close` sees all that
/// the closing thread wrote before.
class CallGate : public NonCopyable, public NonMovable {
public:
    /// Keeps a call counted for a scope. Any thread; lock-free.
    class Call : public NonCopyable, public NonMovable {
    public:
        explicit Call(CallGate& gate) : gate(gate), entered(gate.enter()) {}
        ~Call() { gate.leave(); }
        /// False if the gate is closed: the caller must not touch what the gate protects.
        explicit operator bool() const { return entered; }

    private:
        CallGate& gate;
        const bool entered;
    };

    /// Refuses later calls on all threads. Any thread; idempotent.
    void close();
    /// Waits until no call is inside, open or closed; false if one still is after `seconds`. A call of the
    /// waiting thread itself counts, so don't call it from inside of one. What the calls did is visible to
    /// the caller afterwards, and a later call sees what the caller did before.
    bool waitForCalls(double seconds);

    /// How long an owner waits for calls before it leaks what they touch.
    static constexpr double longestWait = 2; // seconds

private:
    static constexpr uint32_t closedFlag = 1U << 31;

    bool enter() { return (calls.fetch_add(1, std::memory_order_acq_rel) & closedFlag) == 0; }
    void leave() { calls.fetch_sub(1, std::memory_order_acq_rel); }

    /// The number of calls inside, and in the top bit whether the gate is closed.
    std::atomic<uint32_t> calls{0};
};
