#pragma once

#include <sched.h>
#include <string>
#include <sys/types.h>

/// How the kernel schedules one thread. A failed call throws `std::system_error`.
struct Scheduling {
    int policy;
    int priority;
    int niceness;

    static Scheduling of(pid_t thread);
    /// Gives another thread the same.
    void applyTo(pid_t thread) const;
    /// For people: "SCHED_FIFO, priority 19, nice 0".
    std::string describe() const;
};

/// Confines threads to CPUs, or gives them back what they had.
class Pinning {
public:
    /// All the CPUs that the caller may run on.
    static Pinning everywhere();
    /// Only the last of them; the first ones serve more interrupts.
    Pinning lastOnly() const;

    /// One thread: the caller for 0.
    void applyTo(pid_t thread) const;

private:
    cpu_set_t cpus;
};
