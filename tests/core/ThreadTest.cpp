// Threads: if these fail, a join returns too early or never, a signal handler of the application runs on a
// thread of this library's, or the process ends where the system has no thread to give.

#include "core/Thread.h"

#include "FailingCalls.h"
#include "TestThread.h"
#include "support/CapturedOutput.h"

#include "core/Ref.h"
#include "support/Eventually.h"
#include "support/SleepingThread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <semaphore>
#include <set>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace base::core;
using namespace core_tests;
using namespace test_support;

namespace {

TEST(ThreadTest, JoiningTwiceIsHarmless) {
    TestThread thread("test");
    std::atomic<bool> ran{false};
    thread.body = [&] { ran = true; };
    thread.start();
    EXPECT_EQ(thread.join(), 0);
    EXPECT_TRUE(ran);
    EXPECT_EQ(thread.join(), 0);
    EXPECT_EQ(thread.getState(), Thread::finished);
}

TEST(ThreadTest, AThreadHasItsNameCutTo15Bytes) {
    char name[17] = {};
    TestThread thread("RemotePluginHostProxyHandler");
    thread.body = [&] { prctl(PR_GET_NAME, name, 0, 0, 0); };
    thread.start();
    thread.join();
    EXPECT_STREQ(name, "RemotePluginHos");
}

TEST(ThreadTest, TheStateTellsWhatWasAskedFor) {
    TestThread thread("test");
    EXPECT_EQ(thread.getState(), 0);
    std::atomic<bool> ended{false};
    thread.body = [&] { ended = true; };
    thread.start();
    EXPECT_EQ(thread.getState(), 1);
    EXPECT_TRUE(eventually([&] { return ended.load(); }));
    EXPECT_EQ(thread.getState(), 1);
    thread.join();
    EXPECT_EQ(thread.getState(), 3);
}

TEST(ThreadTest, JoiningAThreadThatNeverStartedOnlyFinishesIt) {
    TestThread thread("test");
    EXPECT_EQ(thread.join(), 0);
    EXPECT_EQ(thread.getState(), Thread::finished);
}

TEST(ThreadTest, AThreadKnowsWhetherItIsTheCurrentOne) {
    bool inside = false;
    TestThread thread("test");
    thread.body = [&] { inside = thread.isCurrentThread(); };
    thread.start();
    EXPECT_FALSE(thread.isCurrentThread());
    thread.join();
    EXPECT_TRUE(inside);
    EXPECT_FALSE(thread.isCurrentThread());
}

TEST(ThreadTest, AThreadThatCannotBeMadeIsAFatalAssertionAndMayBeJoined) {
    const CapturedOutput captured(STDERR_FILENO);
    TestThread thread("test");
    {
        const FailingCall failing(LibraryCall::threadCreate);
        thread.start();
    }
    const std::string report = captured.text();
    EXPECT_NE(report.find("Condition: false\nFatal state: pthread_create() failed\n"), std::string::npos)
        << report;
    EXPECT_EQ(thread.getState(), Thread::started);
    EXPECT_EQ(thread.join(), 0);
}

TEST(ThreadTest, AttributesThatCannotBeMadeAreAFatalAssertion) {
    const CapturedOutput captured(STDERR_FILENO);
    TestThread thread("test");
    {
        const FailingCall failing(LibraryCall::threadAttributesInit);
        thread.start();
    }
    thread.join();
    const std::string report = captured.text();
    EXPECT_NE(report.find("Condition: false\nFatal state: pthread_attr_init() failed\n"), std::string::npos)
        << report;
}

TEST(ThreadTest, AThreadStartsWithAllSignalsBlockedButThoseOfItsOwnFaults) {
    sigset_t former;
    sigset_t mine;
    sigemptyset(&mine);
    sigaddset(&mine, SIGUSR2);
    pthread_sigmask(SIG_SETMASK, &mine, &former);
    sigset_t blocked;
    TestThread thread("test");
    thread.body = [&] { pthread_sigmask(SIG_SETMASK, nullptr, &blocked); };
    thread.start();
    thread.join();
    sigset_t after;
    pthread_sigmask(SIG_SETMASK, &former, &after);

    for (int signal = 1; signal <= SIGRTMAX; ++signal) {
        EXPECT_EQ(sigismember(&after, signal), sigismember(&mine, signal)) << "the starter's own, " << signal;
        // Two that can't be blocked, and what the library keeps for itself below SIGRTMIN.
        if (signal == SIGKILL || signal == SIGSTOP || (signal > SIGSYS && signal < SIGRTMIN))
            continue;
        const bool isFault =
            std::set{SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS}.contains(signal);
        EXPECT_EQ(sigismember(&blocked, signal), isFault ? 0 : 1) << "signal " << signal;
    }
}

TEST(ThreadTest, AForkedCopyOfTheStarterDoesNotWaitForTheThread) {
    std::binary_semaphore mayEnd{0};
    TestThread thread("test");
    thread.body = [&] { mayEnd.acquire(); };
    thread.start();
    const pid_t copy = fork();
    if (copy == 0)
        _exit(thread.join() == 0 && thread.getState() == Thread::finished ? 0 : 1);
    int status = -1;
    EXPECT_TRUE(eventually([&] { return waitpid(copy, &status, WNOHANG) == copy; })) << "the copy waits";
    if (status == -1) {
        kill(copy, SIGKILL);
        waitpid(copy, nullptr, 0);
    }
    EXPECT_EQ(status, 0);
    mayEnd.release();
}

TEST(ThreadTest, AReferenceThatIsReleasedOnANewThreadEndsItsObjectThere) {
    class Ending : public Object {
    public:
        Ending(std::atomic<pid_t>& endedOn, std::atomic<bool>& hidden) : endedOn(endedOn), hidden(hidden) {}
        ~Ending() override {
            sigset_t blocked;
            pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
            hidden = sigismember(&blocked, SIGTERM) == 1;
            endedOn = currentThreadId();
        }
        std::atomic<pid_t>& endedOn;
        std::atomic<bool>& hidden;
    };
    std::atomic<pid_t> endedOn = 0;
    std::atomic<bool> hidden = false;
    auto* object = new Ending(endedOn, hidden);
    retain(object);
    releaseOnNewThread(object);
    EXPECT_TRUE(eventually([&] { return endedOn != 0; }));
    EXPECT_NE(endedOn, currentThreadId());
    EXPECT_TRUE(hidden) << "a handler of the application may run there";
}

TEST(ThreadTest, AReferenceStaysWhereNoThreadCanBeMadeForItsRelease) {
    const CapturedOutput captured(STDERR_FILENO);
    class Plain : public Object {};
    const Ref<Plain> object(new Plain);
    retain(object.get());
    {
        const FailingCall failing(LibraryCall::threadCreate);
        releaseOnNewThread(object.get());
    }
    EXPECT_EQ(countReferences(object.get()), 2);
    EXPECT_EQ(captured.text(), "An object is never freed: no thread could be made for its end\n");
    release(object.get());
}

} // namespace
