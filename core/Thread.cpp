#include "core/Thread.h"

#include "core/Assertion.h"
#include "core/Log.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace base::core {
namespace {

/// Blocks for a scope the signals that a new thread inherits as blocked: all but those of its own faults,
/// which must be delivered.
class ThreadSignalMask : public NonCopyable, public NonMovable {
public:
    ThreadSignalMask() {
        sigset_t blocked;
        sigfillset(&blocked);
        for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS})
            sigdelset(&blocked, fault);
        pthread_sigmask(SIG_SETMASK, &blocked, &former);
    }
    ~ThreadSignalMask() { pthread_sigmask(SIG_SETMASK, &former, nullptr); }

private:
    sigset_t former{};
};

} // namespace

ThreadScheduling schedulingFor(int32_t priority, rlim_t niceLimit, rlim_t realtimeLimit) {
    const int32_t min = 20 - static_cast<int32_t>(niceLimit);
    const int32_t max = std::max(min, 19);
    const int32_t d = max - min;
    // Signed: an unlimited limit stays -1.
    const int32_t rt = std::min(static_cast<int32_t>(realtimeLimit), 20);
    switch (priority) {
    case 0:
        return {SCHED_FIFO, rt, min, min, max};
    case 1:
        return {SCHED_FIFO, rt - 1, min, min, max};
    case 2:
        return {SCHED_OTHER, 0, max + (-5 * d) / 6, min, max};
    case 3:
        return {SCHED_OTHER, 0, max - (4 * d) / 6, min, max};
    case 4:
        return {SCHED_OTHER, 0, max - d / 2, min, max};
    case 5:
        return {SCHED_OTHER, 0, max - d / 3, min, max};
    case 6:
        return {SCHED_OTHER, 0, max - d / 6, min, max};
    case 7:
        return {SCHED_IDLE, 0, max, min, max};
    default:
        BASE_FAIL(concat("Unsupported operation: ", "Unsupported thread priority"));
        return {SCHED_OTHER, 0, max, min, max};
    }
}

Thread::Thread(const std::string& name) : name(name) {}

Thread::~Thread() {
    Thread::join();
}

void Thread::start() {
    state.store(started, std::memory_order_relaxed);
    logReceiver = LogReceiver::getCurrent();
    pthread_attr_t attributes;
    if (pthread_attr_init(&attributes) != 0)
        BASE_FAIL(concat("Fatal state: ", "pthread_attr_init() failed"));
    process = getpid();
    pthread_t created = 0;
    int result = 0;
    {
        const ThreadSignalMask mask;
        result = pthread_create(&created, &attributes, enter, this);
    }
    if (result != 0)
        BASE_FAIL(concat("Fatal state: ", "pthread_create() failed"));
    handle.store(created);
    pthread_attr_destroy(&attributes);
}

int Thread::join() {
    int result = 0;
    if (const pthread_t joinable = handle.load(); joinable != 0) {
        if (process == getpid())
            result = pthread_join(joinable, nullptr);
        handle.store(0);
    }
    state.store(finished, std::memory_order_relaxed);
    return result;
}

bool Thread::isCurrentThread() const {
    const pthread_t self = handle.load();
    return self != 0 && pthread_equal(pthread_self(), self) != 0;
}

void Thread::onThreadStart() {
    prctl(PR_SET_NAME, name.c_str(), 0, 0, 0);
    applyPriority();
}

void* Thread::enter(void* argument) {
    auto* thread = static_cast<Thread*>(argument);
    // The starting thread stores the same value, perhaps after `isCurrentThread` is called on this one.
    thread->handle.store(pthread_self());
    const ScopedLogReceiver log(thread->logReceiver);
    thread->onThreadStart();
    thread->run();
    return nullptr;
}

void Thread::applyPriority() const {
    const auto threadId = static_cast<id_t>(syscall(SYS_gettid));
    rlimit niceLimit{};
    getrlimit(RLIMIT_NICE, &niceLimit);
    rlimit realtimeLimit{};
    getrlimit(RLIMIT_RTPRIO, &realtimeLimit);
    const ThreadScheduling scheduling = schedulingFor(priority, niceLimit.rlim_cur, realtimeLimit.rlim_cur);

    if (scheduling.minNiceness <= 18) {
        const int result = setpriority(PRIO_PROCESS, threadId, scheduling.niceness);
        if (result != 0) {
            // Oddity niceness-error-eperm: the result is compared in the place of `errno`, so the word is
            // always "EPERM". Oddity misspelt-texts: "EACESS", which is never logged.
            logError("Error setting niceness for thread to ", scheduling.niceness,
                     " (error = ", result == EACCES ? "EACESS" : "EPERM", ", min = ", scheduling.minNiceness,
                     ", max = ", scheduling.maxNiceness, ")");
        }
    }

    sched_param parameters{};
    parameters.sched_priority = scheduling.realtimePriority;
    const int result = pthread_setschedparam(pthread_self(), scheduling.policy, &parameters);
    if (scheduling.policy == SCHED_FIFO) {
        if (result == 0)
            logProgress("Successfully set thread realtime priority to ", scheduling.realtimePriority);
        else
            logError("Error setting realtime priority for thread to ", scheduling.realtimePriority);
    } else if (result != 0) {
        logError("Error adjusting priority of thread to ", scheduling.realtimePriority);
    }
}

void releaseOnNewThread(const Object* object) {
    const auto body = [](void* argument) -> void* {
        prctl(PR_SET_NAME, "Last release", 0, 0, 0);
        release(static_cast<const Object*>(argument));
        return nullptr;
    };
    const ThreadSignalMask mask;
    pthread_t created = 0;
    if (pthread_create(&created, nullptr, body, const_cast<Object*>(object)) != 0) {
        logError("An object is never freed: no thread could be made for its end");
        return;
    }
    pthread_detach(created);
}

} // namespace base::core
