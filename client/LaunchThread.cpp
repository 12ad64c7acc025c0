#include "client/LaunchThread.h"

#include "core/Exception.h"
#include "core/Guarded.h"
#include "core/Log.h"
#include "core/Thread.h"
#include "plugin/CoreNames.h"

#include <deque>
#include <exception>
#include <unistd.h>

using base::core::Condition;
using base::core::Guarded;

namespace {

struct Work {
    const std::function<void()>* body;
    /// Of the thread that waits.
    Ref<base::core::LogReceiver> log;
    std::exception_ptr failure;
    bool isDone = false;
};

class LaunchThread : public base::core::Thread {
public:
    LaunchThread() : Thread("Plugin host start") {}

    void execute(Work& work) {
        const auto waiting = queue.lock();
        waiting->push_back(&work);
        added.signal();
        while (!work.isDone)
            waiting.wait(done);
    }

protected:
    void run() override {
        for (;;) {
            Work& work = next();
            perform(work);
            const auto waiting = queue.lock();
            work.isDone = true;
            done.broadcast();
        }
    }

private:
    Work& next() {
        const auto waiting = queue.lock();
        while (waiting->empty())
            waiting.wait(added);
        Work& work = *waiting->front();
        waiting->pop_front();
        return work;
    }

    static void perform(Work& work) {
        const base::core::ScopedLogReceiver log(work.log);
        try {
            (*work.body)();
        } catch (...) {
            work.failure = std::current_exception();
        }
    }

    Condition added;
    Condition done;
    Guarded<std::deque<Work*>> queue;
};

/// Never destroyed, as its thread never ends.
LaunchThread& launchThread() {
    struct Current {
        pid_t process = 0;
        LaunchThread* thread = nullptr;
    };
    static auto& current = *new Guarded<Current>;
    const auto access = current.lock();
    if (access->process != getpid()) {
        // A fork has a copy of the object without its thread.
        access->thread = new LaunchThread;
        // It outlives the receiver of whoever comes first; each work has its own.
        const base::core::ScopedLogReceiver none(nullptr);
        access->thread->start();
        access->process = getpid();
    }
    return *access->thread;
}

} // namespace

void runOnLaunchThread(const std::function<void()>& work) {
    Work entry{&work, base::core::LogReceiver::getCurrent(), nullptr};
    launchThread().execute(entry);
    if (entry.failure)
        std::rethrow_exception(entry.failure);
}
