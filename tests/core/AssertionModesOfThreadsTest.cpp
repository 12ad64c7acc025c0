// Modes of assertions that several threads set at once. If this fails, a thread that ends its mode takes
// another's along, or follows a list that is being changed.

#include "core/AssertionMode.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace base::core {

TEST(AssertionModesOfThreadsTest, ModesOfManyThreadsComeAndGoWithoutTouchingEachOther) {
    constexpr int threadCount = 4;
    constexpr int rounds = 2000;
    std::vector<std::thread> threads;
    for (int i = 0; i < threadCount; ++i) {
        threads.emplace_back([] {
            for (int round = 0; round < rounds; ++round) {
                const ScopedAssertionMode outer(AssertionMode::dialogIfInteractive);
                const ScopedAssertionMode inner(ScopedAssertionMode::current());
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(ScopedAssertionMode::current(), AssertionMode::dialogIfInteractive);
}

} // namespace base::core
