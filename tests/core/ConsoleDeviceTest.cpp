// The device of the console: lines of several processes mix if one takes two writes, and a full disk must
// neither lose later lines nor glue them to the remains of an older one.

#include "core/ConsoleDevice.h"

#include "support/FailureText.h"

#include "core/Ref.h"
#include "core/StdStreams.h"
#include "support/Eventually.h"
#include "support/SleepingThread.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <fcntl.h>
#include <istream>
#include <ostream>
#include <poll.h>
#include <pthread.h>
#include <string>
#include <sys/mman.h>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

using namespace base::core;
using namespace test_support;

namespace {

/// A stream over a device over a descriptor that the test may lead elsewhere.
class ConsoleDeviceTest : public testing::Test {
protected:
    ConsoleDeviceTest() { std::signal(SIGPIPE, SIG_IGN); }
    ~ConsoleDeviceTest() override { close(descriptor); }

    void leadTo(int other) {
        dup2(other, descriptor);
        close(other);
    }
    void makePipe(int flags = 0) {
        int ends[2];
        ASSERT_EQ(pipe2(ends, O_CLOEXEC | flags), 0);
        leadTo(ends[1]);
        reader = ends[0];
    }
    /// What one read delivers.
    std::string readOnce() const {
        char bytes[8192];
        const ssize_t count = read(reader, bytes, sizeof bytes);
        return {bytes, count > 0 ? static_cast<size_t>(count) : 0};
    }
    /// Fills the pipe and returns the number of bytes in it.
    size_t fillPipe() const {
        const int flags = fcntl(descriptor, F_GETFL);
        fcntl(descriptor, F_SETFL, flags | O_NONBLOCK);
        size_t filled = 0;
        for (char bytes[4096] = {}; write(descriptor, bytes, sizeof bytes) > 0;)
            filled += sizeof bytes;
        fcntl(descriptor, F_SETFL, flags);
        return filled;
    }
    /// Takes that many bytes, and then a line; an empty text if none comes.
    std::string lineBehind(size_t bytes) const {
        std::string text;
        pollfd more{reader, POLLIN, 0};
        while ((text.size() <= bytes || text.back() != '\n') && poll(&more, 1, 4000) > 0)
            text += readOnce();
        return text.substr(std::min(bytes, text.size()));
    }

    int descriptor = open("/dev/null", O_WRONLY | O_CLOEXEC);
    int reader = -1;
    ConsoleDevice device{descriptor};
    std::ostream output{&device};
    Ref<StdOutputStream> stream{new StdOutputStream(&output)};
};

TEST_F(ConsoleDeviceTest, AFlushIsOneWriteOfAllThatWaited) {
    makePipe(O_DIRECT); // each write is a packet, which one read takes
    stream->printLine("a long line that is written code point by code point: \xE2\x82\xAC");
    stream->writeText("Name:");
    stream->writeByte('x');
    stream->writeText("\n");
    stream->flush();
    stream->flush();
    stream->printLine(StringBuilder("the last"));
    close(descriptor);
    EXPECT_EQ(readOnce(), "a long line that is written code point by code point: \xE2\x82\xAC\n");
    EXPECT_EQ(readOnce(), "Name:x\n");
    EXPECT_EQ(readOnce(), "the last\n");
    EXPECT_EQ(readOnce(), "");
    close(reader);
    descriptor = -1;
}

TEST_F(ConsoleDeviceTest, ASingleByteWaitsForTheFlushAsAllOthersDo) {
    makePipe(O_DIRECT);
    output.put('a');
    output << "bc";
    output.put('d');
    EXPECT_EQ(device.sputc('\n'), '\n');
    output.flush();
    EXPECT_EQ(readOnce(), "abcd\n");
    close(reader);
}

TEST_F(ConsoleDeviceTest, WhatCouldNotBeWrittenIsDroppedAndTheNextLineGetsThrough) {
    leadTo(open("/dev/full", O_WRONLY | O_CLOEXEC));
    EXPECT_EQ(failureText<IOException>([&] { stream->printLine("lost"); }), "Error writing data");
    EXPECT_EQ(failureText<IOException>([&] { stream->printLine("lost too"); }), "Error writing data");
    makePipe();
    stream->printLine("found");
    EXPECT_EQ(readOnce(), "found\n");
    close(reader);
}

TEST_F(ConsoleDeviceTest, TheLineBehindOneThatWasCutBeginsOnALineOfItsOwn) {
    const int file = memfd_create("console", MFD_CLOEXEC);
    leadTo(dup(file));
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit former{};
    getrlimit(RLIMIT_FSIZE, &former);
    const rlimit small{10, former.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    EXPECT_THROW(stream->printLine("0123456789 is cut"), IOException);
    setrlimit(RLIMIT_FSIZE, &former);
    stream->printLine("next");
    stream->printLine("last");
    std::signal(SIGXFSZ, SIG_DFL);
    char bytes[64];
    const ssize_t count = pread(file, bytes, sizeof bytes, 0);
    close(file);
    EXPECT_EQ(std::string(bytes, count > 0 ? static_cast<size_t>(count) : 0), "0123456789\nnext\nlast\n");
}

TEST_F(ConsoleDeviceTest, ALineWaitsForRoomAlsoWhereAnotherProcessMadeTheTerminalNonBlocking) {
    makePipe(O_NONBLOCK);
    fcntl(reader, F_SETFL, 0);
    const size_t filled = fillPipe();
    std::atomic<pid_t> threadId{0};
    std::thread writer([&] {
        threadId = currentThreadId();
        EXPECT_NO_THROW(stream->printLine("in the end"));
    });
    EXPECT_TRUE(eventually([&] { return threadId != 0 && isAsleep(threadId); }));
    EXPECT_EQ(lineBehind(filled), "in the end\n");
    writer.join();
    close(reader);
}

TEST_F(ConsoleDeviceTest, ASignalDoesNotLoseALine) {
    struct sigaction interrupting {};
    struct sigaction former {};
    static std::atomic<int> interruptions{0};
    interrupting.sa_handler = [](int) { ++interruptions; };
    sigaction(SIGUSR1, &interrupting, &former);
    makePipe();
    const size_t filled = fillPipe();
    std::atomic<pid_t> threadId{0};
    std::thread writer([&] {
        threadId = currentThreadId();
        EXPECT_NO_THROW(stream->printLine("in the end"));
    });
    EXPECT_TRUE(eventually([&] { return threadId != 0 && isAsleep(threadId); }));
    pthread_kill(writer.native_handle(), SIGUSR1);
    EXPECT_TRUE(eventually([&] { return interruptions > 0 && isAsleep(threadId); }));
    EXPECT_EQ(lineBehind(filled), "in the end\n");
    writer.join();
    close(reader);
    sigaction(SIGUSR1, &former, nullptr);
}

TEST_F(ConsoleDeviceTest, AReadDeliversWhatIsThereAndThenTheEnd) {
    makePipe();
    ASSERT_EQ(write(descriptor, "yes\nno", 6), 6);
    ConsoleDevice inputDevice(reader);
    std::istream input(&inputDevice);
    const Ref<InputStream> inputStream(new StdInputStream(&input));
    EXPECT_EQ(inputStream->readLine().toStdString(), "yes");
    char bytes[8];
    EXPECT_EQ(inputStream->read(bytes, sizeof bytes), 2u);
    leadTo(open("/dev/null", O_WRONLY | O_CLOEXEC));
    EXPECT_EQ(inputStream->read(bytes, sizeof bytes), 0u);
    close(reader);
}

TEST_F(ConsoleDeviceTest, ASignalDoesNotEndARead) {
    struct sigaction interrupting {};
    struct sigaction former {};
    static std::atomic<int> interruptions{0};
    interrupting.sa_handler = [](int) { ++interruptions; };
    sigaction(SIGUSR1, &interrupting, &former);
    makePipe();
    std::atomic<pid_t> threadId{0};
    std::string line;
    std::thread reading([&] {
        ConsoleDevice inputDevice(reader);
        std::istream input(&inputDevice);
        const Ref<InputStream> inputStream(new StdInputStream(&input));
        threadId = currentThreadId();
        EXPECT_NO_THROW(line = inputStream->readLine().toStdString());
    });
    EXPECT_TRUE(eventually([&] { return threadId != 0 && isAsleep(threadId); }));
    pthread_kill(reading.native_handle(), SIGUSR1);
    EXPECT_TRUE(eventually([&] { return interruptions > 0; }));
    EXPECT_EQ(write(descriptor, "yes\n", 4), 4);
    reading.join();
    EXPECT_EQ(line, "yes");
    close(reader);
    sigaction(SIGUSR1, &former, nullptr);
}

TEST_F(ConsoleDeviceTest, AReadThatFailsIsNoEnd) {
    ConsoleDevice inputDevice(descriptor); // for writing alone
    std::istream input(&inputDevice);
    const Ref<InputStream> inputStream(new StdInputStream(&input));
    char byte = 0;
    EXPECT_EQ(failureText<IOException>([&] { inputStream->read(&byte, 1); }), "Error reading from stream");
}

} // namespace
