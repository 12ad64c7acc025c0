#include "core/SharedMemory.h"

#include "core/Base64.h"
#include "core/Environment.h"
#include "core/Exception.h"
#include "core/FileDescriptor.h"

#include <array>
#include <cerrno>
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
    return sharedMemoryName(getEnvironmentVariable("USER"), logicalName);
}

std::string sharedMemoryName(const String& user, const String& logicalName) {
    const std::string text = concat(user, "-", logicalName).toStdString();
    MD5_CTX context;
    MD5Init(&context);
    MD5Update(&context, reinterpret_cast<const uint8_t*>(text.data()), text.size());
    std::array<uint8_t, MD5_DIGEST_LENGTH> digest;
    MD5Final(digest.data(), &context);
    const auto encoded = encodeBase64(digest);
    // Without memory for the digest the name is "/", which can't be opened.
    return std::string("/") + (encoded != nullptr ? encoded.get() : "");
}

SharedMemory::SharedMemory(const std::string& name, bool owner, int32_t size)
    : name(name), owner(owner), size(size), process(getpid()) {}

Ref<SharedMemory> SharedMemory::create(const String& logicalName, int32_t size) {
    Ref<SharedMemory> memory(new SharedMemory(sharedMemoryName(logicalName), true, size));
    shm_unlink(memory->name.c_str());
    // Without O_EXCL: `check` refuses an object that another process has made meanwhile.
    memory->fileDescriptor = aboveConsole(shm_open(memory->name.c_str(), O_CREAT | O_RDWR, ownerOnly));
    if (memory->fileDescriptor < 0)
        memory->fail("create", lastErrorMessage());
    // The umask may have cleared the owner's bits, which the other side needs.
    fchmod(memory->fileDescriptor, ownerOnly);
    memory->check("create", 0);
    memory->reserve();
    memory->map();
    return memory;
}

Ref<SharedMemory> SharedMemory::open(const String& logicalName, int32_t size) {
    Ref<SharedMemory> memory(new SharedMemory(sharedMemoryName(logicalName), false, size));
    memory->fileDescriptor = aboveConsole(shm_open(memory->name.c_str(), O_RDWR, ownerOnly));
    if (memory->fileDescriptor < 0)
        memory->fail("open", lastErrorMessage());
    memory->check("open", size);
    memory->map();
    return memory;
}

void SharedMemory::remove(const String& logicalName) {
    remove(getEnvironmentVariable("USER"), logicalName);
}

void SharedMemory::remove(const String& user, const String& logicalName) {
    shm_unlink(sharedMemoryName(user, logicalName).c_str());
}

SharedMemory::~SharedMemory() {
    if (data != nullptr)
        munmap(data, static_cast<size_t>(size));
    if (fileDescriptor >= 0) {
        if (owner && process == getpid())
            shm_unlink(name.c_str());
        close(fileDescriptor);
    }
}

void SharedMemory::check(const char* operation, int32_t expectedSize) const {
    struct stat status {};
    if (fstat(fileDescriptor, &status) != 0)
        fail(operation, lastErrorMessage());
    if (status.st_size != expectedSize)
        fail(operation, "wrong size");
    if (status.st_uid != geteuid())
        fail(operation, "wrong owner");
    if ((status.st_mode & ~static_cast<mode_t>(S_IFMT)) != ownerOnly)
        fail(operation, "wrong mode");
}

// `ftruncate` reserves no space: on a full system the first write would raise SIGBUS.
void SharedMemory::reserve() const {
    if (ftruncate(fileDescriptor, size) != 0)
        fail("ftruncate", lastErrorMessage());
    if (size == 0)
        return;
    int error = 0;
    do {
        error = posix_fallocate(fileDescriptor, 0, size);
    } while (error == EINTR);
    if (error == 0)
        return;
    errno = error;
    fail("ftruncate", lastErrorMessage());
}

void SharedMemory::map() {
    void* mapping =
        mmap(nullptr, static_cast<size_t>(size), PROT_READ | PROT_WRITE, MAP_SHARED, fileDescriptor, 0);
    if (mapping == MAP_FAILED)
        fail("map", lastErrorMessage());
    data = mapping;
    // All pages at once, which is cheaper than a fault for each, and spares audio threads of either side
    // those faults. Kernels before 5.14 refuse.
    madvise(data, static_cast<size_t>(size), MADV_POPULATE_WRITE);
}

void SharedMemory::fail(const char* operation, const String& reason) const {
    throw IOException(concat("Could not ", operation, " shared memory with name \"", name.c_str(),
                             "\" and size of ", size, "\n", reason));
}

} // namespace base::core
