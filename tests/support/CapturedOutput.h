#pragma once

#include <cstdio>
#include <fcntl.h>
#include <iostream>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

namespace test_support {

/// Gathers what this process and its children write to one descriptor for a scope. What a sanitizer says in
/// it is passed on, where it fails the test.
class CapturedOutput {
public:
    explicit CapturedOutput(int descriptor)
        : descriptor(descriptor), former(dup(descriptor)), memory(memfd_create("captured", MFD_CLOEXEC)) {
        // Writes of several threads would share a place without this.
        fcntl(memory, F_SETFL, O_APPEND);
        flush();
        dup2(memory, descriptor);
    }
    ~CapturedOutput() {
        const std::string all = text();
        dup2(former, descriptor);
        if (all.find("Sanitizer: ") != std::string::npos ||
            all.find("runtime error: ") != std::string::npos) {
            std::fputs(all.c_str(), stderr);
            std::fflush(stderr);
        }
        close(former);
        close(memory);
    }
    CapturedOutput(const CapturedOutput&) = delete;
    CapturedOutput& operator=(const CapturedOutput&) = delete;

    /// What has come so far.
    std::string text() const {
        flush();
        std::string all;
        char piece[4096];
        ssize_t count;
        while ((count = pread(memory, piece, sizeof piece, static_cast<off_t>(all.size()))) > 0)
            all.append(piece, static_cast<size_t>(count));
        return all;
    }

private:
    static void flush() {
        std::cout.flush();
        std::fflush(nullptr);
    }

    int descriptor;
    int former;
    int memory;
};

/// How often a captured text has a part.
inline size_t occurrences(const std::string& text, const std::string& part) {
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size()))
        ++count;
    return count;
}

} // namespace test_support
