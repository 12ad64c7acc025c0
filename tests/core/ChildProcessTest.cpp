// Child processes: a host that outlives its client, or a zombie for each plug-in that died, fills the
// machine.

#include "core/ChildProcess.h"

#include "FailingCalls.h"
#include "support/CapturedOutput.h"
#include "support/FailureText.h"
#include "support/ScopedEnvironment.h"

#include "core/Exception.h"
#include "core/Ref.h"
#include "support/Eventually.h"
#include "support/SleepingThread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <linux/sched.h>
#include <string>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace base::core;
using namespace core_tests;
using namespace test_support;

namespace {

using Arguments = std::vector<String>;

Ref<ChildProcess> launch(const Arguments& arguments) {
    const Ref<ChildProcess> child(new ChildProcess);
    child->launch(arguments);
    return child;
}

/// Whether a process has become the program, and so done all that comes before.
bool runs(pid_t process, const std::string& program) {
    std::ifstream file("/proc/" + std::to_string(process) + "/comm");
    std::string name;
    return std::getline(file, name) && name == program;
}

bool isGone(pid_t process) {
    return kill(process, 0) == -1 && errno == ESRCH;
}

TEST(ChildProcessTest, AProgramThatDoesNotExistIsSeenByItsExitCodeOf255) {
    const CapturedOutput captured(STDERR_FILENO);
    const Ref<ChildProcess> child = launch({"/no/such/program"});
    const pid_t pid = child->getPid();
    EXPECT_GT(pid, 0);
    const int status = child->waitForExit();
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 255);
    EXPECT_EQ(captured.text(),
              "Child process with PID " + std::to_string(pid) + " exited with error code: 255\n");
}

TEST(ChildProcessTest, AProgramThatDoesNotExistIsSeenSoWithAnEnvironmentToo) {
    const CapturedOutput captured(STDERR_FILENO);
    const Ref<ChildProcess> child(new ChildProcess);
    child->launch({"no-such-program-on-the-path"}, {{"A", "1"}});
    EXPECT_EQ(WEXITSTATUS(child->waitForExit()), 255);
}

/// The status of a child whose parent, a process that does `preparation` first, is killed; 0 if it lives on.
template <class Preparation>
int statusAfterTheParentsDeath(const Preparation& preparation) {
    // Orphans come to this process, which so learns how the child ended.
    EXPECT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0), 0);
    int ends[2];
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const pid_t parent = fork();
    if (parent == 0) {
        preparation();
        const Ref<ChildProcess> child = launch({"sleep", "1000"});
        const pid_t pid = child->getPid();
        const bool told = write(ends[1], &pid, sizeof pid) == sizeof pid;
        while (told)
            pause();
        _exit(1);
    }
    close(ends[1]);
    pid_t child = 0;
    EXPECT_EQ(read(ends[0], &child, sizeof child), static_cast<ssize_t>(sizeof child));
    close(ends[0]);
    EXPECT_TRUE(eventually([&] { return runs(child, "sleep"); }));
    kill(parent, SIGKILL);
    EXPECT_EQ(waitpid(parent, nullptr, 0), parent);
    int status = 0;
    if (!eventually([&] { return waitpid(child, &status, WNOHANG) == child; })) {
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
    }
    prctl(PR_SET_CHILD_SUBREAPER, 0, 0, 0, 0);
    return status;
}

TEST(ChildProcessTest, KillingTheParentEndsTheChildBySighup) {
    const int status = statusAfterTheParentsDeath([] {});
    EXPECT_TRUE(WIFSIGNALED(status)) << "the child outlived its parent";
    EXPECT_EQ(WTERMSIG(status), SIGHUP);
}

TEST(ChildProcessTest, KillingAParentThatIgnoresAndBlocksSighupEndsTheChildToo) {
    const int status = statusAfterTheParentsDeath([] {
        signal(SIGHUP, SIG_IGN);
        sigset_t hangUp;
        sigemptyset(&hangUp);
        sigaddset(&hangUp, SIGHUP);
        pthread_sigmask(SIG_BLOCK, &hangUp, nullptr);
    });
    EXPECT_TRUE(WIFSIGNALED(status)) << "the child outlived its parent";
    EXPECT_EQ(WTERMSIG(status), SIGHUP);
}

TEST(ChildProcessTest, AChildThatASignalEndedReportsNoExitCode) {
    const CapturedOutput captured(STDERR_FILENO);
    const Ref<ChildProcess> child = launch({"sleep", "1000"});
    kill(child->getPid(), SIGTERM);
    const int status = child->waitForExit();
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGTERM);
    EXPECT_EQ(captured.text(), "");
}

TEST(ChildProcessTest, WaitingForAChildThatIsGoneAndReapedDoesNotBlock) {
    const Ref<ChildProcess> child = launch({"true"});
    EXPECT_EQ(child->waitForExit(), 0);
    EXPECT_EQ(child->getPid(), 0);
    // Would be reaped by a wait for any child.
    const Ref<ChildProcess> other = launch({"sleep", "1000"});
    EXPECT_EQ(child->waitForExit(), 0);
    EXPECT_EQ(kill(other->getPid(), 0), 0);
}

TEST(ChildProcessTest, WaitingWithoutAChildAnswersZeroAtOnce) {
    const Ref<ChildProcess> child(new ChildProcess);
    EXPECT_EQ(child->getPid(), 0);
    EXPECT_EQ(child->waitForExit(), 0);
}

TEST(ChildProcessTest, AnExitCodeIsToldAndReturnedRaw) {
    const CapturedOutput captured(STDERR_FILENO);
    const Ref<ChildProcess> child = launch({"sh", "-c", "exit 3"});
    const std::string pid = std::to_string(child->getPid());
    EXPECT_EQ(child->waitForExit(), 3 << 8);
    EXPECT_EQ(captured.text(), "Child process with PID " + pid + " exited with error code: 3\n");
}

TEST(ChildProcessTest, AChildThatEndsWellIsSilent) {
    const CapturedOutput captured(STDERR_FILENO);
    EXPECT_EQ(launch({"true"})->waitForExit(), 0);
    EXPECT_EQ(captured.text(), "");
}

TEST(ChildProcessTest, ReleasingTheObjectKillsTheChildAndLeavesNoZombie) {
    const CapturedOutput captured(STDERR_FILENO);
    Ref<ChildProcess> child = launch({"sh", "-c", "trap '' TERM HUP INT; exec sleep 1000"});
    const pid_t pid = child->getPid();
    EXPECT_FALSE(isGone(pid));
    child = nullptr;
    EXPECT_TRUE(isGone(pid));
    EXPECT_EQ(captured.text(), "");
}

TEST(ChildProcessTest, ArgumentsArriveAsUtf8AndInOrder) {
    const CapturedOutput captured(STDOUT_FILENO);
    EXPECT_EQ(launch({"printf", "%s|", "caf\xC3\xA9", "", "two words", "\xE2\x82\xAC"})->waitForExit(), 0);
    EXPECT_EQ(captured.text(), "caf\xC3\xA9||two words|\xE2\x82\xAC|");
}

TEST(ChildProcessTest, WithoutAnEnvironmentTheChildInheritsTheParents) {
    const ScopedEnvironment environment("PLUGIN_HOST_TEST_VARIABLE", "inherited");
    const CapturedOutput captured(STDOUT_FILENO);
    EXPECT_EQ(launch({"sh", "-c", "printf %s \"$PLUGIN_HOST_TEST_VARIABLE\""})->waitForExit(), 0);
    EXPECT_EQ(captured.text(), "inherited");
}

TEST(ChildProcessTest, WithAnEnvironmentTheChildGetsExactlyThat) {
    const ScopedEnvironment environment("PLUGIN_HOST_TEST_VARIABLE", "not inherited");
    const CapturedOutput captured(STDOUT_FILENO);
    const Ref<ChildProcess> child(new ChildProcess);
    child->launch({"env"}, {{"A", "1"}, {"EMPTY", ""}, {"WITH", "a=b c"}});
    EXPECT_EQ(child->waitForExit(), 0);
    EXPECT_EQ(captured.text(), "A=1\nEMPTY=\nWITH=a=b c\n");
}

TEST(ChildProcessTest, AnEmptyEnvironmentIsEmpty) {
    const CapturedOutput captured(STDOUT_FILENO);
    const Ref<ChildProcess> child(new ChildProcess);
    child->launch({"env"}, ChildProcess::Environment{});
    EXPECT_EQ(child->waitForExit(), 0);
    EXPECT_EQ(captured.text(), "");
}

TEST(ChildProcessTest, TheEnvironmentKeepsItsBytesAsTheyAre) {
    const CapturedOutput captured(STDOUT_FILENO);
    const Ref<ChildProcess> child(new ChildProcess);
    child->launch({"env"}, {{"LIBRARIES", "/caf\xE9:/\xC3\xA9\xFF"}});
    EXPECT_EQ(child->waitForExit(), 0);
    EXPECT_EQ(captured.text(), "LIBRARIES=/caf\xE9:/\xC3\xA9\xFF\n");
}

TEST(ChildProcessTest, AnArgumentThatFindsNoMemoryIsAFailure) {
    const Ref<ChildProcess> child(new ChildProcess);
    const FailingCall failing(LibraryCall::strdup);
    EXPECT_EQ(failureText<IOException>([&] { child->launch({"true"}); }),
              "Could not allocate memory for argument to process");
    EXPECT_EQ(failureText<IOException>([&] {
                  child->launch({"true"}, {{"A", "1"}});
              }),
              "Could not allocate memory for argument to process");
    EXPECT_EQ(child->getPid(), 0);
}

TEST(ChildProcessTest, AProcessThatTheSystemRefusesIsAFailureThatLeavesNothingToKill) {
    EXPECT_EXIT(
        {
            const rlimit noProcess{};
            setrlimit(RLIMIT_NPROC, &noProcess);
            // The limit doesn't hold for root.
            if (geteuid() == 0 && setresuid(65534, 65534, 65534) != 0)
                _exit(2);
            const Ref<ChildProcess> child(new ChildProcess);
            const std::string text = failureText<IOException>([&] { child->launch({"true"}); });
            const bool none = child->getPid() == 0 && child->waitForExit() == 0;
            _exit(text == "Could not launch process" && none ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

/// A call for a signal, without `SA_RESTART`.
class CountingHandler {
public:
    explicit CountingHandler(int signal) : signal(signal) {
        calls = 0;
        struct sigaction action {};
        action.sa_handler = [](int) { calls = calls + 1; };
        sigaction(signal, &action, &former);
    }
    ~CountingHandler() { sigaction(signal, &former, nullptr); }
    CountingHandler(const CountingHandler&) = delete;
    CountingHandler& operator=(const CountingHandler&) = delete;

    static inline std::atomic<int> calls{0};

private:
    int signal;
    struct sigaction former {};
};

TEST(ChildProcessTest, AWaitThatASignalInterruptsGoesOn) {
    const CountingHandler handler(SIGUSR1);
    const Ref<ChildProcess> child = launch({"sleep", "1000"});
    std::atomic<pid_t> waitingId{0};
    int status = 0;
    std::thread waiting([&] {
        waitingId = currentThreadId();
        status = child->waitForExit();
    });
    EXPECT_TRUE(eventually([&] { return waitingId != 0 && isAsleep(waitingId); }));
    pthread_kill(waiting.native_handle(), SIGUSR1);
    EXPECT_TRUE(eventually([&] { return CountingHandler::calls > 0; }));
    // The thread either sleeps again or has given up.
    EXPECT_TRUE(child->kill(SIGTERM));
    waiting.join();
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGTERM);
}

TEST(ChildProcessTest, ASignalReachesTheChildAndNothingWithoutOne) {
    const Ref<ChildProcess> child(new ChildProcess);
    EXPECT_FALSE(child->kill(SIGTERM));
    child->launch({"sleep", "1000"});
    EXPECT_TRUE(child->kill(0));
    EXPECT_TRUE(child->kill(SIGUSR2));
    EXPECT_EQ(WTERMSIG(child->waitForExit()), SIGUSR2);
    EXPECT_FALSE(child->kill(SIGTERM));
}

TEST(ChildProcessTest, TheStatusIsThatOfWaitpid) {
    const Ref<ChildProcess> dumped(new ChildProcess);
    // Whether there is a core depends on the machine; the signal doesn't.
    dumped->launch({"sh", "-c", "kill -QUIT $$"});
    EXPECT_EQ(dumped->waitForExit() & ~0x80, SIGQUIT);
    EXPECT_EQ(launch({"sh", "-c", "exit 0"})->waitForExit(), 0);
}

/// Leaves this process no free descriptor for a scope; a program that it starts has some.
class NoFreeDescriptors {
public:
    NoFreeDescriptors() {
        getrlimit(RLIMIT_NOFILE, &former);
        rlimit few = former;
        few.rlim_cur = 100;
        setrlimit(RLIMIT_NOFILE, &few);
        for (int descriptor; (descriptor = open("/dev/null", O_RDONLY | O_CLOEXEC)) >= 0;)
            descriptors.push_back(descriptor);
    }
    ~NoFreeDescriptors() {
        for (const int descriptor : descriptors)
            close(descriptor);
        setrlimit(RLIMIT_NOFILE, &former);
    }
    NoFreeDescriptors(const NoFreeDescriptors&) = delete;
    NoFreeDescriptors& operator=(const NoFreeDescriptors&) = delete;

private:
    rlimit former{};
    std::vector<int> descriptors;
};

// The sanitizer's check of dynamic types opens a pipe to look at an object, and takes a failure for a broken
// object.
#ifndef __SANITIZE_ADDRESS__

TEST(ChildProcessTest, WithoutAFreeDescriptorAChildIsStartedAndEndedAllTheSame) {
    const NoFreeDescriptors noDescriptors;
    Ref<ChildProcess> child = launch({"sleep", "1000"});
    const pid_t pid = child->getPid();
    EXPECT_TRUE(child->kill(SIGTERM));
    EXPECT_EQ(child->waitForExit(), SIGTERM);
    child->launch({"sh", "-c", "exit 3"});
    EXPECT_EQ(child->waitForExit(), 3 << 8);
    child->launch({"sleep", "1000"});
    child = nullptr;
    EXPECT_TRUE(isGone(pid));
}

#endif

TEST(ChildProcessTest, NoDescriptorIsLeftOfAChild) {
    const auto countDescriptors = [] {
        const std::filesystem::directory_iterator entries("/proc/self/fd");
        return std::distance(begin(entries), end(entries));
    };
    const auto before = countDescriptors();
    Ref<ChildProcess> child = launch({"true"});
    child->waitForExit();
    child->launch({"true"});
    child = nullptr;
    EXPECT_EQ(countDescriptors(), before);
}

/// What is left of a child that the application has reaped.
void expectNothingToEnd(ChildProcess& child) {
    const CapturedOutput captured(STDERR_FILENO);
    EXPECT_FALSE(child.kill(SIGTERM));
    EXPECT_EQ(child.waitForExit(), 0);
    EXPECT_EQ(child.getPid(), 0);
    EXPECT_EQ(captured.text(), "");
}

TEST(ChildProcessTest, AChildThatTheApplicationHasReapedIsGoneWithoutALine) {
    const Ref<ChildProcess> child = launch({"sh", "-c", "exit 3"});
    ASSERT_EQ(waitpid(child->getPid(), nullptr, 0), child->getPid());
    expectNothingToEnd(*child);
}

// The sanitizer's check of dynamic types opens a pipe to look at an object, and takes a failure for a broken
// object.
#ifndef __SANITIZE_ADDRESS__

TEST(ChildProcessTest, AChildThatTheApplicationHasReapedIsGoneWithoutADescriptorToo) {
    const NoFreeDescriptors noDescriptors;
    const Ref<ChildProcess> child = launch({"sh", "-c", "exit 3"});
    ASSERT_EQ(waitpid(child->getPid(), nullptr, 0), child->getPid());
    EXPECT_FALSE(child->kill(SIGTERM));
    EXPECT_EQ(child->waitForExit(), 0);
}

#endif

TEST(ChildProcessTest, AChildOfAnApplicationThatLetsTheSystemReapIsGoneWithoutALine) {
    const sighandler_t former = signal(SIGCHLD, SIG_IGN);
    const Ref<ChildProcess> child = launch({"sh", "-c", "exit 3"});
    EXPECT_TRUE(eventually([&] { return isGone(child->getPid()); }));
    expectNothingToEnd(*child);
    signal(SIGCHLD, former);
}

/// A process that waits for its end, with a number that is free. Negative, with `errno`, if the system
/// refuses: it takes a privilege to choose.
pid_t startProcessWithNumber(pid_t number) {
    clone_args arguments{};
    arguments.exit_signal = SIGCHLD;
    arguments.set_tid = reinterpret_cast<uintptr_t>(&number);
    arguments.set_tid_size = 1;
    const auto process = static_cast<pid_t>(syscall(SYS_clone3, &arguments, sizeof arguments));
    while (process == 0)
        syscall(SYS_pause);
    return process;
}

TEST(ChildProcessTest, AnotherProcessThatGetsTheNumberOfAReapedChildIsLeftAlone) {
    Ref<ChildProcess> child = launch({"true"});
    const pid_t number = child->getPid();
    ASSERT_EQ(waitpid(number, nullptr, 0), number);
    const pid_t bystander = startProcessWithNumber(number);
    if (bystander < 0) {
        std::printf("not run: a process number can't be chosen here\n");
        return;
    }
    ASSERT_EQ(bystander, number);
    EXPECT_FALSE(child->kill(SIGTERM));
    child = nullptr;
    EXPECT_EQ(waitpid(bystander, nullptr, WNOHANG), 0) << "a foreign process was ended";
    kill(bystander, SIGKILL);
    waitpid(bystander, nullptr, 0);
}

TEST(ChildProcessTest, AForkedProcessThatDestroysItsCopyLeavesTheChildAlone) {
    Ref<ChildProcess> child = launch({"sleep", "1000"});
    const pid_t forked = fork();
    if (forked == 0) {
        const bool refused = !child->kill(SIGTERM);
        child = nullptr;
        _exit(refused ? 0 : 1);
    }
    int status = -1;
    EXPECT_EQ(waitpid(forked, &status, 0), forked);
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(child->kill(SIGTERM));
    EXPECT_EQ(child->waitForExit(), SIGTERM);
}

} // namespace
