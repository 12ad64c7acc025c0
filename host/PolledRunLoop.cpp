#include "host/PolledRunLoop.h"

#include "plugin/PluginHostContext.h"

#include <algorithm>
#include <ctime>
#include <functional>
#include <iterator>
#include <utility>

namespace {

constexpr int64_t nanosecondsInSecond = 1'000'000'000;
constexpr int64_t nanosecondsInMillisecond = 1'000'000;
constexpr uint64_t longestInterval = 1ULL << 40; // milliseconds, about 35 years

int64_t monotonicNow() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * nanosecondsInSecond + now.tv_nsec;
}

timespec toTimespec(int64_t nanoseconds) {
    timespec time{};
    time.tv_sec = static_cast<time_t>(nanoseconds / nanosecondsInSecond);
    time.tv_nsec = static_cast<long>(nanoseconds % nanosecondsInSecond);
    return time;
}

} // namespace

class PolledRunLoop::CallReadyAction : public PluginHostAction {
public:
    explicit CallReadyAction(PolledRunLoop& loop) : loop(loop) {}

    void run() override { loop.callReady(); }

private:
    PolledRunLoop& loop;
};

class PolledRunLoop::Poller : public base::core::Thread {
public:
    explicit Poller(PolledRunLoop& loop) : Thread("Run loop"), loop(loop) {}

protected:
    void run() override {
        Waiting waiting;
        while (loop.prepare(waiting)) {
            loop.wait(waiting);
            if (loop.note(waiting))
                loop.host.post(new CallReadyAction(loop));
        }
    }

private:
    PolledRunLoop& loop;
};

PolledRunLoop::PolledRunLoop(PluginHostContext& host) : host(host) {}

PolledRunLoop::~PolledRunLoop() {
    if (!poller)
        return;
    state.lock()->isEnding = true;
    changed->signal();
    poller->join();
}

PolledRunLoop::Entry* PolledRunLoop::State::find(uint64_t id) {
    const auto found = std::ranges::find(entries, id, &Entry::id);
    return found != entries.end() ? &*found : nullptr;
}

void PolledRunLoop::addDescriptor(const void* owner, const void* key, int32_t descriptor,
                                  const Ref<Handler>& handler) {
    add({0, owner, key, handler, std::max(descriptor, 0), 0, 0});
}

void PolledRunLoop::addTimer(const void* owner, const void* key, uint64_t interval,
                             const Ref<Handler>& handler) {
    const auto milliseconds = static_cast<Nanoseconds>(std::clamp<uint64_t>(interval, 1, longestInterval));
    const Nanoseconds time = milliseconds * nanosecondsInMillisecond;
    add({0, owner, key, handler, -1, time, monotonicNow() + time});
}

void PolledRunLoop::add(Entry entry) {
    {
        const auto current = state.lock();
        if (!changed)
            changed = std::make_unique<base::core::EventDescriptor>();
        entry.id = ++current->lastId;
        current->entries.push_back(std::move(entry));
        if (!poller) {
            poller = new Poller(*this);
            poller->start();
        }
    }
    changed->signal();
}

bool PolledRunLoop::removeDescriptors(const void* owner, const void* key) {
    return removeIf(
        [&](const Entry& entry) { return entry.owner == owner && entry.key == key && !entry.isTimer(); });
}

bool PolledRunLoop::removeTimers(const void* owner, const void* key) {
    return removeIf(
        [&](const Entry& entry) { return entry.owner == owner && entry.key == key && entry.isTimer(); });
}

void PolledRunLoop::removeAll(const void* owner) {
    removeIf([&](const Entry& entry) { return entry.owner == owner; });
}

template <class Condition>
bool PolledRunLoop::removeIf(const Condition& condition) {
    // Released without the lock: that calls the plug-in.
    std::vector<Entry> removed;
    {
        const auto current = state.lock();
        const auto end =
            std::stable_partition(current->entries.begin(), current->entries.end(), std::not_fn(condition));
        std::move(end, current->entries.end(), std::back_inserter(removed));
        current->entries.erase(end, current->entries.end());
    }
    if (removed.empty())
        return false;
    changed->signal();
    return true;
}

void PolledRunLoop::callReady() {
    std::vector<uint64_t> ready;
    {
        const auto current = state.lock();
        current->isActionPosted = false;
        for (const Entry& entry : current->entries) {
            if (entry.isReady)
                ready.push_back(entry.id);
        }
    }
    for (const uint64_t id : ready)
        call(id);
    if (!ready.empty())
        changed->signal();
}

void PolledRunLoop::call(uint64_t id) {
    Ref<Handler> handler;
    {
        // A call before it may have removed it.
        const auto current = state.lock();
        const Entry* entry = current->find(id);
        if (entry == nullptr || !entry->isReady)
            return;
        handler = entry->handler;
    }
    handler->call();
    const auto current = state.lock();
    Entry* entry = current->find(id);
    if (entry == nullptr)
        return;
    entry->isReady = false;
    const Nanoseconds now = monotonicNow();
    entry->due = entry->due + entry->interval > now ? entry->due + entry->interval : now + entry->interval;
}

void PolledRunLoop::callFor(int64_t microseconds) {
    const Nanoseconds end = monotonicNow() + microseconds * 1000;
    while (monotonicNow() < end) {
        callReady();
        const auto current = state.lock();
        if (std::ranges::none_of(current->entries, &Entry::isReady))
            current.waitUntil(becameReady, toTimespec(end));
    }
}

bool PolledRunLoop::prepare(Waiting& waiting) {
    waiting.descriptors.assign(1, {changed->get(), POLLIN, 0});
    waiting.ids.clear();
    waiting.due = -1;
    const auto current = state.lock();
    for (const Entry& entry : current->entries) {
        if (entry.isReady || entry.hasEnded)
            continue;
        if (!entry.isTimer()) {
            waiting.descriptors.push_back({entry.descriptor, POLLIN, 0});
            waiting.ids.push_back(entry.id);
        } else if (waiting.due < 0 || entry.due < waiting.due) {
            waiting.due = entry.due;
        }
    }
    return !current->isEnding;
}

void PolledRunLoop::wait(Waiting& waiting) const {
    timespec left{};
    if (waiting.due >= 0)
        left = toTimespec(std::max<Nanoseconds>(waiting.due - monotonicNow(), 0));
    // A failure leaves no events, and is tried again.
    ppoll(waiting.descriptors.data(), waiting.descriptors.size(), waiting.due >= 0 ? &left : nullptr,
          nullptr);
    changed->clear();
}

bool PolledRunLoop::note(const Waiting& waiting) {
    bool hasNew = false;
    const auto current = state.lock();
    for (size_t i = 0; i < waiting.ids.size(); ++i) {
        const short events = waiting.descriptors[i + 1].revents;
        Entry* entry = events != 0 ? current->find(waiting.ids[i]) : nullptr;
        if (entry == nullptr)
            continue;
        entry->hasEnded = (events & POLLIN) == 0;
        entry->isReady = (events & POLLNVAL) == 0;
        hasNew |= entry->isReady;
    }
    const Nanoseconds now = monotonicNow();
    for (Entry& entry : current->entries) {
        if (!entry.isTimer() || entry.isReady || entry.due > now)
            continue;
        entry.isReady = true;
        hasNew = true;
    }
    if (!hasNew)
        return false;
    becameReady.broadcast();
    return !std::exchange(current->isActionPosted, true);
}
