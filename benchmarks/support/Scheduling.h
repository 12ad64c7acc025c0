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
    /// Applies it to another thread.
    void applyTo(pid_t thread) const;
    /// For people: "SCHED_FIFO, priority 19, nice 0".
    std::string describe() const;
};

/// Confines threads to CPUs, or restores their former ones.
class Pinning {
public:
    /// All the CPUs that the caller may run on.
    static Pinning everywhere();
    /// Only the last of them: the first ones serve more interrupts.
    Pinning lastOnly() const;

    /// One thread; 0 is the caller.
    void applyTo(pid_t thread) const;

private:
    cpu_set_t cpus;
};
