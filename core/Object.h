#pragma once

#include <atomic>
#include <cstdint>

namespace base::core {

class String;

/// Empty marker: the root of the object model.
class ObjectBase {};

/// Empty marker base: forbids copying.
class NonCopyable {
public:
    NonCopyable(const NonCopyable&) = delete;
    NonCopyable& operator=(const NonCopyable&) = delete;

protected:
    NonCopyable() = default;
    ~NonCopyable() = default;
};

/// Empty marker base: forbids moving.
class NonMovable {
public:
    NonMovable(NonMovable&&) = delete;
    NonMovable& operator=(NonMovable&&) = delete;

protected:
    NonMovable() = default;
    ~NonMovable() = default;
};

/// Reference-counted base of objects with identity.
///
/// The count starts at 0: the first `Ref` makes it 1, and an object that is never retained is never freed.
/// Owners hold a `Ref`; a plain pointer is borrowed. An object on the stack that a `Ref` may refer to is
/// retained once by hand, so that no release is the last.
///
/// The count is atomic: any thread may retain and release, and the last release may fall on any thread.
class Object : public ObjectBase, public NonCopyable, public NonMovable {
public:
    virtual ~Object();

    /// The mangled type name without a leading "*", "@", the address in lower-case hexadecimal.
    virtual String toString() const;

    virtual const Object* asObject() const;
    virtual Object* asObject();

    /// Called on the thread of the last release, before any destructor: a class that owns a thread joins it
    /// here. False keeps the object allocated with a count of 0.
    virtual bool prepareForDeletion();

    /// Frees the object, after `prepareForDeletion` has returned true.
    virtual void destroy();

protected:
    Object();

private:
    friend int32_t retain(const Object* object);
    friend bool tryRetain(const Object* object);
    friend int32_t release(const Object* object);
    friend int32_t undoRetain(const Object* object);
    friend int32_t countReferences(const Object* object);

    mutable std::atomic<int32_t> referenceCount;
};

/// Adds a reference and returns the new count. Any thread; `object` isn't null.
int32_t retain(const Object* object);

/// Adds a reference unless the count is 0, as for an object that is new or about to end; false then. Any
/// thread; the caller ensures that `object` is still allocated.
bool tryRetain(const Object* object);

/// Drops a reference and returns the new count; dropping the last one ends the object. Any thread.
int32_t release(const Object* object);

/// Undoes a `retain` and returns the new count; doesn't end the object at 0. For an object that retains
/// itself while others make and drop references, as in its constructor and in `prepareForDeletion`. Any
/// thread.
int32_t undoRetain(const Object* object);

/// The number of references at this moment. Any thread.
int32_t countReferences(const Object* object);

} // namespace base::core
