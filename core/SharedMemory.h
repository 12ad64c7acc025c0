#pragma once

#include "core/Object.h"
#include "core/Ref.h"
#include "core/String.h"

#include <cstdint>
#include <string>

namespace base::core {

/// The system's name of a block: "/" and the base64 form of the MD5 digest (RFC 1321) of "USER", "-" and the
/// logical name. Of a fixed length, free of further slashes, and a user's own.
std::string sharedMemoryName(const String& logicalName);

/// One POSIX shared-memory object, mapped for reading and writing. It lives in the system until its creator's
/// object goes; a creator that crashes leaves it until the next `create` of the name. No lock: who may touch
/// the block is agreed elsewhere.
class SharedMemory : public Object {
public:
    /// Makes a new object of `size` bytes, over a stale one, and maps it. Throws `IOException`.
    static Ref<SharedMemory> create(const String& logicalName, int32_t size);
    /// Maps an object that exists. Throws `IOException`.
    static Ref<SharedMemory> open(const String& logicalName, int32_t size);
    /// Takes away what a creator that is gone has left under the name, if anything.
    static void remove(const String& logicalName);
    ~SharedMemory() override;

    void* getData() const { return data; }
    /// In bytes.
    int32_t getSize() const { return size; }

private:
    SharedMemory(const std::string& name, bool owner, int32_t size);
    void map();
    [[noreturn]] void fail(const char* operation) const;

    int32_t fileDescriptor = -1;
    std::string name;
    bool owner;
    void* data = nullptr;
    int32_t size;
};

} // namespace base::core
