// Where the log of a thread goes. If these fail, lines of the library for applications reach the standard
// streams of an application that wanted them elsewhere, or those of one session another's log.

#include "core/Log.h"
#include "core/Thread.h"
#include "support/CapturedOutput.h"

#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace base::core;
using test_support::CapturedOutput;

namespace {

class RecordingReceiver : public LogReceiver {
public:
    void receive(LogLevel level, std::string_view text) noexcept override {
        const std::lock_guard lock(mutex);
        lines.push_back((level == LogLevel::error ? "error: " : "progress: ") + std::string(text));
    }
    std::vector<std::string> getLines() const {
        const std::lock_guard lock(mutex);
        return lines;
    }

private:
    mutable std::mutex mutex;
    std::vector<std::string> lines;
};

class LoggingThread : public Thread {
public:
    LoggingThread() : Thread("logs") {}
    ~LoggingThread() override { join(); }

protected:
    void run() override { logError("from the thread"); }
};

using Lines = std::vector<std::string>;

} // namespace

TEST(LogReceiver, GetsTheLinesOfItsThreadInThePlaceOfBothStreams) {
    const CapturedOutput out(STDOUT_FILENO);
    const CapturedOutput err(STDERR_FILENO);
    const Ref<RecordingReceiver> receiver(new RecordingReceiver);
    {
        const ScopedLogReceiver scope(receiver.get());
        logError("lost ", 3);
        logProgress("half-way");
        writeLogText(LogLevel::progress, "a part");
        writeLostLogLine(LogLevel::error);
    }
    EXPECT_EQ(receiver->getLines(), (Lines{"error: lost 3", "progress: half-way", "progress: a part",
                                           "error: A line of the log is lost for want of memory"}));
    EXPECT_EQ(out.text(), "");
    EXPECT_EQ(err.text(), "");
}

TEST(LogReceiver, GetsNothingBehindItsScope) {
    const CapturedOutput err(STDERR_FILENO);
    const Ref<RecordingReceiver> receiver(new RecordingReceiver);
    { const ScopedLogReceiver scope(receiver.get()); }
    logError("elsewhere");
    EXPECT_EQ(receiver->getLines(), Lines{});
    EXPECT_EQ(err.text(), "elsewhere\n");
}

TEST(LogReceiver, OfAnOuterScopeComesBack) {
    const Ref<RecordingReceiver> outer(new RecordingReceiver);
    const Ref<RecordingReceiver> inner(new RecordingReceiver);
    const ScopedLogReceiver scope(outer.get());
    {
        const ScopedLogReceiver innerScope(inner.get());
        logError("in");
    }
    logError("out");
    EXPECT_EQ(inner->getLines(), Lines{"error: in"});
    EXPECT_EQ(outer->getLines(), Lines{"error: out"});
}

TEST(LogReceiver, IsTakenOverByAThreadThatItsThreadStarts) {
    const Ref<RecordingReceiver> receiver(new RecordingReceiver);
    Ref<LoggingThread> thread(new LoggingThread);
    {
        const ScopedLogReceiver scope(receiver.get());
        thread->start();
    }
    thread->join();
    EXPECT_EQ(receiver->getLines().back(), "error: from the thread");
}

TEST(LogReceiver, OfOneThreadGetsNothingOfAnother) {
    const CapturedOutput err(STDERR_FILENO);
    const Ref<RecordingReceiver> receiver(new RecordingReceiver);
    const ScopedLogReceiver scope(receiver.get());
    std::thread([] { logError("the other's"); }).join();
    EXPECT_EQ(receiver->getLines(), Lines{});
    EXPECT_EQ(err.text(), "the other's\n");
}
