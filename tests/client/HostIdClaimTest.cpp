// The numbers of hosts, which no two processes of a user may hold at once. If these fail, an application takes
// the pipes of another one, or what a killed one left stays until the machine is restarted.

#include "client/HostIdClaim.h"

#include "client/HostLeftovers.h"
#include "core/SharedMemory.h"
#include "plugin/Channels.h"
#include "support/ScopedEnvironment.h"
#include "support/TestDirectory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <memory>
#include <spawn.h>
#include <string>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

using namespace test_support;

namespace {

namespace fs = std::filesystem;

constexpr uid_t stranger = 65534;

/// A process that takes host ids; see HostIdClaimer.cpp for its commands.
class Claimer {
public:
    Claimer() {
        int commands[2];
        int answers[2];
        if (pipe2(commands, O_CLOEXEC) != 0 || pipe2(answers, O_CLOEXEC) != 0)
            throw std::runtime_error("pipe2");
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, commands[0], STDIN_FILENO);
        posix_spawn_file_actions_adddup2(&actions, answers[1], STDOUT_FILENO);
        char program[] = HOST_ID_CLAIMER_EXECUTABLE;
        char* const arguments[] = {program, nullptr};
        EXPECT_EQ(posix_spawn(&process, program, &actions, nullptr, arguments, environ), 0);
        posix_spawn_file_actions_destroy(&actions);
        ::close(commands[0]);
        ::close(answers[1]);
        toProcess = commands[1];
        fromProcess = fdopen(answers[0], "r");
    }
    ~Claimer() { end(); }
    Claimer(const Claimer&) = delete;
    Claimer& operator=(const Claimer&) = delete;

    void tell(const std::string& command) const {
        const std::string line = command + "\n";
        EXPECT_EQ(write(toProcess, line.data(), line.size()), static_cast<ssize_t>(line.size()));
    }
    std::string hear() const {
        char line[1024];
        if (std::fgets(line, sizeof line, fromProcess) == nullptr)
            return "no answer";
        std::string text = line;
        text.pop_back();
        return text;
    }
    std::string ask(const std::string& command) const {
        tell(command);
        return hear();
    }

    /// Lets it drop its ids, and returns its exit status.
    int end() {
        if (process == 0)
            return -1;
        ::close(toProcess);
        int status = -1;
        waitpid(std::exchange(process, 0), &status, 0);
        std::fclose(fromProcess);
        return status;
    }
    void kill() {
        ::kill(process, SIGKILL);
        end();
    }

private:
    pid_t process = 0;
    int toProcess = -1;
    FILE* fromProcess = nullptr;
};

bool isDescribed(const std::string& path, mode_t type) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 && (status.st_mode & S_IFMT) == type;
}

/// A user with no pipes and blocks so far.
class HostIdClaimTest : public testing::Test {
protected:
    HostIdClaimTest() { fs::remove_all(pipes); }
    ~HostIdClaimTest() override {
        for (const std::string& block : blocks)
            shm_unlink(block.c_str());
        std::error_code ignored;
        fs::remove_all(pipes, ignored);
    }

    std::string hostPath(int32_t id) const { return engine + "/plugin" + std::to_string(id); }
    std::string lockPath(int32_t id) const { return hostPath(id) + "/lock"; }
    std::string mainPath(int32_t id) const { return hostPath(id) + "/main-to-client"; }

    std::string makeHostPath(int32_t id) const {
        fs::create_directories(hostPath(id));
        return hostPath(id);
    }
    void makeLock(int32_t id, const std::string& text) const {
        std::ofstream(makeHostPath(id) + "/lock") << text;
    }
    void makePipes(int32_t id) const {
        for (const std::string& pipe : pipeNames)
            EXPECT_EQ(mkfifo((makeHostPath(id) + "/" + pipe).c_str(), 0600), 0) << pipe;
    }
    bool havePipes(int32_t id) const {
        return std::any_of(pipeNames.begin(), pipeNames.end(),
                           [&](const std::string& pipe) { return fs::exists(hostPath(id) + "/" + pipe); });
    }
    void makeBlock(int32_t id, int32_t instance) {
        blocks.push_back(blockName(id, instance));
        const int block = shm_open(blocks.back().c_str(), O_CREAT | O_RDWR, 0600);
        EXPECT_GE(block, 0);
        close(block);
    }
    std::string blockName(int32_t id, int32_t instance) const {
        return base::core::sharedMemoryName(user.c_str(), audioBlockName(id, instance));
    }
    bool hasBlock(int32_t id, int32_t instance) const { return fs::exists("/dev/shm" + blockName(id, instance)); }
    /// Opens a pipe as a host does.
    int openAsHost(int32_t id) const {
        const int end = open(mainPath(id).c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        EXPECT_GE(end, 0);
        return end;
    }
    std::string lockText(int32_t id) const { return readText(lockPath(id)); }

    static std::string readText(const std::string& path) {
        std::ifstream file(path);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    const std::string user = "plugin-host-id-test-" + std::to_string(getpid());
    const ScopedEnvironment environment{"USER", user.c_str()};
    const std::string pipes = "/tmp/pipes-" + user;
    const std::string engine = pipes + "/tanvex/engine";
    const std::vector<std::string> pipeNames{"main-to-client",
                                             "main-from-client",
                                             "async-replies-from-client",
                                             "worker0-to-client",
                                             "worker0-from-client",
                                             "worker12-from-client"};
    const TestDirectory directory;

private:
    std::vector<std::string> blocks;
};

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

TEST_F(HostIdClaimTest, AKilledProcessFreesItsIdAndTheNextRemovesWhatItLeft) {
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

TEST_F(HostIdClaimTest, LeftoversOfEveryDeadClientAreRemovedThoughItsIdIsNotTaken) {
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

TEST_F(HostIdClaimTest, WhatALiveProcessHoldsStays) {
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

TEST_F(HostIdClaimTest, NothingButPipesAndLocksOfHostsIsRemoved) {
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
        EXPECT_TRUE(isDescribed(fifo, S_IFIFO)) << fifo;
    EXPECT_TRUE(fs::exists(engine + "/plugin05/lock"));
    EXPECT_TRUE(isDescribed(elsewhere, S_IFIFO));
    EXPECT_TRUE(isDescribed(hostPath(5) + "/worker0-to-client", S_IFLNK));
    EXPECT_TRUE(isDescribed(mainPath(6), S_IFIFO));
}

TEST_F(HostIdClaimTest, AnIdWhoseHostRunsWithoutALockIsSkipped) {
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

TEST_F(HostIdClaimTest, ADeadClientsIdIsHeldForAsLongAsItsHostRuns) {
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
    EXPECT_TRUE(isDescribed(lockPath(1), S_IFLNK));
    EXPECT_TRUE(isDescribed(lockPath(2), S_IFLNK));
    EXPECT_TRUE(isDescribed(lockPath(3), S_IFDIR));
    EXPECT_TRUE(isDescribed(lockPath(4), S_IFIFO));
    EXPECT_TRUE(fs::exists(lockPath(next - 1)));
}

TEST_F(HostIdClaimTest, ALockFileWithoutANumberNamesNoBlocks) {
    makeBlock(1, 1);
    for (const char* text : {"", "\n", "garbage\n", "-5\n", "0\n", "x9\n"}) {
        makeLock(1, text);
        const Claimer process;
        EXPECT_EQ(process.ask("take"), "1") << text;
        EXPECT_EQ(lockText(1), "");
        EXPECT_TRUE(hasBlock(1, 1)) << text;
    }
}

TEST_F(HostIdClaimTest, ANumberBeyondTheBoundRemovesNoMoreThanThat) {
    for (const std::string text : {"65537", "2147483648\n", "99999999999999999999\n"}) {
        for (const int32_t instance : {1, highestLeftInstance, highestLeftInstance + 1})
            makeBlock(1, instance);
        makeLock(1, text);
        const Claimer process;
        EXPECT_EQ(process.ask("take"), "1") << text;
        EXPECT_FALSE(hasBlock(1, 1));
        EXPECT_FALSE(hasBlock(1, highestLeftInstance));
        EXPECT_TRUE(hasBlock(1, highestLeftInstance + 1));
    }
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
