// The streams of pipes. If these fail, a byte is kept back or lost, a closed pipe is read or written by
// mistake, or a client hangs in a read that nothing ends.

#include "core/NamedPipe.h"

#include "NamedPipeTest.h"
#include "support/FailureText.h"

#include "core/Exception.h"
#include "support/Eventually.h"
#include "support/SleepingThread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

using namespace base::core;
using namespace core_tests;
using namespace test_support;

namespace {

/// Ignores SIGPIPE for a scope.
class IgnoredBrokenPipes {
public:
    IgnoredBrokenPipes() : former(signal(SIGPIPE, SIG_IGN)) {}
    ~IgnoredBrokenPipes() { signal(SIGPIPE, former); }
    IgnoredBrokenPipes(const IgnoredBrokenPipes&) = delete;
    IgnoredBrokenPipes& operator=(const IgnoredBrokenPipes&) = delete;

private:
    sighandler_t former;
};

TEST_F(NamedPipeTest, AWriterThatDoesNotFlushLeavesTheReaderBlocked) {
    const Ref<NamedServerPipe> server = NamedServerPipe::create("x", false);
    const int reader = open(path("x-from-client").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    const Ref<NamedPipe> pipe = NamedPipe::open("x", false);
    const std::string data(1023, 'a');
    pipe->getOutput()->write(data.data(), data.size());
    char buffer[2048];
    errno = 0;
    EXPECT_EQ(read(reader, buffer, sizeof buffer), -1);
    EXPECT_EQ(errno, EAGAIN);
    pipe->getOutput()->flush();
    EXPECT_EQ(read(reader, buffer, sizeof buffer), 1023);
    close(reader);
}

TEST_F(NamedPipeTest, AWriterThatIsGoneIsTheEndOfTheStream) {
    Ends ends = connect("x", false);
    ends.opener = nullptr;
    EXPECT_EQ(readOnce(*ends.creator->getInput(), 4), "");
    EXPECT_EQ(failureText<EOSException>([&] { ends.creator->getInput()->readInt32(); }), "End of stream");
}

TEST_F(NamedPipeTest, AReadTakesWhatIsThereInOneCall) {
    const Ends ends = connect("x", false);
    ends.opener->getOutput()->writeText("abc");
    ends.opener->getOutput()->flush();
    EXPECT_EQ(readOnce(*ends.creator->getInput(), 100), "abc");
}

TEST_F(NamedPipeTest, AWriteLargerThanThePipeGoesOutWhole) {
    const Ends ends = connect("x", false);
    std::string data(300000, '\0');
    for (size_t i = 0; i < data.size(); ++i)
        data[i] = static_cast<char>(i * 31);
    std::thread writer([&] {
        ends.opener->getOutput()->write(data.data(), data.size());
        ends.opener->getOutput()->flush();
    });
    std::string read(data.size(), '\0');
    ends.creator->getInput()->readFully(read.data(), read.size());
    writer.join();
    EXPECT_EQ(read, data);
}

TEST_F(NamedPipeTest, AWriteThatASignalCutsShortGoesOnWhereItWasCut) {
    static std::atomic<int> interruptions{0};
    struct sigaction interrupting {};
    struct sigaction former {};
    interrupting.sa_handler = [](int) { ++interruptions; };
    sigaction(SIGUSR1, &interrupting, &former);
    const Ends ends = connect("x", false);
    std::string data(300000, '\0');
    for (size_t i = 0; i < data.size(); ++i)
        data[i] = static_cast<char>(i * 31 + i / 4096);
    std::atomic<pid_t> threadId{0};
    std::thread writer([&] {
        threadId = currentThreadId();
        EXPECT_NO_THROW(ends.opener->getOutput()->write(data.data(), data.size()));
        ends.opener->getOutput()->close();
    });
    // The pipe is full then, and the write has taken a part.
    EXPECT_TRUE(eventually([&] { return threadId != 0 && isAsleep(threadId); }));
    pthread_kill(writer.native_handle(), SIGUSR1);
    EXPECT_TRUE(eventually([&] { return interruptions > 0; }));
    std::string read;
    for (std::string piece; !(piece = readOnce(*ends.creator->getInput(), 4096)).empty();)
        read += piece;
    writer.join();
    sigaction(SIGUSR1, &former, nullptr);
    EXPECT_EQ(read.size(), data.size());
    EXPECT_TRUE(read == data);
}

TEST_F(NamedPipeTest, AReadThatTheSystemRefusesIsAFailure) {
    const Ref<InputStream> stream(new NamedPipeInputStream(open("/dev/null", O_WRONLY | O_CLOEXEC)));
    EXPECT_EQ(failureText<IOException>([&] { readOnce(*stream, 1); }),
              "Error reading from named pipe: Bad file descriptor");
}

TEST_F(NamedPipeTest, AWriteToAReaderThatIsGoneIsAFailureWhereTheSignalIsIgnored) {
    const IgnoredBrokenPipes ignored;
    Ends ends = connect("x", false);
    ends.creator->getInput()->close();
    ends.opener->getOutput()->writeByte(1);
    EXPECT_EQ(failureText<IOException>([&] { ends.opener->getOutput()->flush(); }),
              "Error writing to named pipe: Broken pipe");
}

TEST_F(NamedPipeTest, AWriteToAReaderThatIsGoneEndsTheProcessByTheSignalOtherwise) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    close(ends[0]);
    EXPECT_EXIT(
        {
            signal(SIGPIPE, SIG_DFL);
            const Ref<OutputStream> stream(new NamedPipeOutputStream(ends[1]));
            stream->writeByte(1);
        },
        testing::KilledBySignal(SIGPIPE), "");
    close(ends[1]);
}

TEST_F(NamedPipeTest, ASecondCloseThrowsOnBothKindsOfStream) {
    const Ends ends = connect("x", true);
    ends.creator->getInput()->close();
    EXPECT_EQ(failureText<IOException>([&] { ends.creator->getInput()->close(); }),
              "Could not close named pipe: Bad file descriptor");
    ends.opener->getOutput()->close();
    EXPECT_EQ(failureText<IOException>([&] { ends.opener->getOutput()->close(); }),
              "Could not close named pipe: Bad file descriptor");
}

TEST_F(NamedPipeTest, AClosedStreamNeverTouchesAReusedDescriptor) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    Ref<InputStream> input(new NamedPipeInputStream(ends[0]));
    input->close();
    const int reused = open("/dev/zero", O_RDONLY | O_CLOEXEC);
    EXPECT_EQ(reused, ends[0]);
    EXPECT_EQ(failureText<IOException>([&] { readOnce(*input, 1); }),
              "Error reading from named pipe: Bad file descriptor");
    input = nullptr;
    EXPECT_GE(fcntl(reused, F_GETFD), 0);
    close(reused);
    close(ends[1]);
}

TEST_F(NamedPipeTest, WritingAfterTheCloseIsAFailure) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const Ref<OutputStream> output(new NamedPipeOutputStream(ends[1]));
    output->close();
    EXPECT_EQ(failureText<IOException>([&] { output->writeByte(1); }),
              "Error writing to named pipe: Bad file descriptor");
    close(ends[0]);
}

TEST_F(NamedPipeTest, ACloseWhoseFlushFailsStillClosesTheDescriptor) {
    const IgnoredBrokenPipes ignored;
    Ends ends = connect("x", false);
    ends.opener->getOutput()->writeText("never read");
    ends.creator->getInput()->close();
    EXPECT_EQ(descriptorsOn(path("x-from-client")).size(), 1u);
    EXPECT_EQ(failureText<IOException>([&] { ends.opener->getOutput()->close(); }),
              "Error writing to named pipe: Broken pipe");
    EXPECT_TRUE(descriptorsOn(path("x-from-client")).empty());
}

TEST_F(NamedPipeTest, NoDestructorThrows) {
    const IgnoredBrokenPipes ignored;
    {
        // The peer is gone, and there is something left to flush.
        Ends ends = connect("a", true);
        ends.opener->getOutput()->writeText("never read");
        ends.creator->getInput()->close();
        ends.creator->getOutput()->writeText("never read");
        ends.opener->getInput()->close();
        ends.opener = nullptr;
        ends.creator = nullptr;
        ends.server = nullptr;
    }
    {
        // Everything was closed by hand.
        Ends ends = connect("b", true);
        for (const Ref<NamedPipe>& pipe : {ends.creator, ends.opener}) {
            pipe->getInput()->close();
            pipe->getOutput()->close();
        }
        ends.opener = nullptr;
        ends.creator = nullptr;
        ends.server = nullptr;
    }
    {
        // The directory went first.
        const Ref<NamedServerPipe> server = NamedServerPipe::create("c", true);
        std::filesystem::remove_all(directory);
    }
}

/// A reader on a thread of its own that keeps what its one read came to.
class BlockedReader {
public:
    explicit BlockedReader(const Ref<InputStream>& stream)
        : thread([this, stream] {
              threadId = currentThreadId();
              try {
                  char byte = 0;
                  const size_t count = stream->read(&byte, 1);
                  result = "delivered " + std::to_string(count);
              } catch (const IOException& exception) {
                  result = exception.getMessage().toStdString();
              }
              ended = true;
          }) {}
    ~BlockedReader() {
        if (thread.joinable())
            thread.join();
    }

    bool isInsideTheRead() const { return threadId != 0 && isAsleep(threadId); }
    bool hasEnded() const { return ended; }
    const std::string& join() {
        thread.join();
        return result;
    }

private:
    std::atomic<pid_t> threadId{0};
    std::atomic<bool> ended{false};
    std::string result;
    std::thread thread;
};

TEST_F(NamedPipeTest, ClosingFromAnotherThreadWakesABlockedReadEachTime) {
    constexpr int rounds = 200;
    int woken = 0;
    ASSERT_TRUE(std::filesystem::create_directories(directory));
    ASSERT_EQ(mkfifo(path("x").c_str(), 0600), 0);
    for (int round = 0; round < rounds; ++round) {
        const int reading = open(path("x").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        const int writing = open(path("x").c_str(), O_WRONLY | O_CLOEXEC);
        ASSERT_GE(writing, 0);
        fcntl(reading, F_SETFL, 0);
        const Ref<InputStream> stream(new NamedPipeInputStream(reading));
        BlockedReader reader(stream);
        // Every other time the close meets the reader wherever it is.
        if (round % 2 == 0) {
            EXPECT_TRUE(eventually([&] { return reader.isInsideTheRead(); }));
        }
        stream->close();
        const bool ended = eventually([&] { return reader.hasEnded(); });
        close(writing); // ends the read of a reader that was not woken
        ASSERT_TRUE(ended) << "the reader sleeps on, round " << round;
        woken += reader.join() == "Error reading from named pipe: Bad file descriptor" ? 1 : 0;
        EXPECT_EQ(fcntl(reading, F_GETFD), -1) << "the descriptor is still open, round " << round;
    }
    EXPECT_EQ(woken, rounds);
}

TEST_F(NamedPipeTest, ClosingTheBufferedStreamWakesABlockedReadWhileThePeerKeepsThePipeOpen) {
    const Ends ends = connect("x", true);
    BlockedReader reader(ends.opener->getInput());
    EXPECT_TRUE(eventually([&] { return reader.isInsideTheRead(); }));
    ends.opener->getInput()->close();
    const bool ended = eventually([&] { return reader.hasEnded(); });
    ends.creator->getOutput()->close(); // ends the read of a reader that was not woken
    ASSERT_TRUE(ended) << "the reader sleeps on";
    EXPECT_EQ(reader.join(), "Error reading from named pipe: Bad file descriptor");
}

TEST_F(NamedPipeTest, ACloseThatWakesAReaderLeavesNoDescriptor) {
    const Ends ends = connect("x", true);
    BlockedReader reader(ends.opener->getInput());
    EXPECT_TRUE(eventually([&] { return reader.isInsideTheRead(); }));
    ends.opener->getInput()->close();
    const bool ended = eventually([&] { return reader.hasEnded(); });
    ends.creator->getOutput()->close(); // ends the read of a reader that was not woken
    ASSERT_TRUE(ended) << "the reader sleeps on";
    reader.join();
    EXPECT_TRUE(descriptorsOn(path("x-to-client")).empty());
}

TEST_F(NamedPipeTest, ClosingWakesAReaderOfAFifoThatStillHoldsBytes) {
    // The byte that wakes must not be told from a byte that was sent: both are dropped.
    for (int round = 0; round < 50; ++round) {
        int ends[2];
        ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
        const Ref<InputStream> stream(new NamedPipeInputStream(ends[0]));
        BlockedReader reader(stream);
        ASSERT_EQ(write(ends[1], "a", 1), 1);
        stream->close();
        const std::string& result = reader.join();
        EXPECT_TRUE(result == "delivered 1" || result == "Error reading from named pipe: Bad file descriptor")
            << result;
        close(ends[1]);
    }
}

TEST_F(NamedPipeTest, AReadThatASignalInterruptsIsNotRestarted) {
    struct sigaction interrupting {};
    struct sigaction former {};
    interrupting.sa_handler = [](int) {};
    sigaction(SIGUSR1, &interrupting, &former);
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const Ref<InputStream> stream(new NamedPipeInputStream(ends[0]));
    std::atomic<pthread_t> handle{0};
    std::atomic<bool> ended{false};
    std::string result;
    std::thread reader([&] {
        handle = pthread_self();
        result = failureText<IOException>([&] { readOnce(*stream, 1); });
        ended = true;
        // Stays until the sender has seen it.
        eventually([&] { return handle == 0; }, longBound);
    });
    EXPECT_TRUE(eventually([&] {
        if (handle != 0 && !ended)
            pthread_kill(handle, SIGUSR1);
        return ended.load();
    }));
    handle = 0;
    reader.join();
    sigaction(SIGUSR1, &former, nullptr);
    EXPECT_EQ(result, "Error reading from named pipe: Interrupted system call");
    close(ends[1]);
}

} // namespace
