#pragma once

#include "core/Mutex.h"

#include <ctime>
#include <utility>

namespace base::core {

/// A value that several threads use, reachable only with its lock held. A `Condition` beside it is waited for
/// through an access.
template <class T>
class Guarded : public NonCopyable, public NonMovable {
    template <class Value>
    class Held;

public:
    /// The value, with the lock held for as long as this lives. Not to be taken twice by one thread.
    using Access = Held<T>;
    /// The same without changing the value.
    using ConstAccess = Held<const T>;

    template <class... Arguments>
    explicit Guarded(Arguments&&... arguments) : value(std::forward<Arguments>(arguments)...) {}

    /// Keep the result to hold the lock over several steps; a temporary holds it for one expression.
    Access lock() { return Access(mutex, value); }
    ConstAccess lock() const { return ConstAccess(mutex, value); }

private:
    mutable Mutex mutex;
    T value;
};

template <class T>
template <class Value>
class Guarded<T>::Held : public NonCopyable, public NonMovable {
public:
    ~Held() { mutex.unlock(); }
    Value* operator->() const { return &value; }
    Value& operator*() const { return value; }

    /// Lets go of the lock until `condition` is signalled, and may return without: look again.
    void wait(Condition& condition) const { condition.wait(mutex); }
    /// The same until `deadline`, a time of `CLOCK_MONOTONIC`, at most; false if that passed before.
    bool waitUntil(Condition& condition, const timespec& deadline) const {
        return condition.waitUntil(mutex, deadline);
    }

private:
    friend class Guarded;

    Held(Mutex& mutex, Value& value) : mutex(mutex), value(value) { mutex.lock(); }

    Mutex& mutex;
    Value& value;
};

} // namespace base::core
