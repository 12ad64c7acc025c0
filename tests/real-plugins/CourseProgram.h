#pragma once

#include "core/Mutex.h"

#include <csignal>
#include <cstdio>
#include <functional>
#include <optional>
#include <string>
#include <sys/types.h>
#include <thread>
#include <vector>

class RemotePluginHostProxy;

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

/// What a program is told by `[--seconds N] HOST PLUGIN` and further words.
struct CourseArguments {
    static constexpr unsigned defaultSeconds = 40;

    std::string host;
    std::string plugin;
    std::vector<std::string> others;
    unsigned seconds = defaultSeconds;
};

/// The words behind PLUGIN.
struct FurtherWords {
    /// As the usage has them.
    const char* usage;
    size_t fewest;
    size_t most;
};

/// Waits for the end of a host without reaping it. The watchdog's limit bounds this too.
siginfo_t awaitEnd(const RemotePluginHostProxy& proxy);
/// As "status 3" or as the signal's name in quotes.
std::string describe(const siginfo_t& end);

/// What `action` fails with, in one line, or nothing.
std::optional<std::string> failureOf(const std::function<void()>& action);

/// Runs a program that drives hosts: with FIFOs and shared memory of its own, so that several run side by
/// side, and with the standard output as a stream that nobody else writes to. What plug-ins print goes to the
/// standard error stream. Returns what `course` does, or 2 after the usage if the arguments are wrong. The
/// paths of host and plug-in are made absolute.
int runCourse(int argc, char** argv, const FurtherWords& further,
              const std::function<int(const CourseArguments&, FILE* results)>& course);
