#pragma once

#include "core/Object.h"
#include "core/Ref.h"
#include "core/String.h"

#include <cstdint>
#include <string>
#include <sys/types.h>

namespace base::core {

/// The system's name of a block: "/" and the base64 form of the MD5 digest (RFC 1321) of "USER", "-" and the
/// logical name. Of a fixed length, free of further slashes, and a user's own.
std::string sharedMemoryName(const String& logicalName);

/// One POSIX shared-memory object, mapped for reading and writing. It lives in the system until its creator's
/// object goes; a creator that crashes leaves it until the next `create` of the name. One of another size, of
/// another user or that others may use is refused, as its name can be guessed. No lock: who may touch the
/// block is agreed elsewhere.
class SharedMemory : public Object {
public:
    /// Makes a new object of `size` bytes, over a stale one, and maps it. All of its space is reserved, so
    /// that no access fails later. Throws `IOException`.
    static Ref<SharedMemory> create(const String& logicalName, int32_t size);
    /// Maps an object that exists and has exactly `size` bytes. Throws `IOException`.
    static Ref<SharedMemory> open(const String& logicalName, int32_t size);
    /// Takes away what a creator that is gone has left under the name, if anything.
    static void remove(const String& logicalName);
    /// The creator's takes the object away from the system; its copy in a forked process doesn't.
    ~SharedMemory() override;

    void* getData() const { return data; }
    /// In bytes.
    int32_t getSize() const { return size; }

private:
    SharedMemory(const std::string& name, bool owner, int32_t size);
    /// Looks at what was opened.
    void check(const char* operation, int32_t expectedSize) const;
    void reserve() const;
    void map();
    [[noreturn]] void fail(const char* operation, const String& reason) const;

    int32_t fileDescriptor = -1;
    std::string name;
    bool owner;
    void* data = nullptr;
    int32_t size;
    /// The one that made this.
    pid_t process;
};

} // namespace base::core
