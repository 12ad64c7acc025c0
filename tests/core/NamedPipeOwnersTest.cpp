// Whose directories and FIFOs pipes trust. If these fail, another user of the machine reads or answers what a
// client sends to its host, or a user's own pipes are refused.

#include "core/NamedPipe.h"

#include "NamedPipeTest.h"
#include "support/FailureText.h"

#include "core/Exception.h"

#include <gtest/gtest.h>

#include <cstdio>
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

} // namespace
