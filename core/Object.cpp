#include "core/Object.h"

#include "core/String.h"

#include <cstdio>
#include <typeinfo>

namespace base::core {

Object::Object() {
    referenceCount.store(0, std::memory_order_relaxed);
    // A new object may be published to another thread at once.
    std::atomic_thread_fence(std::memory_order_seq_cst);
}

Object::~Object() = default;

String Object::toString() const {
    const char* typeName = typeid(*this).name();
    if (*typeName == '*')
        ++typeName;
    char address[40];
    std::snprintf(address, sizeof address, "%llx",
                  static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(this)));
    return concat(typeName, "@", address);
}

const Object* Object::asObject() const {
    return this;
}

Object* Object::asObject() {
    return this;
}

bool Object::prepareForDeletion() {
    return true;
}

void Object::destroy() {
    delete this;
}

int32_t retain(const Object* object) {
    return object->referenceCount.fetch_add(1, std::memory_order_seq_cst) + 1;
}

bool tryRetain(const Object* object) {
    int32_t count = object->referenceCount.load(std::memory_order_seq_cst);
    while (count > 0) {
        if (object->referenceCount.compare_exchange_weak(count, count + 1, std::memory_order_seq_cst))
            return true;
    }
    return false;
}

int32_t release(const Object* object) {
    const int32_t before = object->referenceCount.fetch_sub(1, std::memory_order_seq_cst);
    if (before == 1) {
        auto* last = const_cast<Object*>(object);
        if (last->prepareForDeletion())
            last->destroy();
    }
    return before - 1;
}

int32_t undoRetain(const Object* object) {
    return object->referenceCount.fetch_sub(1, std::memory_order_seq_cst) - 1;
}

int32_t countReferences(const Object* object) {
    return object->referenceCount.load(std::memory_order_seq_cst);
}

} // namespace base::core
