#include "core/SharedMemory.h"

#include "core/Base64.h"
#include "core/Environment.h"
#include "core/Exception.h"

#include <array>
#include <fcntl.h>
#include <md5.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace base::core {
namespace {

constexpr mode_t ownerOnly = 0600;

} // namespace

std::string sharedMemoryName(const String& logicalName) {
    const std::string text = concat(getEnvironmentVariable("USER"), "-", logicalName).toStdString();
    MD5_CTX context;
    MD5Init(&context);
    MD5Update(&context, reinterpret_cast<const uint8_t*>(text.data()), text.size());
    std::array<uint8_t, MD5_DIGEST_LENGTH> digest;
    MD5Final(digest.data(), &context);
    const auto encoded = encodeBase64(digest);
    // Without memory for the digest the name is the slash alone, which no object can have.
    return std::string("/") + (encoded != nullptr ? encoded.get() : "");
}

SharedMemory::SharedMemory(const std::string& name, bool owner, int32_t size)
    : name(name), owner(owner), size(size) {}

Ref<SharedMemory> SharedMemory::create(const String& logicalName, int32_t size) {
    Ref<SharedMemory> memory(new SharedMemory(sharedMemoryName(logicalName), true, size));
    shm_unlink(memory->name.c_str());
    // O_EXCL isn't asked for: the name was free a moment ago and is this user's own.
    memory->fileDescriptor = shm_open(memory->name.c_str(), O_CREAT | O_RDWR, ownerOnly);
    if (memory->fileDescriptor < 0)
        memory->fail("create");
    if (ftruncate(memory->fileDescriptor, size) != 0)
        memory->fail("ftruncate");
    memory->map();
    return memory;
}

Ref<SharedMemory> SharedMemory::open(const String& logicalName, int32_t size) {
    Ref<SharedMemory> memory(new SharedMemory(sharedMemoryName(logicalName), false, size));
    memory->fileDescriptor = shm_open(memory->name.c_str(), O_RDWR, ownerOnly);
    if (memory->fileDescriptor < 0)
        memory->fail("open");
    memory->map();
    return memory;
}

void SharedMemory::remove(const String& logicalName) {
    shm_unlink(sharedMemoryName(logicalName).c_str());
}

SharedMemory::~SharedMemory() {
    if (data != nullptr)
        munmap(data, static_cast<size_t>(size));
    if (fileDescriptor >= 0) {
        if (owner)
            shm_unlink(name.c_str());
        close(fileDescriptor);
    }
}

void SharedMemory::map() {
    void* mapping =
        mmap(nullptr, static_cast<size_t>(size), PROT_READ | PROT_WRITE, MAP_SHARED, fileDescriptor, 0);
    if (mapping == MAP_FAILED)
        fail("map");
    data = mapping;
}

void SharedMemory::fail(const char* operation) const {
    const String reason = lastErrorMessage();
    throw IOException(concat("Could not ", operation, " shared memory with name \"", name.c_str(),
                             "\" and size of ", size, "\n", reason));
}

} // namespace base::core
