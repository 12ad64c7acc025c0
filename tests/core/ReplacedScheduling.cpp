#include "ReplacedScheduling.h"

#include <pthread.h>

using namespace core_tests;

namespace core_tests {
namespace {

std::atomic<ReplacedScheduling*> inForce{nullptr};

} // namespace

ReplacedScheduling::ReplacedScheduling(rlim_t niceLimit, rlim_t realtimeLimit)
    : niceLimit(niceLimit), realtimeLimit(realtimeLimit) {
    inForce = this;
}

ReplacedScheduling::~ReplacedScheduling() {
    inForce = nullptr;
}

ReplacedScheduling* ReplacedScheduling::current() {
    return inForce;
}

void ReplacedScheduling::note(char call) {
    const std::lock_guard lock(mutex);
    order.push_back(call);
}

int ReplacedScheduling::setNiceness(int which, id_t threadId, int niceness) {
    note('N');
    nicenessCalls.push_back({which, threadId, niceness});
    return nicenessAnswer;
}

int ReplacedScheduling::setPolicy(int policy, int realtimePriority) {
    note('P');
    policyCalls.push_back({policy, realtimePriority});
    return policyAnswer;
}

} // namespace core_tests

using core_tests::ReplacedScheduling;

namespace {

bool answerLimit(int resource, rlim_t& limit) {
    ReplacedScheduling* replaced = ReplacedScheduling::current();
    if (replaced == nullptr || (resource != RLIMIT_NICE && resource != RLIMIT_RTPRIO))
        return false;
    replaced->note(resource == RLIMIT_NICE ? 'n' : 'r');
    limit = resource == RLIMIT_NICE ? replaced->niceLimit : replaced->realtimeLimit;
    return true;
}

} // namespace

extern "C" {

// With 64-bit file offsets the 32-bit build calls the second of these two.
int __real_getrlimit(__rlimit_resource_t resource, struct rlimit* limits);
int __wrap_getrlimit(__rlimit_resource_t resource, struct rlimit* limits) {
    return answerLimit(static_cast<int>(resource), limits->rlim_cur) ? 0 : __real_getrlimit(resource, limits);
}

int __real_getrlimit64(__rlimit_resource_t resource, struct rlimit* limits);
int __wrap_getrlimit64(__rlimit_resource_t resource, struct rlimit* limits) {
    return answerLimit(static_cast<int>(resource), limits->rlim_cur) ? 0
                                                                     : __real_getrlimit64(resource, limits);
}

int __real_setpriority(__priority_which_t which, id_t who, int niceness);
int __wrap_setpriority(__priority_which_t which, id_t who, int niceness) {
    ReplacedScheduling* replaced = ReplacedScheduling::current();
    return replaced != nullptr ? replaced->setNiceness(static_cast<int>(which), who, niceness)
                               : __real_setpriority(which, who, niceness);
}

int __real_pthread_setschedparam(pthread_t thread, int policy, const sched_param* parameters);
int __wrap_pthread_setschedparam(pthread_t thread, int policy, const sched_param* parameters) {
    ReplacedScheduling* replaced = ReplacedScheduling::current();
    return replaced != nullptr ? replaced->setPolicy(policy, parameters->sched_priority)
                               : __real_pthread_setschedparam(thread, policy, parameters);
}
}
