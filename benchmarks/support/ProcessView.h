#pragma once

#include <cstdint>
#include <string>
#include <sys/types.h>
#include <vector>

/// The kernel's figures of another process. Throws `std::runtime_error` if they can't be read.
class ProcessView {
public:
    explicit ProcessView(pid_t pid) : pid(pid) {}

    struct Memory {
        double residentMegabytes;
        /// Pages that no other process shares, and those of them that were written.
        double privateMegabytes;
        double privateDirtyMegabytes;
    };

    std::vector<pid_t> threads() const;
    /// The kernel keeps 15 bytes of a name.
    pid_t threadNamed(const std::string& name) const;
    Memory memory() const;
    /// Of all living threads, to the nanosecond: the utime and stime of a process count in ticks.
    double cpuSeconds() const;
    /// How often its living threads went to sleep.
    int64_t voluntarySwitches() const;

private:
    std::string directory() const { return "/proc/" + std::to_string(pid); }
    std::string threadDirectory(pid_t thread) const {
        return directory() + "/task/" + std::to_string(thread);
    }

    pid_t pid;
};
