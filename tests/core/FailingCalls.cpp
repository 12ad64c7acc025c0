#include "FailingCalls.h"

#include "core/MessageDialog.h"

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <fcntl.h>
#include <new>
#include <optional>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <unistd.h>

using namespace core_tests;

namespace core_tests {
namespace {

thread_local uint32_t failingCalls = 0;
thread_local size_t failingSize = 0;
thread_local std::optional<int32_t> dialogChoice;
thread_local int signalOfChildren = 0;
thread_local int sharedMemoryDescriptor = -1;

bool fails(LibraryCall call) {
    return (failingCalls & static_cast<uint32_t>(call)) != 0;
}

void signalThisChild() {
    if (signalOfChildren != 0)
        kill(getpid(), signalOfChildren);
}

} // namespace

FailingCall::FailingCall(LibraryCall call) {
    failingCalls = static_cast<uint32_t>(call);
}

FailingCall::~FailingCall() {
    failingCalls = 0;
}

ReplacedSharedMemory::ReplacedSharedMemory(int descriptor) {
    sharedMemoryDescriptor = descriptor;
}

ReplacedSharedMemory::~ReplacedSharedMemory() {
    sharedMemoryDescriptor = -1;
}

SignalledChildren::SignalledChildren(int signal) {
    signalOfChildren = signal;
}

SignalledChildren::~SignalledChildren() {
    signalOfChildren = 0;
}

AnsweredDialog::AnsweredDialog(int32_t choice) {
    dialogChoice = choice;
}

AnsweredDialog::~AnsweredDialog() {
    dialogChoice.reset();
}

FailingAllocation::FailingAllocation(size_t size) {
    failingSize = size;
}

FailingAllocation::~FailingAllocation() {
    failingSize = 0;
}

} // namespace core_tests

using base::core::String;
using namespace core_tests;

extern "C" {

void* __real_malloc(size_t size);
void* __wrap_malloc(size_t size) {
    if (size != 0 && size == failingSize) {
        errno = ENOMEM;
        return nullptr;
    }
    return __real_malloc(size);
}

// `operator new[]`, by its mangled name: the letter of `size_t` differs between the processors.
#ifdef __i386__
#define REAL_NEW_ARRAY __real__Znaj
#define WRAP_NEW_ARRAY __wrap__Znaj
#else
#define REAL_NEW_ARRAY __real__Znam
#define WRAP_NEW_ARRAY __wrap__Znam
#endif
void* REAL_NEW_ARRAY(size_t size);
void* WRAP_NEW_ARRAY(size_t size) {
    if (size != 0 && size == failingSize)
        throw std::bad_alloc();
    return REAL_NEW_ARRAY(size);
}

char* __real_strdup(const char* text);
char* __wrap_strdup(const char* text) {
    return fails(LibraryCall::strdup) ? nullptr : __real_strdup(text);
}

int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*),
                          void* argument);
int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*),
                          void* argument) {
    return fails(LibraryCall::threadCreate) ? EAGAIN
                                            : __real_pthread_create(thread, attributes, entry, argument);
}

pid_t __real_fork();
pid_t __wrap_fork() {
    if (fails(LibraryCall::fork)) {
        errno = EAGAIN;
        return -1;
    }
    const pid_t child = __real_fork();
    if (child == 0)
        signalThisChild();
    return child;
}

struct ClonedChild {
    int (*entry)(void*);
    void* argument;
};

int __real_clone(int (*entry)(void*), void* stack, int flags, void* argument, ...);
int __wrap_clone(int (*entry)(void*), void* stack, int flags, void* argument, ...) {
    ClonedChild made{entry, argument};
    return __real_clone(
        [](void* child) {
            signalThisChild();
            const auto* cloned = static_cast<const ClonedChild*>(child);
            return cloned->entry(cloned->argument);
        },
        stack, flags, &made);
}

// The first call of a child that `vfork` has made.
int __real_prctl(int option, ...);
int __wrap_prctl(int option, ...) {
    va_list list;
    va_start(list, option);
    const auto argument = va_arg(list, unsigned long);
    va_end(list);
    if (option == PR_SET_PDEATHSIG)
        signalThisChild();
    return __real_prctl(option, argument, 0ul, 0ul, 0ul);
}

int __real_pipe2(int ends[2], int flags);
int __wrap_pipe2(int ends[2], int flags) {
    if (!fails(LibraryCall::pipe2))
        return __real_pipe2(ends, flags);
    errno = EMFILE;
    return -1;
}

int __real_shm_open(const char* name, int flags, mode_t mode);
int __wrap_shm_open(const char* name, int flags, mode_t mode) {
    return sharedMemoryDescriptor >= 0 ? fcntl(sharedMemoryDescriptor, F_DUPFD_CLOEXEC, 0)
                                       : __real_shm_open(name, flags, mode);
}

// Under either name, by the size of file offsets.
#if defined(__i386__)
#define REAL_FALLOCATE __real_posix_fallocate64
#define WRAP_FALLOCATE __wrap_posix_fallocate64
#else
#define REAL_FALLOCATE __real_posix_fallocate
#define WRAP_FALLOCATE __wrap_posix_fallocate
#endif
int REAL_FALLOCATE(int descriptor, off_t offset, off_t size);
int WRAP_FALLOCATE(int descriptor, off_t offset, off_t size) {
    if (fails(LibraryCall::fallocateOnce)) {
        failingCalls = 0;
        return EINTR;
    }
    return fails(LibraryCall::fallocate) ? ENOSPC : REAL_FALLOCATE(descriptor, offset, size);
}

// `showMessageDialog`, by its mangled name.
#define DIALOG_NAME(prefix)                                                                                  \
    prefix##_ZN4base4core17showMessageDialogERKNS0_6StringES3_RKSt6vectorIS1_SaIS1_EEiii
int32_t DIALOG_NAME(__real_)(const String& title, const String& text, const std::vector<String>& buttons,
                             int32_t defaultButton, int32_t width, int32_t height);
int32_t DIALOG_NAME(__wrap_)(const String& title, const String& text, const std::vector<String>& buttons,
                             int32_t defaultButton, int32_t width, int32_t height) {
    return dialogChoice ? *dialogChoice
                        : DIALOG_NAME(__real_)(title, text, buttons, defaultButton, width, height);
}

// The calls below do their work and say that they failed, so that what goes on behind the assertion stays
// defined.

int __real_pthread_attr_init(pthread_attr_t* attributes);
int __wrap_pthread_attr_init(pthread_attr_t* attributes) {
    const int result = __real_pthread_attr_init(attributes);
    return fails(LibraryCall::threadAttributesInit) ? ENOMEM : result;
}

int __real_pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes);
int __wrap_pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes) {
    const int result = __real_pthread_mutex_init(mutex, attributes);
    return fails(LibraryCall::mutexInit) ? EAGAIN : result;
}

int __real_pthread_mutexattr_init(pthread_mutexattr_t* attributes);
int __wrap_pthread_mutexattr_init(pthread_mutexattr_t* attributes) {
    const int result = __real_pthread_mutexattr_init(attributes);
    return fails(LibraryCall::mutexAttributesInit) ? ENOMEM : result;
}

int __real_pthread_cond_init(pthread_cond_t* condition, const pthread_condattr_t* attributes);
int __wrap_pthread_cond_init(pthread_cond_t* condition, const pthread_condattr_t* attributes) {
    const int result = __real_pthread_cond_init(condition, attributes);
    return fails(LibraryCall::conditionInit) ? EAGAIN : result;
}

int __real_pthread_condattr_init(pthread_condattr_t* attributes);
int __wrap_pthread_condattr_init(pthread_condattr_t* attributes) {
    const int result = __real_pthread_condattr_init(attributes);
    return fails(LibraryCall::conditionAttributesInit) ? ENOMEM : result;
}
}
