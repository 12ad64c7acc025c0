#include "core/Mutex.h"

#include "core/Assertion.h"
#include "core/String.h"

#include <cmath>

namespace base::core {
namespace {

void requireSuccess(int result, const char* failure) {
    if (result != 0)
        BASE_FAIL(concat("Fatal state: ", failure));
}

} // namespace

AbstractMutex::~AbstractMutex() {
    pthread_mutex_destroy(&mutex);
}

Mutex::Mutex() {
    requireSuccess(pthread_mutex_init(&mutex, nullptr), "pthread_mutex_init failed");
}

void Mutex::lock() {
    pthread_mutex_lock(&mutex);
}

bool Mutex::tryLock() {
    return pthread_mutex_trylock(&mutex) == 0;
}

void Mutex::unlock() {
    pthread_mutex_unlock(&mutex);
}

bool Mutex::isRecursive() const {
    return false;
}

RecursiveMutex::RecursiveMutex() {
    pthread_mutexattr_t attributes;
    requireSuccess(pthread_mutexattr_init(&attributes), "pthread_mutexattr_init() failed");
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    requireSuccess(pthread_mutex_init(&mutex, &attributes), "pthread_mutex_init() failed");
    pthread_mutexattr_destroy(&attributes);
}

void RecursiveMutex::lock() {
    pthread_mutex_lock(&mutex);
}

bool RecursiveMutex::tryLock() {
    return pthread_mutex_trylock(&mutex) != 0;
}

void RecursiveMutex::unlock() {
    pthread_mutex_unlock(&mutex);
}

bool RecursiveMutex::isRecursive() const {
    return true;
}

Condition::Condition() {
    pthread_condattr_t attributes;
    requireSuccess(pthread_condattr_init(&attributes), "pthread_condattr_init() failed");
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    requireSuccess(pthread_cond_init(&condition, &attributes), "pthread_cond_init() failed");
    pthread_condattr_destroy(&attributes);
}

Condition::~Condition() {
    pthread_cond_destroy(&condition);
}

void Condition::wait(Mutex& mutex) {
    pthread_cond_wait(&condition, &mutex.mutex);
}

bool Condition::waitUntil(Mutex& mutex, const timespec& deadline) {
    return pthread_cond_timedwait(&condition, &mutex.mutex, &deadline) == 0;
}

void Condition::signal() {
    pthread_cond_signal(&condition);
}

void Condition::broadcast() {
    pthread_cond_broadcast(&condition);
}

timespec monotonicDeadline(double seconds) {
    constexpr long nanosecondsPerSecond = 1000000000;
    timespec deadline{};
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    const double whole = std::floor(seconds);
    deadline.tv_sec += static_cast<time_t>(whole);
    deadline.tv_nsec += static_cast<long>((seconds - whole) * nanosecondsPerSecond);
    if (deadline.tv_nsec >= nanosecondsPerSecond) {
        deadline.tv_nsec -= nanosecondsPerSecond;
        ++deadline.tv_sec;
    }
    return deadline;
}

} // namespace base::core
