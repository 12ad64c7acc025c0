#pragma once

#include "core/Mutex.h"

#include <cstdio>
#include <functional>
#include <sys/types.h>
#include <thread>

/// Bounds the run: when its time is over, it kills the host, so that whatever waits for that fails, or, while
/// there is no host, interrupts the main thread's wait for one. Where that doesn't help either, the process
/// ends.
class Watchdog {
public:
    /// On the main thread.
    explicit Watchdog(unsigned seconds);
    ~Watchdog();

    /// 0 for none.
    void setHost(pid_t pid);
    bool hasBarked();

private:
    void watch(unsigned seconds, pthread_t mainThread);
    void awaitEnd(double seconds);

    base::core::Mutex lock;
    base::core::Condition changed;
    pid_t host = 0;
    bool barked = false;
    bool over = false;
    std::thread thread;
};

/// Runs a program that drives hosts: with FIFOs and shared memory of its own, so that several run side by
/// side, and with the standard output as a stream that nobody else writes to. What plug-ins print goes to the
/// standard error stream. Returns what `course` does.
int runCourse(const std::function<int(FILE* results)>& course);
