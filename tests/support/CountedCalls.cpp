#include "support/CountedCalls.h"

#include <cstddef>
#include <dlfcn.h>
#include <pthread.h>

namespace test_support {
constinit thread_local CountedCalls countedCalls;
}

using test_support::countedCalls;

namespace {

template <class Function>
Function* next(Function*& found, const char* name) {
    if (found == nullptr)
        found = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
    return found;
}

} // namespace

extern "C" {

void* __libc_malloc(size_t size);
void __libc_free(void* memory);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* memory, size_t size);
void* __libc_memalign(size_t alignment, size_t size);

__attribute__((visibility("default"))) void* malloc(size_t size) {
    ++countedCalls.allocations;
    return __libc_malloc(size);
}

__attribute__((visibility("default"))) void free(void* memory) {
    ++countedCalls.allocations;
    __libc_free(memory);
}

__attribute__((visibility("default"))) void* calloc(size_t count, size_t size) {
    ++countedCalls.allocations;
    return __libc_calloc(count, size);
}

__attribute__((visibility("default"))) void* realloc(void* memory, size_t size) {
    ++countedCalls.allocations;
    return __libc_realloc(memory, size);
}

__attribute__((visibility("default"))) void* aligned_alloc(size_t alignment, size_t size) {
    ++countedCalls.allocations;
    return __libc_memalign(alignment, size);
}

__attribute__((visibility("default"))) int pthread_mutex_lock(pthread_mutex_t* mutex) {
    static int (*original)(pthread_mutex_t*);
    ++countedCalls.locks;
    return next(original, "pthread_mutex_lock")(mutex);
}

__attribute__((visibility("default"))) int pthread_mutex_trylock(pthread_mutex_t* mutex) {
    static int (*original)(pthread_mutex_t*);
    ++countedCalls.locks;
    return next(original, "pthread_mutex_trylock")(mutex);
}

__attribute__((visibility("default"))) int pthread_rwlock_rdlock(pthread_rwlock_t* lock) {
    static int (*original)(pthread_rwlock_t*);
    ++countedCalls.locks;
    return next(original, "pthread_rwlock_rdlock")(lock);
}

__attribute__((visibility("default"))) int pthread_rwlock_wrlock(pthread_rwlock_t* lock) {
    static int (*original)(pthread_rwlock_t*);
    ++countedCalls.locks;
    return next(original, "pthread_rwlock_wrlock")(lock);
}
}
