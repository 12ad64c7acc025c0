// Signals around a fork: a handler of the application that runs in a child which isn't a program yet, or a
// host that starts with the signals of its client blocked and ignored, and so outlives it.

#include "core/ChildSignals.h"

#include "FailingCalls.h"
#include "support/CapturedOutput.h"

#include "core/ChildProcess.h"
#include "core/Ref.h"
#include "core/StartProgram.h"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <string>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

using namespace base::core;
using namespace core_tests;
using namespace test_support;

namespace {

using Arguments = std::vector<String>;

/// What starts a program and returns its status.
int runAsChildProcess(const Arguments& arguments) {
    const Ref<ChildProcess> child(new ChildProcess);
    child->launch(arguments);
    return child->waitForExit();
}

int runAsStartedProgram(const Arguments& arguments) {
    return waitForProgram(startProgram(arguments, STDOUT_FILENO).pid);
}

class ChildSignalsTest : public testing::TestWithParam<int (*)(const Arguments&)> {};

INSTANTIATE_TEST_SUITE_P(EachWay, ChildSignalsTest, testing::Values(&runAsChildProcess, &runAsStartedProgram),
                         [](const auto& way) {
                             return way.param == &runAsChildProcess ? "ChildProcess" : "StartProgram";
                         });

/// The actions of some signals and the mask of this thread, put back at its end.
class KeptSignals {
public:
    KeptSignals() {
        pthread_sigmask(SIG_SETMASK, nullptr, &mask);
        for (size_t i = 0; i < actions.size(); ++i)
            sigaction(changed[i], nullptr, &actions[i]);
    }
    ~KeptSignals() {
        for (size_t i = 0; i < actions.size(); ++i)
            sigaction(changed[i], &actions[i], nullptr);
        pthread_sigmask(SIG_SETMASK, &mask, nullptr);
    }
    KeptSignals(const KeptSignals&) = delete;
    KeptSignals& operator=(const KeptSignals&) = delete;

private:
    static constexpr int changed[] = {SIGHUP, SIGINT, SIGTERM};
    std::vector<struct sigaction> actions{std::size(changed)};
    sigset_t mask{};
};

/// The line of a set of signals in what `grep` finds.
std::string signalsOf(const std::string& text, const std::string& name) {
    const size_t start = text.find(name + ":\t");
    if (start == std::string::npos)
        return "none in " + text;
    return text.substr(start + name.size() + 2, 16);
}

TEST_P(ChildSignalsTest, AProgramStartsWithNoSignalBlockedAndWithoutAnIgnoredHangUp) {
    const KeptSignals kept;
    signal(SIGHUP, SIG_IGN);
    signal(SIGINT, SIG_IGN);
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGHUP);
    sigaddset(&blocked, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
    std::string text;
    {
        const CapturedOutput captured(STDOUT_FILENO);
        EXPECT_EQ(GetParam()({"grep", "-E", "^Sig(Blk|Ign)", "/proc/self/status"}), 0);
        text = captured.text();
    }
    EXPECT_EQ(signalsOf(text, "SigBlk"), "0000000000000000");
    // Of SIGHUP, SIGINT and SIGTERM, the second.
    EXPECT_EQ(std::stoul(signalsOf(text, "SigIgn"), nullptr, 16) & 0x4003, 0x2u);
    // The parent's own are as before.
    sigset_t now;
    pthread_sigmask(SIG_SETMASK, nullptr, &now);
    EXPECT_TRUE(sigismember(&now, SIGHUP));
    EXPECT_TRUE(sigismember(&now, SIGTERM));
    EXPECT_FALSE(sigismember(&now, SIGINT));
    struct sigaction action {};
    sigaction(SIGHUP, nullptr, &action);
    EXPECT_TRUE(action.sa_handler == SIG_IGN);
}

/// Shared with children, which don't share the rest.
std::atomic<int>& handlerCalls() {
    static auto& calls = *new (mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE,
                                    MAP_SHARED | MAP_ANONYMOUS, -1, 0)) std::atomic<int>(0);
    return calls;
}

TEST_P(ChildSignalsTest, AHandlerOfTheApplicationNeverRunsInTheChild) {
    const KeptSignals kept;
    handlerCalls() = 0;
    signal(SIGTERM, [](int) { ++handlerCalls(); });
    int status = 0;
    {
        const SignalledChildren signalled(SIGTERM);
        status = GetParam()({"true"});
    }
    EXPECT_EQ(handlerCalls(), 0);
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGTERM);
    // The parent's handler is its own still.
    raise(SIGTERM);
    EXPECT_EQ(handlerCalls(), 1);
}

} // namespace
