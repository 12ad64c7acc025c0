#pragma once

#include "core/EventDescriptor.h"
#include "core/Guarded.h"
#include "core/Thread.h"
#include "plugin/CoreNames.h"

#include <deque>
#include <functional>
#include <optional>
#include <pthread.h>

namespace client_library {

/// The callbacks that wait to be made, in the order of what happened, one at a time. Any thread.
class CallbackQueue : public Object {
public:
    using Callback = std::function<void()>;

    /// Throws `IOException` if the process is out of descriptors.
    CallbackQueue();
    ~CallbackQueue() override;

    /// Dropped once the queue is closed.
    void post(Callback callback);
    /// Makes the callbacks that wait, and none that is posted meanwhile. False, without effect, if another
    /// thread is at it, or this one is inside of a callback.
    bool runAll();
    /// Waits for callbacks and makes them until `finish`: the body of a thread of its own.
    void runUntilClosed();
    /// Drops what waits and takes no callback from now on. Waits for one that another thread is in.
    void close();
    /// Makes a callback behind the end and waits for it: inside of `runUntilClosed` if a thread is in that,
    /// else on the calling thread, as also inside of a callback.
    void runLast(const Callback& callback, bool hasThread);
    /// Ends `runUntilClosed`.
    void finish();
    bool isClosed() const;
    /// Polls as readable while callbacks wait.
    int32_t getDescriptor() const { return waiting.get(); }

private:
    struct State {
        std::deque<Callback> callbacks;
        std::optional<pthread_t> runner;
        bool isClosed = false;
        bool isFinished = false;
    };

    /// Makes the first one; false if there is none.
    bool runFirst();
    std::optional<Callback> begin();
    void end();

    base::core::EventDescriptor waiting;
    base::core::Condition changed;
    base::core::Guarded<State> state;
};

/// Makes callbacks, and nothing else. It ends with its queue, also if that is closed inside of a callback.
class CallbackThread : public base::core::Thread {
public:
    explicit CallbackThread(const Ref<CallbackQueue>& queue);
    ~CallbackThread() override;

    bool prepareForDeletion() override;

protected:
    void run() override;

private:
    const Ref<CallbackQueue> queue;
};

} // namespace client_library
