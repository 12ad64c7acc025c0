// Descriptors: one that is given back while a thread still reads from it may meanwhile be another file.

#include "core/FileDescriptor.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <latch>
#include <thread>
#include <unistd.h>

using namespace base::core;

namespace {

bool isOpen(int descriptor) {
    return fcntl(descriptor, F_GETFD) >= 0;
}

int newDescriptor() {
    return open("/dev/null", O_RDONLY | O_CLOEXEC);
}

TEST(FileDescriptorTest, ClosingGivesTheNumberBackAndForgetsIt) {
    const int number = newDescriptor();
    FileDescriptor descriptor(number);
    EXPECT_EQ(descriptor.get(), number);
    EXPECT_TRUE(descriptor.close());
    EXPECT_EQ(descriptor.get(), -1);
    EXPECT_FALSE(isOpen(number));
}

TEST(FileDescriptorTest, ASecondCloseFailsAndLeavesAReusedNumberAlone) {
    const int number = newDescriptor();
    FileDescriptor descriptor(number);
    EXPECT_TRUE(descriptor.close());
    const int reused = newDescriptor();
    EXPECT_EQ(reused, number);
    errno = 0;
    EXPECT_FALSE(descriptor.close());
    EXPECT_EQ(errno, EBADF);
    EXPECT_FALSE(descriptor.closeAndWakeReader());
    EXPECT_TRUE(isOpen(reused));
    close(reused);
}

TEST(FileDescriptorTest, AUseHoldsTheNumberUntilItEnds) {
    const int number = newDescriptor();
    FileDescriptor descriptor(number);
    {
        const FileDescriptor::Use use(descriptor);
        EXPECT_EQ(use.get(), number);
        EXPECT_FALSE(use.isClosed());
        EXPECT_TRUE(descriptor.close());
        EXPECT_TRUE(use.isClosed());
        EXPECT_TRUE(isOpen(number));
        const FileDescriptor::Use late(descriptor);
        EXPECT_EQ(late.get(), -1);
    }
    EXPECT_FALSE(isOpen(number));
    EXPECT_EQ(descriptor.get(), -1);
}

TEST(FileDescriptorTest, TheDestructorClosesWhatIsStillOpen) {
    const int number = newDescriptor();
    { const FileDescriptor descriptor(number); }
    EXPECT_FALSE(isOpen(number));
}

TEST(FileDescriptorTest, TheDestructorPassesOverWhatIsClosed) {
    const int number = newDescriptor();
    int reused = -1;
    {
        FileDescriptor descriptor(number);
        EXPECT_TRUE(descriptor.close());
        reused = newDescriptor();
        EXPECT_EQ(reused, number);
    }
    EXPECT_TRUE(isOpen(reused));
    close(reused);
}

TEST(FileDescriptorTest, AFailureOfTheSystemIsReported) {
    const int number = newDescriptor();
    FileDescriptor descriptor(number);
    close(number);
    errno = 0;
    EXPECT_FALSE(descriptor.close());
    EXPECT_EQ(errno, EBADF);
}

TEST(FileDescriptorTest, OnlyOneOfSeveralClosersSucceeds) {
    constexpr int rounds = 50;
    int successes = 0;
    for (int round = 0; round < rounds; ++round) {
        FileDescriptor descriptor(newDescriptor());
        std::latch ready(2);
        std::atomic<int> closed{0};
        const auto closer = [&] {
            ready.arrive_and_wait();
            closed += descriptor.close() ? 1 : 0;
        };
        std::thread other(closer);
        closer();
        other.join();
        successes += closed;
        ASSERT_EQ(descriptor.get(), -1);
    }
    EXPECT_EQ(successes, rounds);
}

} // namespace
