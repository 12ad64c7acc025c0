#include "FailingCalls.h"

#include "core/MessageDialog.h"

#include <cerrno>
#include <new>
#include <optional>
#include <pthread.h>
#include <unistd.h>

namespace base::core {
namespace {

thread_local uint32_t failingCalls = 0;
thread_local size_t failingSize = 0;
thread_local std::optional<int32_t> dialogChoice;

bool fails(LibraryCall call) {
    return (failingCalls & static_cast<uint32_t>(call)) != 0;
}

} // namespace

FailingCall::FailingCall(LibraryCall call) {
    failingCalls = static_cast<uint32_t>(call);
}

FailingCall::~FailingCall() {
    failingCalls = 0;
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

} // namespace base::core

using namespace base::core;

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
    if (!fails(LibraryCall::fork))
        return __real_fork();
    errno = EAGAIN;
    return -1;
}

int __real_pipe2(int ends[2], int flags);
int __wrap_pipe2(int ends[2], int flags) {
    if (!fails(LibraryCall::pipe2))
        return __real_pipe2(ends, flags);
    errno = EMFILE;
    return -1;
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
