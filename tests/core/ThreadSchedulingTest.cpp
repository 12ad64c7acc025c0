// Priorities of threads: with a wrong one audio crackles, and the lines logged are how a user finds out.

#include "core/Thread.h"

#include "ReplacedScheduling.h"
#include "TestThread.h"
#include "support/CapturedOutput.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <sched.h>
#include <string>
#include <unistd.h>

using namespace base::core;
using namespace core_tests;
using namespace test_support;

namespace {

/// Runs a thread of the step to its end under replaced limits.
void runThread(int32_t step, pid_t* kernelThreadId = nullptr) {
    TestThread thread("test", step);
    thread.start();
    thread.join();
    if (kernelThreadId != nullptr)
        *kernelThreadId = thread.kernelThreadId;
}

struct Lines {
    std::string output;
    std::string error;
};

Lines linesOfThread(int32_t step) {
    const CapturedOutput output(STDOUT_FILENO);
    const CapturedOutput error(STDERR_FILENO);
    runThread(step);
    return {output.text(), error.text()};
}

TEST(ThreadTest, WithANiceLimitOfZeroTheNicenessIsLeftAlone) {
    const ThreadScheduling scheduling = schedulingFor(4, 0, 0);
    EXPECT_EQ(scheduling.minNiceness, 20);
    EXPECT_EQ(scheduling.maxNiceness, 20);

    const ReplacedScheduling replaced(0, 0);
    runThread(4);
    EXPECT_TRUE(replaced.nicenessCalls.empty());
    EXPECT_EQ(replaced.policyCalls.size(), 1u);
}

TEST(ThreadTest, WithANiceLimitOf40TheStepsSpreadOverAllNicenesses) {
    const struct {
        int32_t step;
        int32_t niceness;
    } rows[] = {{0, -20}, {1, -20}, {2, -13}, {3, -7}, {4, 0}, {5, 6}, {6, 13}, {7, 19}};
    for (const auto& row : rows) {
        const ThreadScheduling scheduling = schedulingFor(row.step, 40, 0);
        EXPECT_EQ(scheduling.niceness, row.niceness) << "step " << row.step;
        EXPECT_EQ(scheduling.minNiceness, -20);
        EXPECT_EQ(scheduling.maxNiceness, 19);
    }
}

TEST(ThreadTest, WithARealtimeLimitOf95TheFirstStepsAskFor20And19) {
    EXPECT_EQ(schedulingFor(0, 40, 95).realtimePriority, 20);
    EXPECT_EQ(schedulingFor(1, 40, 95).realtimePriority, 19);

    const ReplacedScheduling replaced(40, 95);
    linesOfThread(0);
    linesOfThread(1);
    ASSERT_EQ(replaced.policyCalls.size(), 2u);
    EXPECT_EQ(replaced.policyCalls[0].policy, SCHED_FIFO);
    EXPECT_EQ(replaced.policyCalls[0].realtimePriority, 20);
    EXPECT_EQ(replaced.policyCalls[1].policy, SCHED_FIFO);
    EXPECT_EQ(replaced.policyCalls[1].realtimePriority, 19);
}

TEST(ThreadTest, WithARealtimeLimitOfZeroTheFirstStepFailsAndSaysSo) {
    ReplacedScheduling replaced(0, 0);
    replaced.policyAnswer = EINVAL;
    const Lines lines = linesOfThread(0);
    ASSERT_EQ(replaced.policyCalls.size(), 1u);
    EXPECT_EQ(replaced.policyCalls[0].policy, SCHED_FIFO);
    EXPECT_EQ(replaced.policyCalls[0].realtimePriority, 0);
    EXPECT_EQ(lines.error, "Error setting realtime priority for thread to 0\n");
    EXPECT_EQ(lines.output, "");
}

TEST(ThreadTest, TheKernelRefusesARealtimePriorityOfZero) {
    const sched_param parameters{};
    EXPECT_EQ(pthread_setschedparam(pthread_self(), SCHED_FIFO, &parameters), EINVAL);
}

TEST(ThreadTest, EachStepHasItsPolicyAndItsRealtimePriority) {
    const struct {
        int32_t step;
        int policy;
        int32_t realtimePriority;
    } rows[] = {{0, SCHED_FIFO, 10}, {1, SCHED_FIFO, 9},  {2, SCHED_OTHER, 0}, {3, SCHED_OTHER, 0},
                {4, SCHED_OTHER, 0}, {5, SCHED_OTHER, 0}, {6, SCHED_OTHER, 0}, {7, SCHED_IDLE, 0}};
    for (const auto& row : rows) {
        const ThreadScheduling scheduling = schedulingFor(row.step, 40, 10);
        EXPECT_EQ(scheduling.policy, row.policy) << "step " << row.step;
        EXPECT_EQ(scheduling.realtimePriority, row.realtimePriority) << "step " << row.step;
    }
}

TEST(ThreadTest, DivisionsOfTheTableTruncateTowardZero) {
    // A limit of 30 is a span of 29: 145 / 6 = 24, 116 / 6 = 19, 29 / 2 = 14, 29 / 3 = 9, 29 / 6 = 4.
    const struct {
        int32_t step;
        int32_t niceness;
    } rows[] = {{0, -10}, {1, -10}, {2, -5}, {3, 0}, {4, 5}, {5, 10}, {6, 15}, {7, 19}};
    for (const auto& row : rows)
        EXPECT_EQ(schedulingFor(row.step, 30, 0).niceness, row.niceness) << "step " << row.step;
    // A span of 1: nothing but the ends.
    for (int32_t step = 2; step <= 7; ++step)
        EXPECT_EQ(schedulingFor(step, 2, 0).niceness, 19) << "step " << step;
}

TEST(ThreadTest, AnUnlimitedRealtimeLimitReadsAsMinusOne) {
    EXPECT_EQ(schedulingFor(0, 40, RLIM_INFINITY).realtimePriority, -1);
    EXPECT_EQ(schedulingFor(1, 40, RLIM_INFINITY).realtimePriority, -2);

    ReplacedScheduling replaced(40, RLIM_INFINITY);
    replaced.policyAnswer = EINVAL;
    const Lines lines = linesOfThread(1);
    ASSERT_EQ(replaced.policyCalls.size(), 1u);
    EXPECT_EQ(replaced.policyCalls[0].realtimePriority, -2);
    ASSERT_EQ(replaced.nicenessCalls.size(), 1u);
    EXPECT_EQ(replaced.nicenessCalls[0].niceness, -20);
    EXPECT_EQ(lines.error, "Error setting realtime priority for thread to -2\n");
}

TEST(ThreadTest, AnUnlimitedNiceLimitReadsAsMinusOneToo) {
    const ThreadScheduling scheduling = schedulingFor(4, RLIM_INFINITY, 0);
    EXPECT_EQ(scheduling.minNiceness, 21);
    EXPECT_EQ(scheduling.maxNiceness, 21);
}

TEST(ThreadTest, TheNicenessIsSetOnlyWhereTheLimitLeavesAChoice) {
    {
        const ReplacedScheduling replaced(1, 0);
        runThread(4); // from 19 to 19
        EXPECT_TRUE(replaced.nicenessCalls.empty());
    }
    const ReplacedScheduling replaced(2, 0);
    runThread(4);
    EXPECT_EQ(replaced.nicenessCalls.size(), 1u);
}

TEST(ThreadTest, AThreadSetsItsOwnNicenessByItsKernelId) {
    const ReplacedScheduling replaced(40, 0);
    pid_t kernelThreadId = 0;
    runThread(5, &kernelThreadId);
    ASSERT_EQ(replaced.nicenessCalls.size(), 1u);
    EXPECT_EQ(replaced.nicenessCalls[0].which, PRIO_PROCESS);
    EXPECT_EQ(replaced.nicenessCalls[0].threadId, static_cast<id_t>(kernelThreadId));
    EXPECT_NE(kernelThreadId, getpid());
    EXPECT_EQ(replaced.nicenessCalls[0].niceness, 6);
}

TEST(ThreadTest, LimitsAreReadAfreshAndThenTheNicenessComesBeforeThePolicy) {
    const ReplacedScheduling replaced(40, 0);
    runThread(4);
    runThread(4);
    EXPECT_EQ(std::string(replaced.order.begin(), replaced.order.end()), "nrNPnrNP");
}

TEST(ThreadTest, ARealtimePriorityThatIsGrantedIsToldOnTheStandardOutput) {
    const ReplacedScheduling replaced(40, 50);
    const Lines lines = linesOfThread(1);
    EXPECT_EQ(lines.output, "Successfully set thread realtime priority to 19\n");
    EXPECT_EQ(lines.error, "");
}

TEST(ThreadTest, AnotherPolicyThatIsGrantedIsSilent) {
    const ReplacedScheduling replaced(40, 50);
    for (int32_t step = 2; step <= 7; ++step) {
        const Lines lines = linesOfThread(step);
        EXPECT_EQ(lines.output, "") << "step " << step;
        EXPECT_EQ(lines.error, "") << "step " << step;
    }
}

TEST(ThreadTest, AnotherPolicyThatIsRefusedIsToldOnTheStandardError) {
    ReplacedScheduling replaced(0, 0);
    replaced.policyAnswer = EPERM;
    const Lines lines = linesOfThread(7);
    EXPECT_EQ(lines.error, "Error adjusting priority of thread to 0\n");
    EXPECT_EQ(lines.output, "");
    ASSERT_EQ(replaced.policyCalls.size(), 1u);
    EXPECT_EQ(replaced.policyCalls[0].policy, SCHED_IDLE);
}

// The answer is looked at and not errno, so a real failure always reads "EPERM": logs are searched for it.
TEST(ThreadTest, ANicenessThatIsRefusedReadsEpermWhateverErrnoSays) {
    ReplacedScheduling replaced(40, 50);
    replaced.nicenessAnswer = -1;
    const Lines lines = linesOfThread(1);
    EXPECT_EQ(lines.error, "Error setting niceness for thread to -20 (error = EPERM, min = -20, max = 19)\n");
    // And the thread went on.
    EXPECT_EQ(lines.output, "Successfully set thread realtime priority to 19\n");
}

TEST(ThreadTest, TheOtherWordIsForAnAnswerOf13) {
    ReplacedScheduling replaced(30, 50);
    replaced.nicenessAnswer = 13;
    EXPECT_EQ(linesOfThread(6).error,
              "Error setting niceness for thread to 15 (error = EACESS, min = -10, max = 19)\n");
}

TEST(ThreadTest, AThreadThatGetsNoPriorityRunsAllTheSame) {
    ReplacedScheduling replaced(40, 50);
    replaced.nicenessAnswer = -1;
    replaced.policyAnswer = EPERM;
    const CapturedOutput error(STDERR_FILENO);
    std::atomic<bool> ran{false};
    TestThread thread("test", 0);
    thread.body = [&] { ran = true; };
    thread.start();
    thread.join();
    EXPECT_TRUE(ran);
    EXPECT_EQ(error.text(), "Error setting niceness for thread to -20 (error = EPERM, min = -20, max = 19)\n"
                            "Error setting realtime priority for thread to 20\n");
}

TEST(ThreadTest, AStepAboveTheTableIsAFailedAssertionAndRunsUnderTheOrdinaryScheduler) {
    const CapturedOutput captured(STDERR_FILENO);
    const ThreadScheduling scheduling = schedulingFor(8, 40, 50);
    const std::string report = captured.text();
    EXPECT_EQ(scheduling.policy, SCHED_OTHER);
    EXPECT_NE(report.find("Condition: false\nUnsupported operation: Unsupported thread priority\n"),
              std::string::npos)
        << report;
}

TEST(ThreadTest, ASubclassMayReplaceWhatAThreadDoesAtItsStart) {
    class Unprioritised : public TestThread {
    public:
        using TestThread::TestThread;
        ~Unprioritised() override { join(); }

    protected:
        void onThreadStart() override {}
    };
    const ReplacedScheduling replaced(40, 50);
    Unprioritised thread("test");
    thread.start();
    thread.join();
    EXPECT_TRUE(replaced.order.empty());
}

TEST(ThreadTest, TheDefaultStepIsTheFourth) {
    EXPECT_EQ(Thread::defaultPriority, 4);
    const ReplacedScheduling replaced(40, 50);
    class Plain : public Thread {
    public:
        Plain() : Thread("plain") {}
        ~Plain() override { join(); }

    protected:
        void run() override {}
    } thread;
    thread.start();
    thread.join();
    ASSERT_EQ(replaced.nicenessCalls.size(), 1u);
    EXPECT_EQ(replaced.nicenessCalls[0].niceness, 0);
}

} // namespace
