#pragma once

#include "plugin/CoreNames.h"

#include <atomic>
#include <cstdint>

namespace client_library {

enum class HandleKind : uint32_t { session = 1, host = 2, plugin = 3, scan = 4, cycle = 5 };

/// One object that a handle stands for. It stays where it is while `users` isn't 0, also behind the end of
/// its handle.
struct HandleSlot {
    std::atomic<uint32_t> users{0};
    /// Counts the handles of this slot; a handle of another generation is none any more.
    std::atomic<uint32_t> generation{1};
    std::atomic<Object*> object{nullptr};
};

/// The use of a handle's object for a scope. Takes no lock and allocates nothing.
class HandleUse : public NonCopyable, public NonMovable {
public:
    HandleUse(HandleKind kind, const void* handle);
    ~HandleUse();

    /// Null for a handle that stands for nothing.
    Object* get() const { return object; }

private:
    HandleSlot* slot = nullptr;
    Object* object = nullptr;
};

/// Makes a handle for `object` and keeps it until `dropHandle`. Throws `Failure` if there are 8,192 of the
/// kind.
void* makeHandle(HandleKind kind, Object& object);

/// Makes a handle invalid. False if it is already. Its object is released by this or by a later call for any
/// handle, once it isn't in use: never on the thread of a `HandleUse`.
bool dropHandle(HandleKind kind, const void* handle);

/// Has a handle stand for another object, which calls that begin later get. False if the handle isn't valid.
/// The former object is released as by `dropHandle`.
bool replaceHandle(HandleKind kind, const void* handle, Object& object);

/// Releases the objects of invalid handles that are no longer in use: as the last step of a call that may
/// have been the last user of one. Takes no lock if there is none.
void releaseUnusedHandles() noexcept;

} // namespace client_library
