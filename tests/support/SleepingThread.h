#pragma once

#include <cstdio>
#include <string>
#include <sys/syscall.h>
#include <unistd.h>

namespace test_support {

inline pid_t currentThreadId() {
    return static_cast<pid_t>(syscall(SYS_gettid));
}

/// Whether a thread of this process sleeps in the kernel.
inline bool isAsleep(pid_t threadId) {
    char path[64];
    std::snprintf(path, sizeof path, "/proc/self/task/%d/stat", threadId);
    std::FILE* file = std::fopen(path, "re");
    if (file == nullptr)
        return false;
    char text[512] = {};
    const size_t size = std::fread(text, 1, sizeof text - 1, file);
    std::fclose(file);
    const std::string status(text, size);
    // The state stands behind the name, which may hold anything but ends with the last parenthesis.
    const size_t nameEnd = status.rfind(')');
    return nameEnd != std::string::npos && nameEnd + 2 < status.size() && status[nameEnd + 2] == 'S';
}

} // namespace test_support
