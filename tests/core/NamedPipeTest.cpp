// Pipes: every word between a client and its host goes through them. A pipe that blocks, leaks into a child
// or keeps a byte back is a client that hangs.

#include "core/NamedPipe.h"

#include "RecordingStreams.h"
#include "support/FailureText.h"
#include "support/ScopedEnvironment.h"

#include "core/BufferedStreams.h"
#include "core/Exception.h"
#include "core/FileSystem.h"
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
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace base::core;
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

class NamedPipeTest : public testing::Test {
protected:
    NamedPipeTest()
        : user("plugin-host-pipe-test-" + std::to_string(getpid())), environment("USER", user.c_str()),
          directory("/tmp/pipes-" + user) {}
    ~NamedPipeTest() override {
        std::error_code ignored;
        std::filesystem::remove_all(directory, ignored);
    }

    std::string path(const std::string& file) const { return directory + "/" + file; }

    /// Both ends of the pipe, opened against each other. The opener's is the second.
    struct Ends {
        Ref<NamedServerPipe> server;
        Ref<NamedPipe> creator;
        Ref<NamedPipe> opener;
    };
    static Ends connect(const char* name, bool duplex) {
        Ends ends;
        ends.server = NamedServerPipe::create(name, duplex);
        std::thread opener([&] { ends.opener = NamedPipe::open(name, duplex); });
        ends.creator = ends.server->open();
        opener.join();
        return ends;
    }

    const std::string user;
    const ScopedEnvironment environment;
    const std::string directory;
};

bool isFifo(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 && S_ISFIFO(status.st_mode);
}

/// The open descriptors of this process on a path.
std::vector<int> descriptorsOn(const std::string& path) {
    std::vector<int> descriptors;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code ignored;
        if (std::filesystem::read_symlink(entry.path(), ignored) == path)
            descriptors.push_back(std::stoi(entry.path().filename()));
    }
    return descriptors;
}

std::string readOnce(InputStream& stream, size_t size) {
    std::string text(size, '\0');
    text.resize(stream.read(text.data(), size));
    return text;
}

constexpr uid_t stranger = 65534;

/// Whether a file can be made another user's here, which takes root; says so where not.
bool haveASecondUser() {
    const bool root = geteuid() == 0;
    if (!root)
        std::printf("not run: not root here, so there is no second user\n");
    return root;
}

void giveAway(const std::string& file) {
    EXPECT_EQ(lchown(file.c_str(), stranger, stranger), 0) << file;
}

TEST_F(NamedPipeTest, WithoutAUserTheDirectoryHasNoUserName) {
    const ScopedEnvironment unset("USER", nullptr);
    EXPECT_EQ(namedPipePath("x", true).toStdString(), "/tmp/pipes-/x-to-client");
    EXPECT_EQ(namedPipePath("x", false).toStdString(), "/tmp/pipes-/x-from-client");
}

TEST_F(NamedPipeTest, ThePathHoldsTheUserTheNameAndTheDirection) {
    const ScopedEnvironment alice("USER", "alice");
    EXPECT_EQ(namedPipePath("main", true).toStdString(), "/tmp/pipes-alice/main-to-client");
    EXPECT_EQ(namedPipePath("some/engine/7/worker0", false).toStdString(),
              "/tmp/pipes-alice/some/engine/7/worker0-from-client");
    EXPECT_EQ(namedPipePath("", true).toStdString(), "/tmp/pipes-alice/-to-client");
}

TEST_F(NamedPipeTest, CreatingOverAStaleFifoReplacesIt) {
    std::filesystem::create_directories(directory);
    ASSERT_EQ(mkfifo(path("x-from-client").c_str(), 0600), 0);
    // An open descriptor keeps the old file's number from being used again.
    const int stale = open(path("x-from-client").c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_GE(stale, 0);
    const Ref<NamedServerPipe> pipe = NamedServerPipe::create("x", false);
    struct stat before {};
    struct stat after {};
    fstat(stale, &before);
    EXPECT_EQ(stat(path("x-from-client").c_str(), &after), 0);
    EXPECT_NE(before.st_ino, after.st_ino);
    EXPECT_EQ(before.st_nlink, 0u);
    EXPECT_TRUE(S_ISFIFO(after.st_mode));
    close(stale);
}

TEST_F(NamedPipeTest, CreatingOverAnotherFileReplacesIt) {
    std::filesystem::create_directories(directory);
    std::ofstream(path("x-to-client")) << "in the way";
    const Ref<NamedServerPipe> pipe = NamedServerPipe::create("x", true);
    EXPECT_TRUE(isFifo(path("x-to-client")));
}

TEST_F(NamedPipeTest, APipeThatIsNotDuplexHasOneDirectionOnly) {
    const Ends ends = connect("x", false);
    EXPECT_FALSE(std::filesystem::exists(path("x-to-client")));
    EXPECT_TRUE(isFifo(path("x-from-client")));
    EXPECT_FALSE(ends.creator->getOutput());
    EXPECT_FALSE(ends.opener->getInput());
    EXPECT_EQ(descriptorsOn(path("x-from-client")).size(), 2u);
    ends.opener->getOutput()->writeLine("one way", UTF8Encoding::instance);
    EXPECT_EQ(ends.creator->getInput()->readLine().toStdString(), "one way");
}

TEST_F(NamedPipeTest, AfterTheCreatorIsGoneTheFilesAreGoneAndTheDirectoryStays) {
    Ref<NamedServerPipe> pipe = NamedServerPipe::create("x", true);
    EXPECT_TRUE(isFifo(path("x-to-client")));
    EXPECT_TRUE(isFifo(path("x-from-client")));
    pipe = nullptr;
    EXPECT_FALSE(std::filesystem::exists(path("x-to-client")));
    EXPECT_FALSE(std::filesystem::exists(path("x-from-client")));
    EXPECT_TRUE(std::filesystem::is_directory(directory));
}

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

TEST_F(NamedPipeTest, TheCreatorGoneTakesBothFilesEvenIfItMadeOnlyOne) {
    Ref<NamedServerPipe> pipe = NamedServerPipe::create("x", false);
    ASSERT_EQ(mkfifo(path("x-to-client").c_str(), 0600), 0);
    pipe = nullptr;
    EXPECT_FALSE(std::filesystem::exists(path("x-to-client")));
}

TEST_F(NamedPipeTest, TheFifosAreForTheUserAlone) {
    const mode_t former = umask(0);
    const Ref<NamedServerPipe> pipe = NamedServerPipe::create("x", true);
    umask(former);
    for (const char* file : {"x-to-client", "x-from-client"}) {
        struct stat status {};
        ASSERT_EQ(stat(path(file).c_str(), &status), 0);
        EXPECT_EQ(status.st_mode, static_cast<mode_t>(0x1180)) << file;
    }
}

TEST_F(NamedPipeTest, ANameMayLieInDirectoriesThatAreMadeWithIt) {
    const Ref<NamedServerPipe> pipe = NamedServerPipe::create("some/engine/7/main", false);
    EXPECT_TRUE(isFifo(path("some/engine/7/main-from-client")));
}

TEST_F(NamedPipeTest, AMissingDirectoryThatCannotBeMadeIsAFailureWithItsReason) {
    std::filesystem::create_directories(directory);
    std::ofstream(path("file")) << "in the way";
    EXPECT_EQ(failureText<IOException>([] { NamedServerPipe::create("file/x", false); }),
              "Could not create directory structure for named pipe: Could not create directory " +
                  path("file") + ": File exists");
}

TEST_F(NamedPipeTest, AFifoThatCannotBeMadeIsAFailureThatNamesIt) {
    std::filesystem::create_directories(path("x-from-client"));
    EXPECT_EQ(failureText<IOException>([] { NamedServerPipe::create("x", false); }),
              "Could not create named pipe \"" + path("x-from-client") + "\": File exists");
}

TEST_F(NamedPipeTest, OpeningWhatIsNotThereKeepsTheReasonOfTheOpen) {
    EXPECT_EQ(failureText<IOException>([] { NamedPipe::open("x", true); }),
              "Could not open named pipe \"" + path("x-to-client") + "\": No such file or directory");
    EXPECT_EQ(failureText<IOException>([] { NamedPipe::open("x", false); }),
              "Could not open named pipe \"" + path("x-from-client") + "\": No such file or directory");
}

TEST_F(NamedPipeTest, BothDirectionsOfADuplexPipeCarryValues) {
    const Ends ends = connect("x", true);
    ends.creator->getOutput()->writeString("\xC3\xA9");
    ends.creator->getOutput()->flush();
    EXPECT_EQ(ends.opener->getInput()->readString().toStdString(), "\xC3\xA9");
    ends.opener->getOutput()->writeInt32(-5);
    ends.opener->getOutput()->flush();
    EXPECT_EQ(ends.creator->getInput()->readInt32(), -5);
    EXPECT_EQ(ends.opener->getName().toStdString(), "x");
    EXPECT_TRUE(ends.server->getPipe() == ends.creator);
    EXPECT_EQ(&ends.opener->getInput()->getTextEncoding(), &UTF8Encoding::instance);
    EXPECT_EQ(&ends.opener->getOutput()->getTextEncoding(), &UTF8Encoding::instance);
}

TEST_F(NamedPipeTest, BothSidesOpenTheDirectionToTheClientFirst) {
    const Ref<NamedServerPipe> server = NamedServerPipe::create("x", true);
    std::atomic<bool> opened{false};
    std::atomic<pid_t> creatorId{0};
    std::thread creator([&] {
        creatorId = currentThreadId();
        server->open();
        opened = true;
    });
    // This open returns only because the creator opens the same direction.
    const int toClient = open(path("x-to-client").c_str(), O_RDONLY | O_CLOEXEC);
    EXPECT_GE(toClient, 0);
    EXPECT_TRUE(eventually([&] { return isAsleep(creatorId); }));
    EXPECT_FALSE(opened);
    const int fromClient = open(path("x-from-client").c_str(), O_WRONLY | O_CLOEXEC);
    EXPECT_GE(fromClient, 0);
    creator.join();
    EXPECT_TRUE(opened);
    close(toClient);
    close(fromClient);
}

TEST_F(NamedPipeTest, OpeningAgainReplacesThePipeOfTheCreator) {
    const Ref<NamedServerPipe> server = NamedServerPipe::create("x", false);
    for (int round = 0; round < 2; ++round) {
        Ref<NamedPipe> opened;
        std::thread opener([&] { opened = NamedPipe::open("x", false); });
        const Ref<NamedPipe> pipe = server->open();
        opener.join();
        EXPECT_TRUE(server->getPipe() == pipe);
        opened->getOutput()->writeBigEndianInt32(7);
        opened->getOutput()->flush();
        EXPECT_EQ(pipe->getInput()->readInt32(), 7);
    }
    // The pipe of the first round is closed, that of the second is open.
    EXPECT_EQ(descriptorsOn(path("x-from-client")).size(), 1u);
}

TEST_F(NamedPipeTest, NoDescriptorIsInheritedByAChild) {
    const Ends ends = connect("x", true);
    int seen = 0;
    for (const char* file : {"x-to-client", "x-from-client"})
        for (const int descriptor : descriptorsOn(path(file))) {
            EXPECT_NE(fcntl(descriptor, F_GETFD) & FD_CLOEXEC, 0) << file;
            ++seen;
        }
    EXPECT_EQ(seen, 4);
}

TEST_F(NamedPipeTest, ThePipeGoneFlushesItsOutputAndClosesItsDescriptors) {
    Ends ends = connect("x", true);
    ends.opener->getOutput()->writeInt32(42);
    ends.opener = nullptr;
    EXPECT_EQ(ends.creator->getInput()->readInt32(), 42);
    EXPECT_EQ(readOnce(*ends.creator->getInput(), 4), "");
    EXPECT_EQ(descriptorsOn(path("x-to-client")).size(), 1u);
    ends.creator = nullptr;
    ends.server = nullptr;
    EXPECT_TRUE(descriptorsOn(path("x-to-client") + " (deleted)").empty());
    EXPECT_TRUE(descriptorsOn(path("x-from-client") + " (deleted)").empty());
}

TEST_F(NamedPipeTest, ThePipeGoneClosesItsInputEvenIfAnotherKeepsIt) {
    Ends ends = connect("x", true);
    const Ref<InputStream> input = ends.opener->getInput();
    ends.opener = nullptr;
    ASSERT_EQ(descriptorsOn(path("x-to-client")).size(), 1u) << "the input is open";
    EXPECT_EQ(failureText<IOException>([&] { readOnce(*input, 1); }),
              "Error reading from named pipe: Bad file descriptor");
}

TEST_F(NamedPipeTest, TheCreatorGoneClosesThePipeThatItKeeps) {
    Ends ends = connect("x", true);
    ends.server = nullptr;
    // The pipe itself lives on, closed.
    EXPECT_EQ(readOnce(*ends.opener->getInput(), 4), "");
    EXPECT_EQ(failureText<IOException>([&] { ends.creator->getInput()->close(); }),
              "Could not close named pipe: Bad file descriptor");
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

TEST_F(NamedPipeTest, ADirectoryThatAnotherUserMadeFirstIsRefusedByBothSides) {
    if (!haveASecondUser())
        return;
    const Ref<NamedServerPipe> pipe = NamedServerPipe::create("x", true);
    giveAway(directory);
    const std::string reason = ": \"" + directory + "\" belongs to another user";
    EXPECT_EQ(failureText<IOException>([] { NamedServerPipe::create("y", true); }),
              "Could not create named pipe \"" + path("y-to-client") + "\"" + reason);
    EXPECT_EQ(failureText<IOException>([] { NamedServerPipe::create("y", false); }),
              "Could not create named pipe \"" + path("y-from-client") + "\"" + reason);
    EXPECT_EQ(failureText<IOException>([] { NamedPipe::open("x", true); }),
              "Could not open named pipe \"" + path("x-to-client") + "\"" + reason);
    EXPECT_EQ(failureText<IOException>([&] { pipe->open(); }),
              "Could not open named pipe \"" + path("x-to-client") + "\"" + reason);
    EXPECT_FALSE(std::filesystem::exists(path("y-to-client")));
    EXPECT_FALSE(std::filesystem::exists(path("y-from-client")));
}

TEST_F(NamedPipeTest, TheDirectoryThatARealSecondUserMadeFirstIsRefused) {
    if (!haveASecondUser())
        return;
    const pid_t other = fork();
    if (other == 0) {
        const bool made = setresuid(stranger, stranger, stranger) == 0 &&
                          mkdir(directory.c_str(), 0777) == 0 && chmod(directory.c_str(), 0777) == 0 &&
                          mkfifo(path("x-from-client").c_str(), 0666) == 0;
        _exit(made ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(other, &status, 0), other);
    ASSERT_EQ(status, 0);
    EXPECT_EQ(failureText<IOException>([] { NamedPipe::open("x", false); }),
              "Could not open named pipe \"" + path("x-from-client") + "\": \"" + directory +
                  "\" belongs to another user");
    // Nothing is made in there, and nothing taken away.
    EXPECT_THROW(NamedServerPipe::create("some/x", false), IOException);
    EXPECT_FALSE(std::filesystem::exists(path("some")));
    EXPECT_THROW(NamedServerPipe::create("x", false), IOException);
    EXPECT_TRUE(isFifo(path("x-from-client")));
}

TEST_F(NamedPipeTest, AUserWithoutPrivilegesUsesADirectoryOfHisOwnAndOfRoots) {
    if (!haveASecondUser())
        return;
    std::filesystem::create_directories(directory);
    std::filesystem::permissions(directory, std::filesystem::perms(01777));
    EXPECT_EXIT(
        {
            const bool changed = setresuid(stranger, stranger, stranger) == 0;
            const Ref<NamedServerPipe> server = NamedServerPipe::create("own/x", false);
            Ref<NamedPipe> opened;
            std::thread opener([&] { opened = NamedPipe::open("own/x", false); });
            server->open();
            opener.join();
            _exit(changed && opened ? 0 : 1);
        },
        testing::ExitedWithCode(0), "^$");
}

TEST_F(NamedPipeTest, AForeignDirectoryFurtherDownIsRefused) {
    if (!haveASecondUser())
        return;
    const Ref<NamedServerPipe> pipe = NamedServerPipe::create("some/engine/x", false);
    giveAway(path("some"));
    EXPECT_EQ(failureText<IOException>([] { NamedPipe::open("some/engine/x", false); }),
              "Could not open named pipe \"" + path("some/engine/x-from-client") + "\": \"" + path("some") +
                  "\" belongs to another user");
}

TEST_F(NamedPipeTest, ALinkOnTheWayIsFollowedIfItAndItsTargetAreTrusted) {
    std::filesystem::create_directories(path("real"));
    std::filesystem::create_directory_symlink(path("real"), path("link"));
    const Ref<NamedServerPipe> pipe = NamedServerPipe::create("link/x", false);
    EXPECT_TRUE(isFifo(path("real/x-from-client")));
    if (!haveASecondUser())
        return;
    const std::string start = "Could not open named pipe \"" + path("link/x-from-client") + "\": \"";
    giveAway(path("real"));
    EXPECT_EQ(failureText<IOException>([] { NamedPipe::open("link/x", false); }),
              start + path("link") + "\" belongs to another user");
    EXPECT_EQ(lchown(path("real").c_str(), 0, 0), 0);
    giveAway(path("link"));
    EXPECT_EQ(failureText<IOException>([] { NamedPipe::open("link/x", false); }),
              start + path("link") + "\" belongs to another user");
}

TEST_F(NamedPipeTest, AFifoOfAnotherUserIsRefusedBeforeItIsOpened) {
    if (!haveASecondUser())
        return;
    const Ref<NamedServerPipe> pipe = NamedServerPipe::create("x", true);
    giveAway(path("x-to-client"));
    giveAway(path("x-from-client"));
    // An open would block for ever: there is no other side.
    EXPECT_EQ(failureText<IOException>([] { NamedPipe::open("x", true); }),
              "Could not open named pipe \"" + path("x-to-client") + "\": it belongs to another user");
    EXPECT_EQ(failureText<IOException>([] { NamedPipe::open("x", false); }),
              "Could not open named pipe \"" + path("x-from-client") + "\": it belongs to another user");
    EXPECT_EQ(failureText<IOException>([&] { pipe->open(); }),
              "Could not open named pipe \"" + path("x-to-client") + "\": it belongs to another user");
}

TEST_F(NamedPipeTest, WhatIsNoFifoIsRefused) {
    const Ref<NamedServerPipe> pipe = NamedServerPipe::create("x", false);
    std::ofstream(path("y-from-client")) << "a file";
    std::filesystem::create_symlink(path("x-from-client"), path("z-from-client"));
    for (const char* name : {"y", "z"})
        EXPECT_EQ(failureText<IOException>([&] { NamedPipe::open(name, false); }),
                  "Could not open named pipe \"" + path(std::string(name) + "-from-client") +
                      "\": it is no named pipe");
}

/// Runs in a program of its own, since a line is logged once in a process.
class WritableDirectoriesTest : public NamedPipeTest {
protected:
    WritableDirectoriesTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
    ~WritableDirectoriesTest() override { GTEST_FLAG_SET(death_test_style, "fast"); }

    void makeDirectory(mode_t mode) const {
        std::filesystem::create_directories(directory);
        EXPECT_EQ(chmod(directory.c_str(), mode), 0);
    }
    [[noreturn]] void createPipes() const {
        for (const char* name : {"a", "b"})
            NamedServerPipe::create(name, true);
        // The program has a directory of its own, and doesn't get to the destructor.
        std::filesystem::remove_all(directory);
        _exit(0);
    }
};

TEST_F(WritableDirectoriesTest, ADirectoryThatTheGroupMayWriteToIsLoggedOnceInAProcess) {
    EXPECT_EXIT((makeDirectory(0770), createPipes()), testing::ExitedWithCode(0),
                "^Warning: other users may write to the directory \"[^\"\n]*\"\n$");
}

TEST_F(WritableDirectoriesTest, ADirectoryThatOthersMayWriteToIsLoggedOnceInAProcess) {
    EXPECT_EXIT((makeDirectory(0702), createPipes()), testing::ExitedWithCode(0),
                "^Warning: other users may write to the directory \"[^\"\n]*\"\n$");
}

TEST_F(WritableDirectoriesTest, ADirectoryWithTheStickyBitOrForTheUserAloneIsNot) {
    EXPECT_EXIT((makeDirectory(01777), createPipes()), testing::ExitedWithCode(0), "^$");
    EXPECT_EXIT((makeDirectory(0755), createPipes()), testing::ExitedWithCode(0), "^$");
}

TEST_F(NamedPipeTest, APipeUsesAndRemovesWhatItMadeWhateverTheUserIsLater) {
    Ref<NamedServerPipe> pipe = NamedServerPipe::create("x", true);
    Ref<NamedPipe> opened;
    {
        std::thread opener([&] { opened = NamedPipe::open("x", true); });
        EXPECT_TRUE(eventually([&] { return !descriptorsOn(path("x-to-client")).empty(); }));
        const ScopedEnvironment other("USER", "somebody-else");
        pipe->open();
        opener.join();
    }
    const ScopedEnvironment invalid("USER", "caf\xE9");
    EXPECT_NO_THROW(pipe = nullptr);
    EXPECT_FALSE(std::filesystem::exists(path("x-to-client")));
    EXPECT_FALSE(std::filesystem::exists(path("x-from-client")));
    EXPECT_THROW(NamedServerPipe::create("x", true), IOException);
}

TEST_F(NamedPipeTest, AForkedProcessThatDestroysItsCopyLeavesTheFifos) {
    Ref<NamedServerPipe> pipe = NamedServerPipe::create("x", true);
    const pid_t forked = fork();
    if (forked == 0) {
        pipe = nullptr;
        _exit(0);
    }
    EXPECT_EQ(waitpid(forked, nullptr, 0), forked);
    EXPECT_TRUE(isFifo(path("x-to-client")));
    EXPECT_TRUE(isFifo(path("x-from-client")));
}

TEST_F(NamedPipeTest, NoPipeTakesANumberOfTheConsole) {
    const pid_t forked = fork();
    if (forked == 0) {
        for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
            close(descriptor);
        const Ends ends = connect("x", true);
        bool isFree = true;
        for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
            isFree = isFree && fcntl(descriptor, F_GETFD) < 0;
        ends.creator->getOutput()->writeByte(5);
        ends.creator->getOutput()->flush();
        _exit(isFree && ends.opener->getInput()->readByte() == 5 ? 0 : 1);
    }
    int status = 0;
    EXPECT_EQ(waitpid(forked, &status, 0), forked);
    EXPECT_EQ(status, 0);
}

} // namespace
