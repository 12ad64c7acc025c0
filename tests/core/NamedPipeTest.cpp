// Pipes: every word between a client and its host goes through them. If these fail, the two don't meet, or
// one leaves files and descriptors behind, which a child that inherits them keeps open.

#include "core/NamedPipe.h"

#include "NamedPipeTest.h"
#include "support/FailureText.h"
#include "support/ScopedEnvironment.h"

#include "core/Exception.h"
#include "support/Eventually.h"
#include "support/SleepingThread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using namespace base::core;
using namespace core_tests;
using namespace test_support;

namespace {

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

TEST_F(NamedPipeTest, IsReadOnceItsOpenerHasOpenedItOrWaits) {
    const Ref<NamedServerPipe> pipe = NamedServerPipe::create("x", true);
    const TrustedDirectory place(directory);
    EXPECT_FALSE(isPipeRead(place, "x-to-client"));
    EXPECT_FALSE(isPipeRead(place, "missing"));
    std::ofstream(path("file")) << "no pipe";
    EXPECT_FALSE(isPipeRead(place, "file"));
    std::filesystem::create_symlink(path("x-to-client"), path("link"));
    const int reader = open(path("x-to-client").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(reader, 0);
    EXPECT_TRUE(isPipeRead(place, "x-to-client"));
    EXPECT_FALSE(isPipeRead(place, "link"));
    EXPECT_FALSE(isPipeRead(place, "x-from-client"));
    close(reader);
    EXPECT_FALSE(isPipeRead(place, "x-to-client"));
    std::thread opener([&] { close(open(path("x-to-client").c_str(), O_RDONLY | O_CLOEXEC)); });
    EXPECT_TRUE(eventually([&] { return isPipeRead(place, "x-to-client"); }));
    opener.join();
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
