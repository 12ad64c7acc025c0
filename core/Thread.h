#pragma once

#include "core/Log.h"
#include "core/Object.h"
#include "core/Ref.h"

#include <atomic>
#include <cstdint>
#include <pthread.h>
#include <string>
#include <sys/resource.h>
#include <sys/types.h>

namespace base::core {

/// What one of the eight priority steps requests from the kernel, within the process's resource limits.
struct ThreadScheduling {
    int policy;
    int32_t realtimePriority;
    int32_t niceness;
    /// The lowest and the highest niceness of the steps; `setpriority` is called only if `minNiceness` is at
    /// most 18.
    int32_t minNiceness;
    int32_t maxNiceness;
};

/// The row of the priority table for `priority` (0 the most urgent, 7 the least) under the current limits of
/// `RLIMIT_NICE` and `RLIMIT_RTPRIO`, which are taken as signed 32-bit numbers.
/// Oddity unlimited-priority-refused: an unlimited `RLIMIT_RTPRIO` thus reads as -1 and asks for a priority
/// that the kernel refuses. A step above 7 is a failed assertion.
ThreadScheduling schedulingFor(int32_t priority, rlim_t niceLimit, rlim_t realtimeLimit);

/// One POSIX thread with a name and a priority step. It can't be restarted. Each subclass has its own way to
/// end: a flag, or the end of a stream. Its owner joins it, in `prepareForDeletion` or at its shutdown, since
/// the subclass is destroyed before this destructor runs.
///
/// It starts with all signals blocked but those of its own faults: handlers of the application run on the
/// application's threads and interrupt no call of this one.
class Thread : public Object {
public:
    enum State : int32_t { notStarted = 0, started = 1, finished = 3 };

    static constexpr int32_t defaultPriority = 4;

    explicit Thread(const std::string& name);
    /// Joins, as `join` does.
    ~Thread() override;

    /// A failure to create the thread is a failed assertion.
    void start();

    /// Waits for the end of `run`; no effect without a running thread, as in a fork of the process. A thread
    /// never joins itself. Returns the result of `pthread_join`, or 0.
    int join();

    /// Whether the caller runs on this thread.
    bool isCurrentThread() const;

    State getState() const { return static_cast<State>(state.load(std::memory_order_relaxed)); }

protected:
    /// On the new thread, before `run`: sets its name (the kernel keeps 15 bytes) and its priority.
    virtual void onThreadStart();
    /// The body. No exception may leave it.
    virtual void run() = 0;

    /// A step from 0 to 7; set before `start`.
    int32_t priority = defaultPriority;

private:
    static void* enter(void* thread);
    void applyPriority() const;

    std::atomic<pthread_t> handle{0};
    /// That of the thread that started it.
    Ref<LogReceiver> logReceiver;
    /// The process that started it.
    pid_t process = 0;
    std::string name;
    std::atomic<int32_t> state{notStarted};
};

/// Drops a reference on a new thread, for a caller that the object's end waits for. If no thread can be made,
/// the reference is leaked, which is logged.
void releaseOnNewThread(const Object* object);

} // namespace base::core
