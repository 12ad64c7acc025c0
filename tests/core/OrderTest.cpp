// What must hold however two threads or processes come in between each other, with each order made and not
// waited for. If these fail, a thread that has just begun isn't recognised as itself, a host outlives its
// client, a lock file has two holders, or a wait ends at once.

#include "core/ChildProcess.h"
#include "core/LockFile.h"
#include "core/Mutex.h"
#include "core/Ref.h"
#include "core/String.h"
#include "core/Thread.h"
#include "core/TrustedDirectory.h"
#include "support/Eventually.h"
#include "support/TestDirectory.h"
#include "support/TurnedClock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <cstdarg>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <pthread.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <utility>

using namespace test_support;

namespace {

/// Set: `pthread_create` returns to its caller only when this is true.
std::atomic<const std::atomic<bool>*> creationReturnsAfter = nullptr;
/// Set: a child of this process that asks to be ended with its parent has lost it by then.
bool parentDiesFirst = false;
/// Comes in before the next lock of a file that is open already.
std::function<void()> beforeLock;

} // namespace

extern "C" {

int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*),
                          void* argument);
int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*),
                          void* argument) {
    const std::atomic<bool>* condition = creationReturnsAfter;
    // Into a variable of its own: the caller's has the id only when the call is over.
    pthread_t created = 0;
    const int result = __real_pthread_create(&created, attributes, entry, argument);
    if (result == 0 && condition != nullptr)
        eventually([&] { return condition->load(); });
    *thread = created;
    return result;
}

int __real_prctl(int option, ...);
int __wrap_prctl(int option, ...) {
    va_list list;
    va_start(list, option);
    unsigned long arguments[4];
    for (unsigned long& argument : arguments)
        argument = va_arg(list, unsigned long);
    va_end(list);
    if (option == PR_SET_PDEATHSIG && parentDiesFirst) {
        const pid_t parent = getppid();
        kill(parent, SIGKILL);
        eventually([&] { return getppid() != parent; });
    }
    return __real_prctl(option, arguments[0], arguments[1], arguments[2], arguments[3]);
}

int __real_flock(int file, int operation);
int __wrap_flock(int file, int operation) {
    if (const auto action = std::exchange(beforeLock, nullptr))
        action();
    return __real_flock(file, operation);
}

} // extern "C"

namespace base::core {

TEST(OrderTest, AThreadRecognisesItselfBeforeItsCreationHasReturned) {
    class Asking : public Thread {
    public:
        Asking() : Thread("asking") {}
        std::atomic<bool> hasAsked = false;
        bool isItself = false;

    protected:
        void run() override {
            isItself = isCurrentThread();
            hasAsked = true;
        }
    };
    const Ref<Asking> thread(new Asking);
    creationReturnsAfter = &thread->hasAsked;
    thread->start();
    creationReturnsAfter = nullptr;
    thread->join();
    EXPECT_TRUE(thread->hasAsked);
    EXPECT_TRUE(thread->isItself);
}

// ThreadSanitizer forks where `vfork` is called, and lets the parent run on.
#ifndef __SANITIZE_THREAD__

TEST(OrderTest, AChildWhoseParentDiesWhileItStartsRunsNothing) {
    const std::string trace =
        (std::filesystem::temp_directory_path() / ("order-test-" + std::to_string(getpid()))).string();
    // What the parent leaves behind comes to this process, which then can wait for it.
    ASSERT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0), 0);
    const pid_t parent = fork();
    if (parent == 0) {
        parentDiesFirst = true;
        const Ref<ChildProcess> child(new ChildProcess);
        child->launch(std::vector<String>{"/bin/sh", "-c", concat("echo > ", trace.c_str())});
        _exit(1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(parent, &status, 0), parent);
    EXPECT_TRUE(WIFSIGNALED(status));
    ASSERT_GT(waitpid(-1, &status, 0), 0) << "there was no child";
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 255);
    EXPECT_FALSE(std::filesystem::exists(trace)) << "the program ran";
    std::filesystem::remove(trace);
    prctl(PR_SET_CHILD_SUBREAPER, 0, 0, 0, 0);
}

#endif

TEST(OrderTest, ADeadlineCarriesItsNanosecondsIntoTheSeconds) {
    constexpr long nanosecondsPerSecond = 1000000000;
    TurnedClock clock;
    clock.turn(std::chrono::milliseconds(500));
    const time_t second = monotonicDeadline(0).tv_sec;
    const timespec ahead = monotonicDeadline(0.75);
    EXPECT_EQ(ahead.tv_sec, second + 1);
    EXPECT_EQ(ahead.tv_nsec, nanosecondsPerSecond / 4);
    const timespec onTheSecond = monotonicDeadline(0.5);
    EXPECT_EQ(onTheSecond.tv_sec, second + 1);
    EXPECT_EQ(onTheSecond.tv_nsec, 0);
    const timespec within = monotonicDeadline(2.25);
    EXPECT_EQ(within.tv_sec, second + 2);
    EXPECT_EQ(within.tv_nsec, nanosecondsPerSecond / 4 * 3);
}

class LockOrderTest : public testing::Test {
protected:
    const TestDirectory place;
    const TrustedDirectory directory{place.path};
    const std::string path = place / "lock";
};

TEST_F(LockOrderTest, AFileThatItsHolderRemovesBeforeItIsLockedGivesWayToANewOne) {
    auto former = LockFile::tryCreate(directory, path);
    beforeLock = [&] {
        former->remove();
        former = nullptr;
    };
    const auto lock = LockFile::tryCreate(directory, path);
    ASSERT_NE(lock, nullptr);
    EXPECT_EQ(former, nullptr);
    EXPECT_TRUE(lock->isNew());
    EXPECT_EQ(LockFile::tryCreate(directory, path), nullptr) << "it has two holders";
}

TEST_F(LockOrderTest, AFileThatAnotherHolderReplacesBeforeItIsLockedIsThatHolders) {
    auto former = LockFile::tryCreate(directory, path);
    std::unique_ptr<LockFile> other;
    beforeLock = [&] {
        former->remove();
        former = nullptr;
        other = LockFile::tryCreate(directory, path);
    };
    EXPECT_EQ(LockFile::tryCreate(directory, path), nullptr);
    EXPECT_NE(other, nullptr);
}

TEST_F(LockOrderTest, ANewFileThatAnotherProcessLocksFirstIsThatOnes) {
    std::unique_ptr<LockFile> finder;
    beforeLock = [&] { finder = LockFile::tryLock(directory, path); };
    EXPECT_EQ(LockFile::tryCreate(directory, path), nullptr);
    ASSERT_NE(finder, nullptr);
    EXPECT_FALSE(finder->isNew());
}

} // namespace base::core
