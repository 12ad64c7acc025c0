#pragma once

#include "core/Thread.h"
#include "support/SleepingThread.h"

#include <cstdint>
#include <functional>
#include <string>
#include <sys/types.h>

namespace core_tests {

/// A thread that runs what a test gives it.
class TestThread : public base::core::Thread {
public:
    explicit TestThread(const std::string& name, int32_t step = defaultPriority) : Thread(name) {
        priority = step;
    }
    // A thread that a failing test leaves behind must not run in a half-destroyed object.
    ~TestThread() override { join(); }

    std::function<void()> body = [] {};
    pid_t kernelThreadId = 0;

protected:
    void run() override {
        kernelThreadId = test_support::currentThreadId();
        body();
    }
};

} // namespace core_tests
