#pragma once

#include "core/Mutex.h"

#include <utility>

namespace base::core {

/// A value that several threads use, reachable only with its lock held.
template <class T>
class Guarded : public NonCopyable, public NonMovable {
public:
    template <class... Arguments>
    explicit Guarded(Arguments&&... arguments) : value(std::forward<Arguments>(arguments)...) {}

    /// The value, with the lock held for as long as this lives.
    class Access : public NonCopyable, public NonMovable {
    public:
        explicit Access(Guarded& guarded) : scope(guarded.mutex), value(guarded.value) {}
        T* operator->() const { return &value; }
        T& operator*() const { return value; }

    private:
        ScopedLock scope;
        T& value;
    };

    /// Keep the result to hold the lock over several steps; a temporary holds it for one expression.
    Access lock() { return Access(*this); }

private:
    Mutex mutex;
    T value;
};

} // namespace base::core
