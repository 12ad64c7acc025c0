// The numbers of hosts, which no two processes of a user may hold at once. If these fail, an application
// takes the pipes of another one that the user runs beside it.

#include "HostIdClaimTest.h"

#include <memory>

using namespace test_support;

namespace {

namespace fs = std::filesystem;

constexpr uid_t stranger = 65534;

TEST_F(HostIdClaimTest, TheFirstIsOneAndEachFurtherProcessGetsTheNextThatIsFree) {
    Claimer first;
    EXPECT_EQ(first.ask("take"), "1");
    const Claimer second;
    EXPECT_EQ(second.ask("take"), "2");
    EXPECT_EQ(first.end(), 0);
    EXPECT_FALSE(fs::exists(lockPath(1)));
    const Claimer third;
    EXPECT_EQ(third.ask("take"), "1");
    EXPECT_EQ(third.ask("take"), "3");
}

TEST_F(HostIdClaimTest, AProcessUsesNoIdTwice) {
    const Claimer process;
    EXPECT_EQ(process.ask("take"), "1");
    EXPECT_EQ(process.ask("drop"), "ok");
    EXPECT_EQ(process.ask("take"), "2");
}

TEST_F(HostIdClaimTest, AnotherUsersIdsAreOthers) {
    const Claimer process;
    EXPECT_EQ(process.ask("take"), "1");
    const std::string otherUser = user + "-too";
    {
        const ScopedEnvironment other("USER", otherUser.c_str());
        const Claimer neighbour;
        EXPECT_EQ(neighbour.ask("take"), "1");
    }
    fs::remove_all("/tmp/pipes-" + otherUser);
}

TEST_F(HostIdClaimTest, EightThreadsGetEightIds) {
    Claimer process;
    EXPECT_EQ(process.ask("together 8"), "1 2 3 4 5 6 7 8");
    EXPECT_EQ(process.end(), 0);
}

TEST_F(HostIdClaimTest, TheLockFileIsTheUsersAloneUnderEveryUmask) {
    const mode_t former = umask(0477);
    const Claimer process;
    umask(former);
    makeHostPath(1);
    EXPECT_EQ(process.ask("take"), "1");
    struct stat status {};
    ASSERT_EQ(stat(lockPath(1).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, static_cast<mode_t>(S_IFREG | 0600));
}

TEST_F(HostIdClaimTest, TheLockFileHasTheHighestInstance) {
    const Claimer process;
    process.ask("take");
    EXPECT_EQ(lockText(1), "");
    process.ask("note 2");
    EXPECT_EQ(lockText(1), "2\n");
    process.ask("note 17");
    process.ask("note 3");
    EXPECT_EQ(lockText(1), "17\n");
}

TEST_F(HostIdClaimTest, TheEndRemovesTheBlocksUnderTheUserOfTheBeginning) {
    Claimer process;
    process.ask("take");
    process.ask("note 2");
    makeBlock(1, 1);
    makeBlock(1, 2);
    process.ask("user " + user + "-renamed");
    process.ask("drop");
    EXPECT_FALSE(fs::exists(lockPath(1)));
    EXPECT_FALSE(hasBlock(1, 1));
    EXPECT_FALSE(hasBlock(1, 2));
    EXPECT_TRUE(fs::is_directory(hostPath(1)));
    EXPECT_EQ(process.end(), 0);
}

TEST_F(HostIdClaimTest, WhatIsInThePlaceOfALockIsLeftAloneAndItsIdSkipped) {
    const std::string target = directory / "target";
    std::ofstream(target) << "3\n";
    fs::create_symlink(target, makeHostPath(1) + "/lock");
    fs::create_symlink(directory / "missing", makeHostPath(2) + "/lock");
    fs::create_directory(makeHostPath(3) + "/lock");
    ASSERT_EQ(mkfifo((makeHostPath(4) + "/lock").c_str(), 0600), 0);
    makeHostPath(5);
    const std::string second = pipes + "/second-name";
    std::ofstream(second) << "3\n";
    fs::create_hard_link(second, lockPath(5));
    int32_t next = 6;
    if (geteuid() == 0) {
        makeLock(next, "3\n");
        ASSERT_EQ(chown(lockPath(next).c_str(), stranger, stranger), 0);
        ++next;
    } else {
        std::printf("not run: not root here, so there is no file of another user\n");
    }
    const Claimer process;
    EXPECT_EQ(process.ask("take"), std::to_string(next));
    EXPECT_EQ(readText(target), "3\n");
    EXPECT_EQ(readText(second), "3\n");
    EXPECT_FALSE(fs::exists(directory / "missing"));
    EXPECT_TRUE(isOfType(lockPath(1), S_IFLNK));
    EXPECT_TRUE(isOfType(lockPath(2), S_IFLNK));
    EXPECT_TRUE(isOfType(lockPath(3), S_IFDIR));
    EXPECT_TRUE(isOfType(lockPath(4), S_IFIFO));
    EXPECT_TRUE(fs::exists(lockPath(next - 1)));
}

TEST_F(HostIdClaimTest, AForkedCopyThatEndsRemovesNothingAndTheIdIsStillHeld) {
    const Claimer original;
    EXPECT_EQ(original.ask("take"), "1");
    original.ask("note 1");
    makeBlock(1, 1);
    EXPECT_EQ(original.ask("fork 9"), "ok");
    EXPECT_EQ(lockText(1), "1\n");
    EXPECT_TRUE(hasBlock(1, 1));
    const Claimer other;
    EXPECT_EQ(other.ask("take"), "2");
}

TEST_F(HostIdClaimTest, AForkedCopyThatOutlivesItsOriginalHoldsTheIdOnlyIfThatWasKilled) {
    Claimer killed;
    EXPECT_EQ(killed.ask("take"), "1");
    const pid_t copy = std::stoi(killed.ask("linger"));
    killed.kill();
    Claimer other;
    EXPECT_EQ(other.ask("take"), "2");
    const pid_t otherCopy = std::stoi(other.ask("linger"));
    EXPECT_EQ(other.end(), 0);
    const Claimer next;
    EXPECT_EQ(next.ask("take"), "2");
    kill(copy, SIGKILL);
    kill(otherCopy, SIGKILL);
}

TEST_F(HostIdClaimTest, ADirectoryThatCannotBeMadeIsReportedAsByThePipes) {
    std::ofstream(pipes) << "a file where the directory should be";
    const std::string reason = Claimer().ask("take");
    EXPECT_EQ(reason.rfind("Could not create directory structure for named pipe: ", 0), 0u) << reason;
}

TEST_F(HostIdClaimTest, ADirectoryOfAnotherUserIsRefused) {
    if (geteuid() != 0) {
        std::printf("not run: not root here, so there is no second user\n");
        return;
    }
    makeHostPath(1);
    ASSERT_EQ(chown(engine.c_str(), stranger, stranger), 0);
    EXPECT_EQ(Claimer().ask("take"), "Could not create named pipe \"" + mainPath(1) + "\": \"" + engine +
                                         "\" belongs to another user");
}

TEST_F(HostIdClaimTest, OfManyProcessesThatComeAndGoNoTwoHoldTheSameId) {
    constexpr int processCount = 8;
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    constexpr int rounds = 20;
#else
    constexpr int rounds = 150;
#endif
    std::vector<std::unique_ptr<Claimer>> processes;
    for (int i = 0; i < processCount; ++i)
        processes.push_back(std::make_unique<Claimer>());
    for (const auto& process : processes)
        process->tell("race " + directory.path + " " + std::to_string(rounds));
    for (const auto& process : processes)
        EXPECT_EQ(process->hear(), std::to_string(rounds));
    for (const auto& process : processes)
        EXPECT_EQ(process->end(), 0);
    const Claimer last;
    EXPECT_EQ(last.ask("take"), "1");
    for (int32_t id = 2; id <= processCount; ++id)
        EXPECT_FALSE(fs::exists(lockPath(id))) << id;
}

} // namespace
