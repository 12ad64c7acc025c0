// Descriptors: one that is given back while a thread still reads from it may meanwhile be another file.

#include "core/FileDescriptor.h"

#include "FailingCalls.h"
#include "support/Eventually.h"
#include "support/SleepingThread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <latch>
#include <new>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace base::core;
using namespace core_tests;
using namespace test_support;

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

/// Takes every free descriptor of this process for a scope.
class NoFreeDescriptor {
public:
    NoFreeDescriptor() {
        getrlimit(RLIMIT_NOFILE, &former);
        const int next = newDescriptor();
        close(next);
        const rlimit none{static_cast<rlim_t>(next), former.rlim_max};
        setrlimit(RLIMIT_NOFILE, &none);
    }
    ~NoFreeDescriptor() { setrlimit(RLIMIT_NOFILE, &former); }
    NoFreeDescriptor(const NoFreeDescriptor&) = delete;
    NoFreeDescriptor& operator=(const NoFreeDescriptor&) = delete;

private:
    rlimit former{};
};

TEST(FileDescriptorTest, ACloseWakesItsReadersWithoutAFreeDescriptor) {
    constexpr int readers = 3;
    constexpr int rounds = 20;
    for (int round = 0; round < rounds; ++round) {
        int ends[2];
        ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
        const int unused = newDescriptor(); // what the system has in other places stays there
        FileDescriptor descriptor(ends[0]);
        std::atomic<pid_t> threadIds[readers] = {};
        std::atomic<int> woken{0};
        std::latch shortageOver(1); // no thread ends before, since UBSan opens pipes to look at objects
        std::vector<std::thread> threads;
        for (auto& threadId : threadIds)
            threads.emplace_back([&] {
                const FileDescriptor::Use use(descriptor);
                threadId = currentThreadId();
                char byte = 0;
                const ssize_t count = read(use.get(), &byte, 1);
                woken += count == 1 && use.isClosed() ? 1 : 0;
                shortageOver.wait();
            });
        for (auto& threadId : threadIds) {
            EXPECT_TRUE(eventually([&] { return threadId != 0 && isAsleep(threadId); }));
        }
        {
            const NoFreeDescriptor shortage;
            ASSERT_LT(newDescriptor(), 0);
            EXPECT_TRUE(descriptor.closeAndWakeReader());
            const bool all = eventually([&] { return woken == readers; });
            close(ends[1]); // ends the reads of those that were not woken
            EXPECT_TRUE(all) << woken << " of " << readers << " in round " << round;
        }
        shortageOver.count_down();
        for (std::thread& thread : threads)
            thread.join();
        ASSERT_FALSE(HasFailure());
        EXPECT_EQ(descriptor.get(), -1);
        for (const int kept : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO, unused})
            EXPECT_TRUE(isOpen(kept)) << kept;
        close(unused);
        errno = 0;
        EXPECT_EQ(waitpid(-1, nullptr, __WALL | WNOHANG), -1);
        EXPECT_EQ(errno, ECHILD) << "a child is left";
    }
}

/// Closes a descriptor that a thread reads from, while this process has no other left.
void closeUnderAReaderWithoutAFreeDescriptor() {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    FileDescriptor descriptor(ends[0]);
    std::atomic<pid_t> threadId{0};
    std::atomic<bool> woken{false};
    std::latch shortageOver(1);
    std::thread reader([&] {
        const FileDescriptor::Use use(descriptor);
        threadId = currentThreadId();
        char byte = 0;
        woken = read(use.get(), &byte, 1) == 1;
        shortageOver.wait();
    });
    EXPECT_TRUE(eventually([&] { return threadId != 0 && isAsleep(threadId); }));
    {
        const NoFreeDescriptor shortage;
        EXPECT_TRUE(descriptor.closeAndWakeReader());
    }
    shortageOver.count_down();
    eventually([&] { return woken.load(); });
    close(ends[1]);
    reader.join();
    EXPECT_TRUE(woken);
}

TEST(FileDescriptorTest, AWakeUpWithoutAFreeDescriptorLeavesSignalsAlone) {
    static std::atomic<int> children{0};
    struct sigaction counting {};
    struct sigaction former {};
    counting.sa_handler = [](int) { ++children; };
    sigaction(SIGCHLD, &counting, &former);
    sigset_t before;
    pthread_sigmask(SIG_SETMASK, nullptr, &before);
    closeUnderAReaderWithoutAFreeDescriptor();
    sigset_t after;
    pthread_sigmask(SIG_SETMASK, nullptr, &after);
    sigaction(SIGCHLD, &former, nullptr);
    EXPECT_EQ(children, 0);
    for (int signal = 1; signal < 32; ++signal)
        EXPECT_EQ(sigismember(&after, signal), sigismember(&before, signal)) << signal;
}

TEST(FileDescriptorTest, AWakeUpWithoutAFreeDescriptorRunsNoHandlerInItsChild) {
    // Shared with the child, which doesn't share the rest.
    auto* const calls = static_cast<std::atomic<int>*>(
        mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    static std::atomic<int>* handlerCalls;
    handlerCalls = new (calls) std::atomic<int>(0);
    struct sigaction counting {};
    struct sigaction former {};
    counting.sa_handler = [](int) { ++*handlerCalls; };
    sigaction(SIGUSR1, &counting, &former);
    {
        const SignalledChildren signalled(SIGUSR1);
        closeUnderAReaderWithoutAFreeDescriptor();
    }
    EXPECT_EQ(*handlerCalls, 0);
    // The parent's handler is its own still.
    raise(SIGUSR1);
    EXPECT_EQ(*handlerCalls, 1);
    sigaction(SIGUSR1, &former, nullptr);
    munmap(calls, sizeof(std::atomic<int>));
}

} // namespace
