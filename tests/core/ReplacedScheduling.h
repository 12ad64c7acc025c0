#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <sched.h>
#include <sys/resource.h>
#include <sys/types.h>
#include <vector>

namespace core_tests {

/// Stands between the code under test and the scheduler for a scope: the process has the limits that it is
/// given, and what is asked for is recorded and answered by the knobs. The linker leads the calls here
/// (`--wrap`).
class ReplacedScheduling {
public:
    struct NicenessCall {
        int which;
        id_t threadId;
        int niceness;
    };
    struct PolicyCall {
        int policy;
        int realtimePriority;
    };

    ReplacedScheduling(rlim_t niceLimit, rlim_t realtimeLimit);
    ~ReplacedScheduling();
    ReplacedScheduling(const ReplacedScheduling&) = delete;
    ReplacedScheduling& operator=(const ReplacedScheduling&) = delete;

    /// The one in force, or null.
    static ReplacedScheduling* current();

    int setNiceness(int which, id_t threadId, int niceness);
    int setPolicy(int policy, int realtimePriority);

    std::vector<NicenessCall> nicenessCalls;
    std::vector<PolicyCall> policyCalls;
    const rlim_t niceLimit;
    const rlim_t realtimeLimit;
    int nicenessAnswer = 0;
    int policyAnswer = 0;
    /// The order of all calls: 'n' and 'r' for the two limits, 'N' for the niceness, 'P' for the policy.
    std::vector<char> order;

    void note(char call);

private:
    std::mutex mutex;
};

} // namespace core_tests
