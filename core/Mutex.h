#pragma once

#include "core/Object.h"

#include <ctime>
#include <pthread.h>

namespace base::core {

/// A POSIX mutex. Failing to make one is a failed assertion.
class AbstractMutex : public NonCopyable {
public:
    virtual void lock() = 0;
    virtual bool tryLock() = 0;
    virtual void unlock() = 0;
    virtual bool isRecursive() const = 0;

protected:
    AbstractMutex() = default;
    ~AbstractMutex();

    pthread_mutex_t mutex;
};

class Mutex final : public AbstractMutex {
public:
    Mutex();

    void lock() override;
    /// True if the lock was taken.
    bool tryLock() override;
    void unlock() override;
    bool isRecursive() const override;

private:
    friend class Condition;
};

/// One thread may lock it several times, and unlocks it as often.
class RecursiveMutex final : public AbstractMutex {
public:
    RecursiveMutex();

    void lock() override;
    /// Oddity inverted-recursive-try-lock: true if the lock was NOT taken, unlike `Mutex::tryLock`.
    bool tryLock() override;
    void unlock() override;
    bool isRecursive() const override;
};

/// Holds a mutex for a scope.
class ScopedLock : public NonCopyable, public NonMovable {
public:
    explicit ScopedLock(AbstractMutex& mutex) : mutex(mutex) { mutex.lock(); }
    ~ScopedLock() { mutex.unlock(); }

private:
    AbstractMutex& mutex;
};

/// A POSIX condition variable on the monotonic clock. Failing to make one is a failed assertion.
class Condition : public NonCopyable, public NonMovable {
public:
    Condition();
    ~Condition();

    void wait(Mutex& mutex);
    /// `deadline` is a time of `CLOCK_MONOTONIC`; false if it passes before a signal.
    bool waitUntil(Mutex& mutex, const timespec& deadline);
    void signal();
    void broadcast();

private:
    pthread_cond_t condition;
};

/// The time of `CLOCK_MONOTONIC` in `seconds` from now.
timespec monotonicDeadline(double seconds);

} // namespace base::core
