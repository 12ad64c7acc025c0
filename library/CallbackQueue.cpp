#include "library/CallbackQueue.h"

#include "core/Log.h"

#include <exception>
#include <utility>

namespace client_library {

CallbackQueue::CallbackQueue() = default;

CallbackQueue::~CallbackQueue() = default;

void CallbackQueue::post(Callback callback) {
    const auto current = state.lock();
    if (current->isClosed)
        return;
    current->callbacks.push_back(std::move(callback));
    waiting.signal();
    changed.broadcast();
}

bool CallbackQueue::runAll() {
    size_t count = 0;
    {
        const auto current = state.lock();
        if (current->runner)
            return false;
        count = current->callbacks.size();
    }
    while (count > 0 && runFirst())
        --count;
    return true;
}

void CallbackQueue::runUntilClosed() {
    for (;;) {
        {
            const auto current = state.lock();
            while (current->callbacks.empty() && !current->isFinished)
                current.wait(changed);
            if (current->callbacks.empty())
                return;
        }
        runFirst();
    }
}

void CallbackQueue::close() {
    // Released without the lock, as that may release an object of the library.
    std::deque<Callback> dropped;
    const auto current = state.lock();
    current->isClosed = true;
    dropped.swap(current->callbacks);
    changed.broadcast();
    while (current->runner && pthread_equal(*current->runner, pthread_self()) == 0)
        current.wait(changed);
}

void CallbackQueue::runLast(const Callback& callback, bool hasThread) {
    {
        const auto current = state.lock();
        const bool isInside = current->runner && pthread_equal(*current->runner, pthread_self()) != 0;
        if (hasThread && !isInside) {
            current->callbacks.push_back(callback);
            changed.broadcast();
            while (!current->callbacks.empty() || current->runner)
                current.wait(changed);
            return;
        }
    }
    callback();
}

void CallbackQueue::finish() {
    const auto current = state.lock();
    current->isFinished = true;
    changed.broadcast();
}

bool CallbackQueue::isClosed() const {
    return state.lock()->isClosed;
}

bool CallbackQueue::runFirst() {
    const std::optional<Callback> callback = begin();
    if (!callback)
        return false;
    try {
        (*callback)();
    } catch (const std::exception& exception) {
        base::core::logError("A callback has thrown: ", exception.what());
    } catch (...) {
        base::core::logError("A callback has thrown");
    }
    end();
    return true;
}

std::optional<CallbackQueue::Callback> CallbackQueue::begin() {
    const auto current = state.lock();
    if (current->runner || current->callbacks.empty())
        return std::nullopt;
    Callback first = std::move(current->callbacks.front());
    current->callbacks.pop_front();
    if (current->callbacks.empty())
        waiting.clear();
    current->runner = pthread_self();
    return first;
}

void CallbackQueue::end() {
    const auto current = state.lock();
    current->runner.reset();
    changed.broadcast();
}

CallbackThread::CallbackThread(const Ref<CallbackQueue>& queue) : Thread("Plugin callbacks"), queue(queue) {}

CallbackThread::~CallbackThread() = default;

bool CallbackThread::prepareForDeletion() {
    queue->close();
    queue->finish();
    if (isCurrentThread()) {
        // A thread can't join itself.
        base::core::retain(this);
        base::core::releaseOnNewThread(this);
        return false;
    }
    join();
    return true;
}

void CallbackThread::run() {
    queue->runUntilClosed();
}

} // namespace client_library
