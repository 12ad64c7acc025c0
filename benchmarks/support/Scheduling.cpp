#include "support/Scheduling.h"

#include <cerrno>
#include <cstddef>
#include <sys/resource.h>
#include <system_error>

namespace {

void check(int result, const char* call) {
    if (result < 0)
        throw std::system_error(errno, std::generic_category(), call);
}

const char* policyName(int policy) {
    switch (policy) {
    case SCHED_OTHER:
        return "SCHED_OTHER";
    case SCHED_FIFO:
        return "SCHED_FIFO";
    case SCHED_RR:
        return "SCHED_RR";
    case SCHED_IDLE:
        return "SCHED_IDLE";
    default:
        return "another policy";
    }
}

} // namespace

Scheduling Scheduling::of(pid_t thread) {
    const int policy = sched_getscheduler(thread);
    check(policy, "sched_getscheduler");
    sched_param parameters{};
    check(sched_getparam(thread, &parameters), "sched_getparam");
    // -1 is a niceness too.
    errno = 0;
    const int niceness = getpriority(PRIO_PROCESS, static_cast<id_t>(thread));
    check(errno != 0 ? -1 : 0, "getpriority");
    return {policy, parameters.sched_priority, niceness};
}

void Scheduling::applyTo(pid_t thread) const {
    check(setpriority(PRIO_PROCESS, static_cast<id_t>(thread), niceness), "setpriority");
    sched_param parameters{};
    parameters.sched_priority = priority;
    check(sched_setscheduler(thread, policy, &parameters), "sched_setscheduler");
}

std::string Scheduling::describe() const {
    return std::string(policyName(policy)) + ", priority " + std::to_string(priority) + ", nice " +
           std::to_string(niceness);
}

Pinning Pinning::everywhere() {
    Pinning pinning;
    check(sched_getaffinity(0, sizeof pinning.cpus, &pinning.cpus), "sched_getaffinity");
    return pinning;
}

Pinning Pinning::lastOnly() const {
    size_t last = CPU_SETSIZE - 1;
    while (last > 0 && !CPU_ISSET(last, &cpus))
        --last;
    Pinning pinning;
    CPU_ZERO(&pinning.cpus);
    CPU_SET(last, &pinning.cpus);
    return pinning;
}

void Pinning::applyTo(pid_t thread) const {
    check(sched_setaffinity(thread, sizeof cpus, &cpus), "sched_setaffinity");
}
