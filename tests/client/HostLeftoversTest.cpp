// What killed clients leave, which the next client of the user removes, and what it leaves alone. If these
// fail, pipes and blocks pile up until the machine is restarted, or a client that runs loses its own.

#include "client/HostLeftovers.h"

#include "HostIdClaimTest.h"

namespace {

namespace fs = std::filesystem;

using HostLeftoversTest = HostIdClaimTest;

TEST_F(HostLeftoversTest, AKilledProcessFreesItsIdAndTheNextRemovesWhatItLeft) {
    Claimer killed;
    EXPECT_EQ(killed.ask("take"), "1");
    killed.ask("note 3");
    makePipes(1);
    for (int32_t instance = 1; instance <= 4; ++instance)
        makeBlock(1, instance);
    killed.kill();
    EXPECT_TRUE(fs::exists(lockPath(1)));
    const Claimer next;
    EXPECT_EQ(next.ask("take"), "1");
    EXPECT_FALSE(havePipes(1));
    for (int32_t instance = 1; instance <= 3; ++instance)
        EXPECT_FALSE(hasBlock(1, instance)) << instance;
    EXPECT_TRUE(hasBlock(1, 4)) << "no instance of the host's";
    EXPECT_EQ(lockText(1), "") << "the next host has no instance so far";
}

TEST_F(HostLeftoversTest, LeftoversOfEveryDeadClientAreRemovedThoughItsIdIsNotTaken) {
    for (const int32_t id : {5, 70}) {
        makeLock(id, "2\n");
        makePipes(id);
        makeBlock(id, 1);
        makeBlock(id, 2);
    }
    const Claimer process;
    EXPECT_EQ(process.ask("take"), "1");
    for (const int32_t id : {5, 70}) {
        EXPECT_FALSE(fs::exists(lockPath(id)));
        EXPECT_FALSE(havePipes(id));
        EXPECT_FALSE(hasBlock(id, 1));
        EXPECT_FALSE(hasBlock(id, 2));
        EXPECT_TRUE(fs::is_directory(hostPath(id)));
    }
}

TEST_F(HostLeftoversTest, WhatALiveProcessHoldsStays) {
    const Claimer live;
    EXPECT_EQ(live.ask("take"), "1");
    live.ask("note 1");
    makePipes(1);
    makeBlock(1, 1);
    const Claimer other;
    EXPECT_EQ(other.ask("take"), "2");
    EXPECT_TRUE(havePipes(1));
    EXPECT_TRUE(hasBlock(1, 1));
    EXPECT_EQ(lockText(1), "1\n");
}

TEST_F(HostLeftoversTest, NothingButPipesAndLocksOfHostsIsRemoved) {
    makeLock(5, "1\n");
    const std::string file = hostPath(5) + "/main-from-client";
    std::ofstream(file) << "a file";
    std::vector<std::string> strange;
    for (const char* name : {"main", "worker-to-client", "workerx-to-client", "other-to-client"})
        strange.push_back(hostPath(5) + "/" + name);
    for (const char* name : {"plugin", "plugin0", "plugin05", "plugin5x", "plugin-5", "other5"}) {
        fs::create_directories(engine + "/" + name);
        std::ofstream(engine + "/" + name + "/lock") << "";
        strange.push_back(engine + "/" + name + "/main-to-client");
    }
    for (const std::string& fifo : strange)
        ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0) << fifo;
    const std::string elsewhere = directory / "main-to-client";
    ASSERT_EQ(mkfifo(elsewhere.c_str(), 0600), 0);
    fs::create_symlink(elsewhere, hostPath(5) + "/worker0-to-client");
    // Without a lock file a directory is none of a dead client.
    ASSERT_EQ(mkfifo((makeHostPath(6) + "/main-to-client").c_str(), 0600), 0);
    const Claimer process;
    EXPECT_EQ(process.ask("take"), "1");
    EXPECT_FALSE(fs::exists(lockPath(5)));
    EXPECT_EQ(readText(file), "a file");
    for (const std::string& fifo : strange)
        EXPECT_TRUE(isOfType(fifo, S_IFIFO)) << fifo;
    EXPECT_TRUE(fs::exists(engine + "/plugin05/lock"));
    EXPECT_TRUE(isOfType(elsewhere, S_IFIFO));
    EXPECT_TRUE(isOfType(hostPath(5) + "/worker0-to-client", S_IFLNK));
    EXPECT_TRUE(isOfType(mainPath(6), S_IFIFO));
}

TEST_F(HostLeftoversTest, AnIdWhoseHostRunsWithoutALockIsSkipped) {
    makePipes(1);
    const int host = openAsHost(1);
    const Claimer process;
    EXPECT_EQ(process.ask("take"), "2");
    EXPECT_TRUE(havePipes(1));
    EXPECT_FALSE(fs::exists(lockPath(1)));
    close(host);
    const Claimer other;
    EXPECT_EQ(other.ask("take"), "1");
}

TEST_F(HostLeftoversTest, ADeadClientsIdIsHeldForAsLongAsItsHostRuns) {
    makeLock(1, "1\n");
    makePipes(1);
    makeBlock(1, 1);
    makeLock(4, "1\n");
    makePipes(4);
    const int host = openAsHost(1);
    const int otherHost = openAsHost(4);
    const Claimer process;
    EXPECT_EQ(process.ask("take"), "2");
    for (const int32_t id : {1, 4}) {
        EXPECT_TRUE(havePipes(id));
        EXPECT_EQ(lockText(id), "1\n");
    }
    EXPECT_TRUE(hasBlock(1, 1));
    close(host);
    close(otherHost);
    const Claimer other;
    EXPECT_EQ(other.ask("take"), "1");
    EXPECT_FALSE(havePipes(1));
    EXPECT_FALSE(hasBlock(1, 1));
    EXPECT_FALSE(fs::exists(lockPath(4)));
}

TEST_F(HostLeftoversTest, ALockFileWithoutANumberNamesNoBlocks) {
    makeBlock(1, 1);
    for (const char* text : {"", "\n", "garbage\n", "-5\n", "0\n", "x9\n"}) {
        makeLock(1, text);
        const Claimer process;
        EXPECT_EQ(process.ask("take"), "1") << text;
        EXPECT_EQ(lockText(1), "");
        EXPECT_TRUE(hasBlock(1, 1)) << text;
    }
}

class HostLeftoversBoundTest : public HostIdClaimTest {
protected:
    void expectTheBoundWith(const std::string& text) {
        for (const int32_t instance : {1, highestLeftInstance, highestLeftInstance + 1})
            makeBlock(1, instance);
        makeLock(1, text);
        const Claimer process;
        EXPECT_EQ(process.ask("take"), "1");
        EXPECT_FALSE(hasBlock(1, 1));
        EXPECT_FALSE(hasBlock(1, highestLeftInstance));
        EXPECT_TRUE(hasBlock(1, highestLeftInstance + 1));
    }
};

TEST_F(HostLeftoversBoundTest, ANumberBeyondTheBoundRemovesNoMoreThanThat) {
    expectTheBoundWith(std::to_string(highestLeftInstance + 1) + "\n");
}

TEST_F(HostLeftoversBoundTest, ANumberBeyondAllNumbersRemovesNoMoreThanTheBound) {
    expectTheBoundWith("99999999999999999999\n");
}

} // namespace
