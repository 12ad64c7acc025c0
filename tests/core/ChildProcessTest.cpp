// Child processes: a host that outlives its client, or a zombie for each plug-in that died, fills the
// machine.

#include "core/ChildProcess.h"

#include "CapturedOutput.h"
#include "FailingCalls.h"
#include "FailureText.h"
#include "ScopedEnvironment.h"
#include "Waiting.h"

#include "core/Exception.h"
#include "core/Ref.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <string>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

using namespace base::core;

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

TEST(ChildProcessTest, KillingTheParentEndsTheChildBySighup) {
    // Orphans come to this process, which so learns how the child ended.
    ASSERT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0), 0);
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const pid_t parent = fork();
    if (parent == 0) {
        const Ref<ChildProcess> child = launch({"sleep", "1000"});
        const pid_t pid = child->getPid();
        const bool told = write(ends[1], &pid, sizeof pid) == sizeof pid;
        while (told)
            pause();
        _exit(1);
    }
    close(ends[1]);
    pid_t child = 0;
    ASSERT_EQ(read(ends[0], &child, sizeof child), static_cast<ssize_t>(sizeof child));
    close(ends[0]);
    EXPECT_TRUE(becomesTrue([&] { return runs(child, "sleep"); }));
    kill(parent, SIGKILL);
    EXPECT_EQ(waitpid(parent, nullptr, 0), parent);
    int status = 0;
    const bool ended = becomesTrue([&] { return waitpid(child, &status, WNOHANG) == child; });
    if (!ended) {
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
    }
    prctl(PR_SET_CHILD_SUBREAPER, 0, 0, 0, 0);
    ASSERT_TRUE(ended) << "the child outlived its parent";
    EXPECT_TRUE(WIFSIGNALED(status));
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

} // namespace
