#pragma once

#include "core/Ref.h"

#include <atomic>

namespace base::core {

/// A value that several threads read and write without a lock and without ordering: a flag, a counter.
template <class T>
class Relaxed {
public:
    Relaxed(T value) : value(value) {}

    Relaxed& operator=(T newValue) {
        value.store(newValue, std::memory_order_relaxed);
        return *this;
    }

    operator T() const { return value.load(std::memory_order_relaxed); }

private:
    std::atomic<T> value;
    static_assert(std::atomic<T>::is_always_lock_free && sizeof(std::atomic<T>) == sizeof(T));
};

/// A pointer that publishes an object to other threads: a reader sees all that was written before it was set.
/// Owns nothing.
template <class T>
class PublishedPointer {
public:
    PublishedPointer(T* pointer = nullptr) : pointer(pointer) {}

    PublishedPointer& operator=(T* newPointer) {
        pointer.store(newPointer, std::memory_order_release);
        return *this;
    }

    T* get() const { return pointer.load(std::memory_order_acquire); }
    T* operator->() const { return get(); }
    operator T*() const { return get(); }

private:
    std::atomic<T*> pointer;
};

/// A strong reference that one thread sets and others read without a lock, as `PublishedPointer`. Setting it
/// releases the former object at once: readers must be done with that.
template <class T>
class PublishedRef {
public:
    PublishedRef& operator=(const Ref<T>& newReference) {
        pointer = newReference.get();
        reference = newReference;
        return *this;
    }

    T* get() const { return pointer.get(); }
    T* operator->() const { return pointer.get(); }
    operator T*() const { return pointer.get(); }

private:
    Ref<T> reference;
    PublishedPointer<T> pointer;
};

} // namespace base::core
