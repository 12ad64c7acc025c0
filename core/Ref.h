#pragma once

#include "core/Object.h"

#include <cstddef>
#include <utility>

namespace base::core {

/// A strong reference to an `Object`. A null `Ref` is legal everywhere.
///
/// Different `Ref`s to one object may be used on different threads; one `Ref` variable isn't shared between
/// threads without a lock.
template <class T>
class Ref {
public:
    Ref() = default;
    Ref(std::nullptr_t) {}
    Ref(T* object) : object(object) { retainIfSet(); }
    Ref(const Ref& other) : object(other.object) { retainIfSet(); }
    Ref(Ref&& other) noexcept : object(std::exchange(other.object, nullptr)) {}

    template <class U>
    Ref(const Ref<U>& other) : object(other.get()) {
        retainIfSet();
    }

    ~Ref() { releaseIfSet(object); }

    Ref& operator=(const Ref& other) {
        if (this != &other)
            assign(other.object);
        return *this;
    }

    Ref& operator=(Ref&& other) noexcept {
        if (this != &other)
            releaseIfSet(std::exchange(object, std::exchange(other.object, nullptr)));
        return *this;
    }

    Ref& operator=(T* other) {
        assign(other);
        return *this;
    }

    T* get() const { return object; }
    T* operator->() const { return object; }
    T& operator*() const { return *object; }
    explicit operator bool() const { return object != nullptr; }

    friend bool operator==(const Ref& a, const Ref& b) { return a.object == b.object; }
    friend bool operator==(const Ref& a, const T* b) { return a.object == b; }

private:
    void retainIfSet() const {
        if (object != nullptr)
            retain(object);
    }

    static void releaseIfSet(T* former) {
        if (former != nullptr)
            release(former);
    }

    // The new object is retained first: the old one may hold the only reference to it.
    void assign(T* other) {
        if (object == other)
            return;
        if (other != nullptr)
            retain(other);
        releaseIfSet(std::exchange(object, other));
    }

    T* object = nullptr;
};

} // namespace base::core
