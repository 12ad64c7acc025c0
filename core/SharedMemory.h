#pragma once

#include "core/Object.h"
#include "core/Ref.h"
#include "core/String.h"

#include <cstdint>
#include <string>
#include <sys/types.h>

namespace base::core {

/// The system's name of a block: "/" and the base64 form of the MD5 digest (RFC 1321) of "USER", "-" and the
/// logical name. Of a fixed length, without further slashes, and distinct for each user.
std::string sharedMemoryName(const String& logicalName);
/// The same with `user` in the place of `USER`.
std::string sharedMemoryName(const String& user, const String& logicalName);

/// One POSIX shared-memory object, mapped for reading and writing. Removed with its creator's `SharedMemory`;
/// a creator that crashes leaves it until the next `create` of the name. One of another size, owner or mode
/// is refused, as its name can be guessed. No lock: the caller's protocol orders access.
class SharedMemory : public Object {
public:
    /// Makes a new object of `size` bytes, in the place of a stale one, and maps it. Reserves its space, so
    /// that no access fails later. Throws `IOException`.
    static Ref<SharedMemory> create(const String& logicalName, int32_t size);
    /// Maps an object that exists and has exactly `size` bytes. Throws `IOException`.
    static Ref<SharedMemory> open(const String& logicalName, int32_t size);
    /// Removes the object that a dead creator has left under the name, if any.
    static void remove(const String& logicalName);
    /// The same with `user` in the place of `USER`.
    static void remove(const String& user, const String& logicalName);
    /// The creator's removes the object from the system, but not in a fork of its process.
    ~SharedMemory() override;

    void* getData() const { return data; }
    /// In bytes.
    int32_t getSize() const { return size; }

private:
    SharedMemory(const std::string& name, bool owner, int32_t size);
    /// Throws unless the opened object has this size, this user as its owner, and the mode 0600.
    void check(const char* operation, int32_t expectedSize) const;
    void reserve() const;
    void map();
    [[noreturn]] void fail(const char* operation, const String& reason) const;

    int32_t fileDescriptor = -1;
    std::string name;
    bool owner;
    void* data = nullptr;
    int32_t size;
    /// The process that made this.
    pid_t process;
};

} // namespace base::core
