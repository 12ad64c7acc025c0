#include "library/RequestLog.h"

#include "library/ClientPlugin.h"

#include <algorithm>

namespace client_library {

RequestLog::Number RequestLog::add(const char* name, int32_t instanceId, const ClientPlugin* created) {
    const String path = created != nullptr ? created->settings.path : String();
    const auto current = state.lock();
    current->requests.push_back({++current->last, name, instanceId, created, path, monotonicTime()});
    return current->last;
}

RequestLog::Number RequestLog::addPing() {
    const auto current = state.lock();
    current->pings.push_back(++current->last);
    return current->last;
}

void RequestLog::end(Number number) {
    const auto current = state.lock();
    endUpTo(*current, number);
}

void RequestLog::endPings(size_t count) {
    const auto current = state.lock();
    for (; count > 0 && !current->pings.empty(); --count) {
        endUpTo(*current, current->pings.front());
        current->pings.pop_front();
    }
}

void RequestLog::close() {
    const auto current = state.lock();
    current->isClosed = true;
    changed.broadcast();
}

std::optional<RequestLog::Request> RequestLog::getOldest() const {
    const auto current = state.lock();
    return current->requests.empty() ? std::nullopt : std::optional(current->requests.front());
}

bool RequestLog::waitForEnd(Number number, const timespec& deadline) {
    const auto current = state.lock();
    while (current->ended < number && !current->isClosed) {
        if (!current.waitUntil(changed, deadline))
            break;
    }
    return current->ended >= number;
}

void RequestLog::endUpTo(State& current, Number number) {
    const timespec now = monotonicTime();
    std::deque<Request>& requests = current.requests;
    while (!requests.empty() && requests.front().number <= number)
        requests.pop_front();
    // The next one was waiting until now.
    if (!requests.empty())
        requests.front().begin = now;
    current.ended = std::max(current.ended, number);
    changed.broadcast();
}

timespec monotonicTime() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now;
}

double secondsSince(const timespec& begin) {
    const timespec now = monotonicTime();
    return static_cast<double>(now.tv_sec - begin.tv_sec) +
           static_cast<double>(now.tv_nsec - begin.tv_nsec) * 1e-9;
}

} // namespace client_library
