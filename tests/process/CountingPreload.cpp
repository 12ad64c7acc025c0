// Loaded into a host before all other libraries, it counts for each thread the calls that allocate or release
// memory and the calls that lock. A plug-in of the tests asks for the numbers.

#include <cstddef>
#include <cstdint>
#include <dlfcn.h>
#include <pthread.h>
#include <semaphore.h>

#define COUNTED_CALL extern "C" __attribute__((visibility("default")))

namespace {

// No allocation on first use, which would count itself.
__attribute__((tls_model("initial-exec"))) thread_local uint32_t allocations = 0;
__attribute__((tls_model("initial-exec"))) thread_local uint32_t locks = 0;

template <class Function>
Function* next(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace

COUNTED_CALL uint32_t countedAllocations() {
    return allocations;
}

COUNTED_CALL uint32_t countedLocks() {
    return locks;
}

// The C library's own names for what it offers.
extern "C" void* __libc_malloc(size_t);
extern "C" void* __libc_calloc(size_t, size_t);
extern "C" void* __libc_realloc(void*, size_t);
extern "C" void* __libc_memalign(size_t, size_t);
extern "C" void __libc_free(void*);

COUNTED_CALL void* malloc(size_t size) {
    ++allocations;
    return __libc_malloc(size);
}

COUNTED_CALL void* calloc(size_t count, size_t size) {
    ++allocations;
    return __libc_calloc(count, size);
}

COUNTED_CALL void* realloc(void* memory, size_t size) {
    ++allocations;
    return __libc_realloc(memory, size);
}

COUNTED_CALL void* aligned_alloc(size_t alignment, size_t size) {
    ++allocations;
    return __libc_memalign(alignment, size);
}

COUNTED_CALL void free(void* memory) {
    if (memory != nullptr)
        ++allocations;
    __libc_free(memory);
}

COUNTED_CALL int pthread_mutex_lock(pthread_mutex_t* mutex) {
    ++locks;
    static auto* const original = next<int(pthread_mutex_t*)>("pthread_mutex_lock");
    return original(mutex);
}

COUNTED_CALL int pthread_mutex_trylock(pthread_mutex_t* mutex) {
    ++locks;
    static auto* const original = next<int(pthread_mutex_t*)>("pthread_mutex_trylock");
    return original(mutex);
}

COUNTED_CALL int pthread_rwlock_rdlock(pthread_rwlock_t* lock) {
    ++locks;
    static auto* const original = next<int(pthread_rwlock_t*)>("pthread_rwlock_rdlock");
    return original(lock);
}

COUNTED_CALL int pthread_rwlock_wrlock(pthread_rwlock_t* lock) {
    ++locks;
    static auto* const original = next<int(pthread_rwlock_t*)>("pthread_rwlock_wrlock");
    return original(lock);
}

COUNTED_CALL int sem_wait(sem_t* semaphore) {
    ++locks;
    static auto* const original = next<int(sem_t*)>("sem_wait");
    return original(semaphore);
}
