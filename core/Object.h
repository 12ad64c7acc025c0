#pragma once

#include <atomic>
#include <cstdint>

namespace base::core {

class String;

/// Empty marker: everything that takes part in the object model.
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

/// Reference-counted base of everything that has identity.
///
/// The count starts at 0: the first `Ref` makes it 1, and an object that nobody ever retains is never freed.
/// Whoever needs an object to stay alive holds a `Ref`; a plain pointer is borrowed. An object on the stack
/// that a `Ref` could meet is retained once by hand, so that the last release can never be reached.
///
/// The count is atomic: any thread may retain and release, and the last release may fall on any thread.
class Object : public ObjectBase, public NonCopyable, public NonMovable {
public:
    virtual ~Object();

    /// The mangled type name without a leading "*", "@", the address in lower-case hexadecimal.
    virtual String toString() const;

    virtual const Object* asObject() const;
    virtual Object* asObject();

    /// Called on the thread of the last release while the object still has its most derived operations, which
    /// is why a class that owns a thread joins it here. False keeps the object allocated with a count of 0.
    virtual bool prepareForDeletion();

    /// Frees the object; called once `prepareForDeletion` has agreed.
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

/// Adds a reference, unless there is none: an object that is new or about to end gets no other owner. Whether
/// it has been added. Any thread; the caller knows that `object` is still allocated.
bool tryRetain(const Object* object);

/// Drops a reference and returns the new count; dropping the last one ends the object. Any thread.
int32_t release(const Object* object);

/// Takes back a `retain` of the caller's, and returns the new count. At 0 the object isn't ended: it is as if
/// it had never been retained. For an object that holds itself for a while in which others may make
/// references and drop them, as in its constructor and in `prepareForDeletion`. Any thread.
int32_t undoRetain(const Object* object);

/// The number of references at this moment. Any thread.
int32_t countReferences(const Object* object);

} // namespace base::core
