#pragma once

#include "core/Ref.h"

#include <atomic>

namespace base::core {

/// A plain value that several threads read and write without a lock and that orders nothing: a flag, a
/// counter.
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

/// A pointer through which one thread hands an object to others: whoever reads it sees everything that was
/// written before it was set. Owns nothing.
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

/// A strong reference that one thread sets and other threads read without a lock, as `PublishedPointer`. The
/// object that it held before is released at once: readers must be done with it.
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
