// Programs in sessions of their own: if these fail, a program that an application asks something writes into
// the application's console, or what it started outlives it.

#include "core/ChildProcess.h"
#include "core/Exception.h"
#include "core/FileDescriptor.h"
#include "core/StartProgram.h"
#include "support/CapturedOutput.h"
#include "support/Eventually.h"
#include "support/FailureText.h"
#include "support/ScopedEnvironment.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

using namespace base::core;
using namespace test_support;

namespace {

/// A program in a session of its own, with a pipe as its output.
class ChildSessionTest : public testing::Test {
protected:
    void launch(const std::vector<std::string>& arguments) {
        child->launch({.arguments = arguments,
                       .environment = environment,
                       .input = input.get(),
                       .output = writer.get(),
                       .error = writer.get(),
                       .inSession = true});
        writer.close();
    }
    void launchShell(const std::string& commands) { launch({"sh", "-c", commands}); }

    /// What the program has written, up to the end of all who have its output.
    std::string readAll() const {
        std::string text;
        char piece[256];
        ssize_t count;
        while ((count = read(reader.get(), piece, sizeof piece)) > 0)
            text.append(piece, static_cast<size_t>(count));
        return text;
    }

    std::string readLine() const {
        std::string line;
        char character;
        while (read(reader.get(), &character, 1) == 1 && character != '\n')
            line += character;
        return line;
    }

    const ChildProcess::Environment environment{{"PATH", "/usr/bin:/bin"}, {"GREETING", "hello"}};
    const Ref<ChildProcess> child{new ChildProcess};
    const PipeEnds ends = openPipe();
    FileDescriptor reader{ends.reader};
    FileDescriptor writer{ends.writer};
    const FileDescriptor input{open("/dev/null", O_RDONLY | O_CLOEXEC)};
};

} // namespace

TEST_F(ChildSessionTest, AProgramGetsStreamsEnvironmentAndArgumentsByTheByte) {
    launch({"sh", "-c", "read line || echo end; echo \"$GREETING $1\"; echo error >&2; echo \"$HOME\"", "sh",
            "\xff"});
    EXPECT_EQ(readAll(), "end\nhello \xff\nerror\n\n");
    EXPECT_EQ(child->reap(), 0);
    EXPECT_EQ(child->getExecError(), 0);
}

TEST_F(ChildSessionTest, AProgramInheritsWhatItIsNotGiven) {
    const ScopedEnvironment greeting("GREETING", "inherited");
    child->launch({.arguments = {"sh", "-c", "echo \"$GREETING\"; echo error >&2; ps -o sid= -p $$"},
                   .environment = {},
                   .output = writer.get(),
                   .error = writer.get()});
    writer.close();
    const std::string text = readAll();
    child->reap();
    EXPECT_TRUE(text.starts_with("inherited\nerror\n")) << text;
    EXPECT_EQ(std::stoi(text.substr(text.find("error\n") + 6)), getsid(0));
}

TEST_F(ChildSessionTest, AProgramInAGroupOfItsOwnStaysInTheSession) {
    child->launch({.arguments = {"sh", "-c", "ps -o pid=,pgid=,sid= -p $$"},
                   .environment = {},
                   .output = writer.get(),
                   .inGroup = true});
    writer.close();
    std::istringstream line(readAll());
    pid_t process = 0;
    pid_t group = 0;
    pid_t session = 0;
    line >> process >> group >> session;
    EXPECT_EQ(child->reap(), 0);
    EXPECT_EQ(group, process);
    EXPECT_EQ(session, getsid(0));
}

TEST_F(ChildSessionTest, AStatusCanBeSeenBeforeTheChildIsReaped) {
    launchShell("read line; exit 7");
    EXPECT_TRUE(eventually([&] { return child->hasEnded(); }));
    EXPECT_EQ(child->peekStatus(), 7 << 8);
    EXPECT_EQ(child->peekStatus(), 7 << 8);
    EXPECT_EQ(child->reap(), 7 << 8);
    EXPECT_EQ(child->peekStatus(), std::nullopt);
}

TEST_F(ChildSessionTest, ARunningChildHasNoStatus) {
    launchShell("kill -STOP $$");
    EXPECT_EQ(child->peekStatus(), std::nullopt);
    EXPECT_FALSE(child->hasEnded());
    child->killSession();
    EXPECT_TRUE(eventually([&] { return child->hasEnded(); }));
    EXPECT_EQ(child->peekStatus(), SIGKILL);
}

TEST(ChildStatus, HasWordsForEachKindOfEnd) {
    EXPECT_EQ(describeStatus(0).toStdString(), "ended with status 0");
    EXPECT_EQ(describeStatus(255 << 8).toStdString(), "ended with status 255");
    EXPECT_EQ(describeStatus(SIGSEGV).toStdString(), "was ended by signal 11 (Segmentation fault)");
    constexpr int coreFlag = 0x80;
    EXPECT_EQ(describeStatus(SIGABRT | coreFlag).toStdString(), "was ended by signal 6 (Aborted)");
    EXPECT_EQ(describeStatus(40).toStdString(), "was ended by signal 40 (unknown)");
}

TEST_F(ChildSessionTest, AProgramLeadsItsSession) {
    launchShell("ps -o sid= -o pgid= -p $$; echo $$");
    const std::string numbers = readLine();
    const std::string own = readLine();
    EXPECT_EQ(own, std::to_string(child->getPid()));
    EXPECT_EQ(std::stoi(numbers), child->getPid());
    EXPECT_EQ(std::stoi(numbers.substr(numbers.rfind(' '))), child->getPid());
    child->reap();
}

TEST_F(ChildSessionTest, AProgramThatCannotBeExecutedHasAnError) {
    launch({"/no/such/program"});
    EXPECT_EQ(child->reap().value_or(0), 255 << 8);
#ifndef __SANITIZE_THREAD__ // which replaces `vfork` by `fork`: the child's error stays in its own memory
    EXPECT_EQ(child->getExecError(), ENOENT);
#endif
}

TEST_F(ChildSessionTest, AProgramThatExitsLikeOneThatCannotBeExecutedHasNone) {
    launchShell("exit 255");
    EXPECT_EQ(child->reap().value_or(0), 255 << 8);
    EXPECT_EQ(child->getExecError(), 0);
}

TEST_F(ChildSessionTest, ReapingLogsNothingAndGivesTheRawStatus) {
    const CapturedOutput captured(STDERR_FILENO);
    launchShell("exit 3");
    EXPECT_EQ(child->reap().value_or(0), 3 << 8);
    EXPECT_EQ(child->reap(), std::nullopt);
    EXPECT_EQ(captured.text(), "");
}

TEST_F(ChildSessionTest, AChildThatTheApplicationHasReapedHasNoStatus) {
    launchShell("exit 3");
    ASSERT_EQ(waitpid(child->getPid(), nullptr, 0), child->getPid());
    EXPECT_TRUE(child->hasEnded());
    child->killSession();
    EXPECT_EQ(child->reap(), std::nullopt);
}

TEST_F(ChildSessionTest, TheEndOfAChildIsSeen) {
    EXPECT_TRUE(child->hasEnded());
    EXPECT_EQ(child->getEndDescriptor(), -1);
    launchShell("echo up; exec sleep 1000");
    EXPECT_EQ(readLine(), "up");
    pollfd event{child->getEndDescriptor(), POLLIN, 0};
    EXPECT_FALSE(child->hasEnded());
    EXPECT_EQ(poll(&event, 1, 0), 0);
    child->kill(SIGTERM);
    EXPECT_EQ(poll(&event, 1, 10000), 1);
    EXPECT_TRUE(child->hasEnded());
    EXPECT_EQ(child->reap().value_or(0), SIGTERM);
}

TEST_F(ChildSessionTest, KillingASessionEndsWhatItHasStarted) {
    launchShell("trap '' HUP TERM; sh -c 'trap \"\" HUP TERM; echo $$; while :; do sleep 1000; done' & wait");
    EXPECT_NE(readLine(), "");
    child->killSession();
    EXPECT_EQ(child->reap().value_or(0), SIGKILL);
    // The pipe ends with the last process that has it.
    EXPECT_EQ(readAll(), "");
}

TEST_F(ChildSessionTest, ASessionWhoseLeaderHasEndedIsKilledToo) {
    launchShell("sleep 1000 & echo $!");
    const pid_t inner = std::stoi(readLine());
    ASSERT_TRUE(eventually([&] { return child->hasEnded(); }));
    EXPECT_EQ(kill(inner, 0), 0);
    child->killSession();
    EXPECT_EQ(readAll(), "");
    EXPECT_EQ(child->reap(), 0);
}

TEST_F(ChildSessionTest, AnEndOfTheParentEndsTheChild) {
    const pid_t parent = fork();
    if (parent == 0) {
        launchShell("echo $$; exec sleep 1000");
        pause();
        _exit(0);
    }
    writer.close();
    EXPECT_NE(readLine(), "");
    kill(parent, SIGKILL);
    waitpid(parent, nullptr, 0);
    EXPECT_EQ(readAll(), "");
}

TEST_F(ChildSessionTest, NoDescriptorIsLeft) {
    launchShell("exit 0");
    child->reap();
    const int next = dup(STDIN_FILENO);
    close(next);
    {
        const Ref<ChildProcess> other(new ChildProcess);
        other->launch(
            {.arguments = {"true"}, .environment = {}, .input = input.get(), .output = input.get()});
        other->reap();
        other->launch(
            {.arguments = {"true"}, .environment = {}, .input = input.get(), .output = input.get()});
        other->reap();
    }
    const int after = dup(STDIN_FILENO);
    close(after);
    EXPECT_EQ(after, next);
}
