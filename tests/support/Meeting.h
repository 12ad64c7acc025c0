#pragma once

#include <atomic>
#include <thread>

namespace test_support {

/// Where threads wait for each other and go on at the same moment, again and again: what they do then happens
/// at once, even if it is over in a moment.
class Meeting {
public:
    explicit Meeting(int threadCount) : threadCount(threadCount) {}

    /// Waits until all have come as often as the caller.
    void arrive() {
        const int turn = arrived++ / threadCount;
        // Awake, so that all see it at once; but others may need the processor to come.
        constexpr int longestWatch = 10000;
        for (int looks = 0; arrived < (turn + 1) * threadCount; ++looks) {
            if (looks > longestWatch)
                std::this_thread::yield();
        }
    }

private:
    const int threadCount;
    std::atomic<int> arrived = 0;
};

} // namespace test_support
