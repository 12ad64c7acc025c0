#pragma once

#include "plugin/CoreNames.h"

#include <atomic>
#include <cstdint>

/// Counts the calls that a plug-in makes into the host at the moment, so that what they touch can be taken
/// away once the last of them has left. Part of an object that outlives every call, and not of what is taken
/// away.
///
/// A thread that sees an open gate is waited for. One that comes after `close` finds everything that its
/// caller wrote before closing.
class CallGate : public NonCopyable, public NonMovable {
public:
    /// Keeps a call counted for a scope. Any thread; lock-free.
    class Call : public NonCopyable, public NonMovable {
    public:
        explicit Call(CallGate& gate) : gate(gate), entered(gate.enter()) {}
        ~Call() { gate.leave(); }
        /// False if the gate is closed: the caller must touch nothing behind it.
        explicit operator bool() const { return entered; }

    private:
        CallGate& gate;
        const bool entered;
    };

    /// Later calls are refused, on every thread. Any thread; more than once is harmless.
    void close();
    /// Waits until no call is inside, open or closed; false if one still is after `seconds`. A call of the
    /// waiting thread itself counts, so it isn't to be made from inside of one. What the calls did is visible
    /// to the caller afterwards, and a call that comes later sees what the caller did before.
    bool waitForCalls(double seconds);

    /// How long whoever takes something away waits for calls, before it leaks what they touch.
    static constexpr double longestWait = 2; // seconds

private:
    static constexpr uint32_t closedFlag = 1U << 31;

    bool enter() { return (calls.fetch_add(1, std::memory_order_acq_rel) & closedFlag) == 0; }
    void leave() { calls.fetch_sub(1, std::memory_order_acq_rel); }

    /// How many calls are inside, and above them whether the gate is closed.
    std::atomic<uint32_t> calls{0};
};
