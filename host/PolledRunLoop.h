#pragma once

#include "core/EventDescriptor.h"
#include "core/Guarded.h"
#include "core/Thread.h"
#include "plugin/RunLoop.h"

#include <memory>
#include <poll.h>
#include <vector>

class PluginHostContext;

/// The run loop of a host. One thread polls the descriptors and the clock, and posts an action for what is
/// ready; one action waits at a time, and what is ready isn't looked at again until it was called, so nothing
/// floods the queue. The thread begins with the first that is watched.
class PolledRunLoop : public RunLoop {
public:
    /// `host` outlives this.
    explicit PolledRunLoop(PluginHostContext& host);
    /// No call is in progress.
    ~PolledRunLoop() override;

    void addDescriptor(const void* owner, const void* key, int32_t descriptor,
                       const Ref<Handler>& handler) override;
    void addTimer(const void* owner, const void* key, uint64_t interval,
                  const Ref<Handler>& handler) override;
    bool removeDescriptors(const void* owner, const void* key) override;
    bool removeTimers(const void* owner, const void* key) override;
    void removeAll(const void* owner) override;
    void callFor(int64_t microseconds) override;

private:
    class Poller;
    class CallReadyAction;
    using Nanoseconds = int64_t;

    struct Entry {
        uint64_t id;
        const void* owner;
        const void* key;
        Ref<Handler> handler;
        /// -1: a timer.
        int32_t descriptor;
        Nanoseconds interval;
        /// Of the next call, by the monotonic clock.
        Nanoseconds due;
        bool isReady = false;
        /// Nothing will come from the descriptor any more.
        bool hasEnded = false;

        bool isTimer() const { return descriptor < 0; }
    };
    struct State {
        /// In the order in which they came.
        std::vector<Entry> entries;
        uint64_t lastId = 0;
        bool isActionPosted = false;
        bool isEnding = false;

        Entry* find(uint64_t id);
    };

    /// What the thread waits for.
    struct Waiting {
        /// The first is `changed`.
        std::vector<pollfd> descriptors;
        /// Of the others.
        std::vector<uint64_t> ids;
        /// -1: no timer is waiting.
        Nanoseconds due = -1;
    };

    void add(Entry entry);
    template <class Condition>
    bool removeIf(const Condition& condition);
    /// Calls what is ready now, each once. Main thread.
    void callReady();
    void call(uint64_t id);

    // The thread.

    /// False once it is to end.
    bool prepare(Waiting& waiting);
    void wait(Waiting& waiting) const;
    /// Marks what is ready. Whether an action is to be posted.
    bool note(const Waiting& waiting);

    PluginHostContext& host;
    base::core::Guarded<State> state;
    base::core::Condition becameReady;
    /// Wakes the thread: what it waits for is another. With the thread.
    std::unique_ptr<base::core::EventDescriptor> changed;
    Ref<Poller> poller;
};
