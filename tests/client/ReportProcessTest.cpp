// If these fail, one bad plug-in hangs or ends the application that asks what its file holds, writes into the
// application's console, or leaves processes and files behind.

#include "ReportTest.h"

#include "support/RealDeaths.h"
#include "support/SleepingThread.h"
#include "support/TurnedClock.h"

#include <csignal>
#include <future>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>

using namespace test_support;

namespace {

class ReportProcessTest : public ReportTest {
protected:
    ReportOutcome report(const std::string& plugin) const { return report(requestOf(plugin)); }
    ReportOutcome report(const ReportRequest& request) const { return reportPlugins(request, cancellation); }
    /// By another program than the host.
    ReportOutcome reportBy(const std::string& program) const {
        ReportRequest request = requestOf(examplePlugin("echo"));
        request.program = program;
        return report(request);
    }

    /// Reports on a thread of its own.
    std::future<ReportOutcome> begin(const ReportRequest& request) const {
        return std::async(std::launch::async, [this, request] { return report(request); });
    }

    const Cancellation cancellation;
};

/// Which the host logs, before the plug-in writes its category.
constexpr const char* echoClassId = "4578616D706C6520576F726B45636830";

/// `outcome` has no record and this reason.
void expectFailure(const ReportOutcome& outcome, ReportResult result, const std::string& reason) {
    EXPECT_EQ(outcome.result, result) << outcome.reason;
    EXPECT_EQ(outcome.reason, reason);
    EXPECT_TRUE(outcome.plugins.empty());
}

void expectEcho(const ReportOutcome& outcome) {
    EXPECT_EQ(outcome.result, ReportResult::complete);
    EXPECT_EQ(outcome.reason, "");
    EXPECT_EQ(outcome.plugins, std::vector<PluginDescription>{echoDescription()});
}

std::vector<std::string> namesOf(const ReportOutcome& outcome) {
    std::vector<std::string> names;
    for (const PluginDescription& plugin : outcome.plugins)
        names.push_back(plugin.name);
    return names;
}

} // namespace

TEST_F(ReportProcessTest, APluginIsDescribed) {
    expectEcho(report(examplePlugin("echo")));
}

TEST_F(ReportProcessTest, AFileOfSeveralPluginsHasARecordForEach) {
    EXPECT_EQ(namesOf(report(examplePlugin("trio"))),
              (std::vector<std::string>{"Louder", "Upside Down", "Swap Sides"}));
}

TEST_F(ReportProcessTest, WhatAVst3PluginWritesIsNoPartOfItsReport) {
    const ReportOutcome outcome = report(EXAMPLE_PLUGIN_DIRECTORY "/echo.vst3");
    EXPECT_EQ(outcome.result, ReportResult::complete) << outcome.reason;
    EXPECT_EQ(namesOf(outcome), std::vector<std::string>{"Echo"});
    EXPECT_EQ(outcome.output, std::string(echoClassId) + "\nFx\n");
}

TEST_F(ReportProcessTest, ALibraryThatIsNoPluginFailsInTheHostsWords) {
    expectFailure(report(testPlugin("without-entry-point")), ReportResult::failed,
                  "Plugin main function not found");
}

TEST_F(ReportProcessTest, AFileThatIsNoLibraryFailsInTheHostsWords) {
    const std::string path = directory / "text.so";
    writeText(path, "no library");
    expectFailure(report(path), ReportResult::failed,
                  "Failed to load VST plug-in " + path + ": " + path + ": file too short");
}

TEST_F(ReportProcessTest, ARecordBeforeTheFailureStays) {
    const ReportOutcome outcome = report(testPlugin("shell-with-broken-second"));
    EXPECT_EQ(outcome.result, ReportResult::failed);
    EXPECT_EQ(outcome.reason, "createAEffectInstance returned NULL.");
    ASSERT_EQ(outcome.plugins.size(), 1u);
    EXPECT_TRUE(outcome.plugins[0].isComplete);
}

TEST_F(ReportProcessTest, ARecordThatIsCutShortIsMarked) {
    const ReportOutcome outcome = report(testPlugin("throws-int-at-version"));
    EXPECT_EQ(outcome.result, ReportResult::recordCutShort);
    EXPECT_EQ(outcome.reason, "a record was cut short");
    ASSERT_EQ(outcome.plugins.size(), 1u);
    EXPECT_EQ(outcome.plugins[0].name, "Throws");
    EXPECT_FALSE(outcome.plugins[0].isComplete);
}

TEST_F(ReportProcessTest, ACrashIsAFailureWithItsSignal) {
    const RealDeaths realDeaths;
    expectFailure(report(testPlugin("crashes-at-create")), ReportResult::crashed,
                  "ended by signal 11 (Segmentation fault)");
    expectFailure(report(testPlugin("aborts-at-create")), ReportResult::crashed,
                  "ended by signal 6 (Aborted)");
}

TEST_F(ReportProcessTest, TheLastLineBeforeACrashIsPartOfTheReason) {
    const RealDeaths realDeaths;
    const ReportOutcome outcome = report(testPlugin("crashes-with-words"));
    expectFailure(outcome, ReportResult::crashed,
                  "ended by signal 11 (Segmentation fault): \xEF\xBF\xBD[1mlast \xEF\xBF\xBD words");
    EXPECT_EQ(outcome.output, "first words\n\xEF\xBF\xBD[1mlast \xEF\xBF\xBD words\n\n");
}

TEST_F(ReportProcessTest, APluginThatExitsFailsWithTheStatus) {
    expectFailure(report(testPlugin("exits-at-create")), ReportResult::failed, "exited with status 3");
}

TEST_F(ReportProcessTest, APluginThatHangsIsKilledAtItsTimeLimit) {
    TurnedClock clock;
    ReportRequest request = requestOf(testPlugin("hangs-at-entry"));
    request.timeLimit = 0.5;
    std::future<ReportOutcome> outcome = begin(request);
    const std::vector<pid_t> processes = awaitProcesses(1);
    clock.turn(std::chrono::milliseconds(500));
    expectFailure(outcome.get(), ReportResult::timedOut, "gave no report within 0.5 s: at the entry");
    expectGone(processes);
}

TEST_F(ReportProcessTest, ATimeLimitEndsTheProcessesOfThePluginToo) {
    TurnedClock clock;
    ReportRequest request = requestOf(testPlugin("hangs-with-a-child"));
    request.timeLimit = 1;
    std::future<ReportOutcome> outcome = begin(request);
    const std::vector<pid_t> processes = awaitProcesses(2);
    clock.turn(std::chrono::seconds(1));
    expectFailure(outcome.get(), ReportResult::timedOut, "gave no report within 1 s: at the entry");
    expectGone(processes);
}

TEST_F(ReportProcessTest, AProcessThatThePluginLeavesEndsWithTheReport) {
    const ReportOutcome outcome = report(testPlugin("leaves-a-child"));
    EXPECT_EQ(outcome.result, ReportResult::complete) << outcome.reason;
    expectGone(awaitProcesses(1));
}

TEST_F(ReportProcessTest, CancellingEndsAPluginThatHangs) {
    std::future<ReportOutcome> outcome = begin(requestOf(testPlugin("hangs-with-a-child")));
    const std::vector<pid_t> processes = awaitProcesses(2);
    cancellation.cancel();
    expectFailure(outcome.get(), ReportResult::cancelled, "cancelled");
    expectGone(processes);
}

TEST_F(ReportProcessTest, CancellingEndsAPluginThatFloodsItsOutput) {
    std::future<ReportOutcome> outcome = begin(requestOf(testPlugin("floods-its-output")));
    const std::vector<pid_t> processes = awaitProcesses(1);
    cancellation.cancel();
    expectFailure(outcome.get(), ReportResult::cancelled, "cancelled");
    expectGone(processes);
}

TEST_F(ReportProcessTest, NothingStartsOnceItIsCancelled) {
    cancellation.cancel();
    expectFailure(reportBy(countingProgram()), ReportResult::cancelled, "cancelled");
    EXPECT_EQ(countStarts(), 0u);
}

TEST_F(ReportProcessTest, AFloodOfOutputIsKeptWithinBounds) {
    TurnedClock clock;
    ReportRequest request = requestOf(testPlugin("floods-its-output"));
    request.timeLimit = 0.5;
    std::future<ReportOutcome> pending = begin(request);
    awaitProcesses(1);
    clock.turn(std::chrono::seconds(1));
    const ReportOutcome outcome = pending.get();
    EXPECT_EQ(outcome.result, ReportResult::timedOut);
    EXPECT_LE(outcome.output.size(), 4097u);
    EXPECT_LT(outcome.reason.size(), 500u);
}

TEST_F(ReportProcessTest, APluginThatWritesMoreThanAPipeHoldsIsReported) {
    const ReportOutcome outcome = report(testPlugin("writes-much"));
    EXPECT_EQ(outcome.result, ReportResult::complete) << outcome.reason;
    EXPECT_EQ(namesOf(outcome), std::vector<std::string>{"Troublesome"});
    EXPECT_LE(outcome.output.size(), 4096u);
    EXPECT_TRUE(outcome.output.starts_with("out ") || outcome.output.starts_with("error "));
    EXPECT_TRUE(outcome.output.ends_with("error 1999 " + std::string(100, 'e') + "\n")) << outcome.output;
}

TEST_F(ReportProcessTest, APluginThatClosesItsOutputIsReported) {
    const ReportOutcome outcome = report(testPlugin("closes-its-output"));
    EXPECT_EQ(outcome.result, ReportResult::complete) << outcome.reason;
}

TEST_F(ReportProcessTest, WaitingForAPluginWithoutOutputIsSleeping) {
    std::atomic<pid_t> waiter = 0;
    const ReportRequest request = requestOf(testPlugin("hangs-without-output"));
    std::future<ReportOutcome> outcome = std::async(std::launch::async, [&] {
        waiter = currentThreadId();
        return report(request);
    });
    awaitProcesses(1);
    EXPECT_TRUE(eventually([&] {
        constexpr int samples = 50;
        int asleep = 0;
        while (asleep < samples && isAsleep(waiter))
            ++asleep;
        return asleep == samples;
    }));
    cancellation.cancel();
    EXPECT_EQ(outcome.get().result, ReportResult::cancelled);
}

TEST_F(ReportProcessTest, APluginReadsNothingAndHasNoTerminal) {
    EXPECT_EQ(report(testPlugin("reads-its-input")).output, "input 0\nsession 1\n");
}

TEST_F(ReportProcessTest, ThePluginHasTheVariablesOfAHostAndThoseThatAreAdded) {
    const ScopedEnvironment libraries("TANVEX_PLUGIN_HOST_LIBRARY_PATH", "/no/libraries");
    const ScopedEnvironment inherited("PLUGIN_TEST_INHERITED", "before");
    ReportRequest request = requestOf(testPlugin("shows-variables"));
    request.variables["PLUGIN_TEST_ADDED"] = "new";
    EXPECT_EQ(report(request).output,
              "LD_LIBRARY_PATH=/no/libraries\nPLUGIN_TEST_ADDED=new\nPLUGIN_TEST_INHERITED=before\n");
    request.variables["PLUGIN_TEST_INHERITED"] = "after";
    EXPECT_NE(report(request).output.find("PLUGIN_TEST_INHERITED=after\n"), std::string::npos);
}

TEST_F(ReportProcessTest, WithoutADisplayThereIsNoReport) {
    const ScopedEnvironment noDisplay("DISPLAY", nullptr);
    expectFailure(report(examplePlugin("echo")), ReportResult::noDisplay, "no display");
}

// ThreadSanitizer replaces `vfork` by `fork`: the child's error stays in its own memory.
#ifndef __SANITIZE_THREAD__

TEST_F(ReportProcessTest, AProgramThatCannotBeStartedFailsInTheSystemsWords) {
    expectFailure(reportBy("/no/such/program"), ReportResult::notStarted,
                  "can't be started: No such file or directory");
    writeText(directory / "plain", "text");
    expectFailure(reportBy(directory / "plain"), ReportResult::notStarted,
                  "can't be started: Permission denied");
}

#endif

TEST_F(ReportProcessTest, WithoutAPlaceForTheReportNothingStarts) {
    const ScopedEnvironment temporary("TMPDIR", "/no/such/directory");
    expectFailure(report(examplePlugin("echo")), ReportResult::notStarted,
                  "can't be started: No such file or directory");
}

TEST_F(ReportProcessTest, AnotherProgramGivesNoReport) {
    expectFailure(reportBy("/bin/true"), ReportResult::failed, "exited with status 0 without a report");
    expectFailure(reportBy("/bin/false"), ReportResult::failed, "exited with status 1");
    const ReportOutcome outcome = reportBy("/bin/cat");
    EXPECT_EQ(outcome.result, ReportResult::failed);
    EXPECT_TRUE(outcome.reason.starts_with("exited with status 1: ")) << outcome.reason;
    EXPECT_EQ(outcome.reason.find('\n'), std::string::npos);
}

TEST_F(ReportProcessTest, AStatusOfFailureComesWithTheLastLine) {
    expectFailure(reportBy(script("talks", "echo one; echo two >&2; exit 255")), ReportResult::failed,
                  "exited with status 255: two");
}

TEST_F(ReportProcessTest, APathThatIsNoTextFailsInTheHostsWords) {
    const std::string path = directory / "\xff.so";
    std::filesystem::copy_file(examplePlugin("echo"), path);
    const ReportOutcome outcome = report(path);
    EXPECT_EQ(outcome.result, ReportResult::failed);
    EXPECT_TRUE(outcome.reason.starts_with("exited with status 255: Could not use the path"))
        << outcome.reason;
}

TEST_F(ReportProcessTest, AReportWithoutEndIsRefused) {
    const ReportOutcome outcome = reportBy(script(
        "endless", "{ echo 'Printing plug-in meta data for x ...'; head -c 5000000 /dev/zero; } >\"$2\""));
    expectFailure(outcome, ReportResult::failed, "gave a report of more than 4 MiB");
}

TEST_F(ReportProcessTest, TheReportIsForThisUserAlone) {
    const mode_t former = umask(0777);
    const std::string program = script("shows-mode", "stat -c %a \"$2\"; echo \"$2\"");
    umask(former);
    chmod(program.c_str(), 0755);
    const std::string output = reportBy(program).output;
    EXPECT_TRUE(output.starts_with("600\n" + reports() + "/")) << output;
}

TEST_F(ReportProcessTest, APrivateDirectoryOfTheSessionIsPreferred) {
    const std::string runtime = directory / "runtime";
    std::filesystem::create_directory(runtime);
    const ScopedEnvironment variable("XDG_RUNTIME_DIR", runtime.c_str());
    const std::string program = script("shows-path", "echo \"$2\"");
    chmod(runtime.c_str(), 0700);
    EXPECT_TRUE(reportBy(program).output.starts_with(runtime + "/"));
    chmod(runtime.c_str(), 0755);
    EXPECT_TRUE(reportBy(program).output.starts_with(reports() + "/"));
    EXPECT_TRUE(namesIn(runtime).empty());
}

namespace {

std::atomic<int> reaped = 0;

void reapAll(int) {
    const int failure = errno;
    while (waitpid(-1, nullptr, WNOHANG) > 0)
        ++reaped;
    errno = failure;
}

} // namespace

TEST_F(ReportProcessTest, AnApplicationThatReapsEveryChildGetsItsReport) {
    struct sigaction action {};
    struct sigaction former {};
    action.sa_handler = reapAll;
    sigaction(SIGCHLD, &action, &former);
    reaped = 0;
    for (int round = 0; round < 3; ++round)
        expectEcho(report(examplePlugin("echo")));
    sigaction(SIGCHLD, &former, nullptr);
    EXPECT_GT(reaped, 0);
}

TEST_F(ReportProcessTest, AnApplicationThatLetsTheSystemReapGetsItsReport) {
    const sighandler_t former = signal(SIGCHLD, SIG_IGN);
    expectEcho(report(examplePlugin("echo")));
    signal(SIGCHLD, former);
}

TEST_F(ReportProcessTest, WithoutADescriptorOfTheProcessItsEndIsSeen) {
    std::thread([&] {
        // For this thread and its children alone.
        sock_filter instructions[] = {
            BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
            BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_pidfd_open, 0, 1),
            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        };
        const sock_fprog filter{std::size(instructions), instructions};
        ASSERT_EQ(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), 0);
        ASSERT_EQ(prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter), 0);
        ASSERT_EQ(syscall(SYS_pidfd_open, getpid(), 0), -1);
        expectEcho(report(examplePlugin("echo")));
    }).join();
}

TEST_F(ReportProcessTest, AnApplicationWithoutAConsoleGetsItsReport) {
    std::thread([&] {
        // The descriptors of this thread alone.
        ASSERT_EQ(unshare(CLONE_FILES), 0);
        for (const int console : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
            close(console);
        const ReportOutcome outcome = report(EXAMPLE_PLUGIN_DIRECTORY "/echo.vst3");
        EXPECT_EQ(outcome.result, ReportResult::complete);
        EXPECT_EQ(outcome.output, std::string(echoClassId) + "\nFx\n");
    }).join();
}

TEST_F(ReportProcessTest, ACopyOfTheApplicationCancelsNothing) {
    const pid_t copy = fork();
    if (copy == 0) {
        cancellation.cancel();
        _exit(0);
    }
    waitpid(copy, nullptr, 0);
    EXPECT_FALSE(cancellation.isCancelled());
}
