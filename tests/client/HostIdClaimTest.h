#pragma once

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
#include <iterator>
#include <spawn.h>
#include <stdexcept>
#include <string>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

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

inline bool isOfType(const std::string& path, mode_t type) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 && (status.st_mode & S_IFMT) == type;
}

/// A user with no pipes and blocks so far.
class HostIdClaimTest : public testing::Test {
protected:
    HostIdClaimTest() { std::filesystem::remove_all(pipes); }
    ~HostIdClaimTest() override {
        for (const std::string& block : blocks)
            shm_unlink(block.c_str());
        std::error_code ignored;
        std::filesystem::remove_all(pipes, ignored);
    }

    std::string hostPath(int32_t id) const { return engine + "/plugin" + std::to_string(id); }
    std::string lockPath(int32_t id) const { return hostPath(id) + "/lock"; }
    std::string mainPath(int32_t id) const { return hostPath(id) + "/main-to-client"; }

    std::string makeHostPath(int32_t id) const {
        std::filesystem::create_directories(hostPath(id));
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
        return std::any_of(pipeNames.begin(), pipeNames.end(), [&](const std::string& pipe) {
            return std::filesystem::exists(hostPath(id) + "/" + pipe);
        });
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
    bool hasBlock(int32_t id, int32_t instance) const {
        return std::filesystem::exists("/dev/shm" + blockName(id, instance));
    }
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
    const test_support::ScopedEnvironment environment{"USER", user.c_str()};
    const std::string pipes = "/tmp/pipes-" + user;
    const std::string engine = pipes + "/tanvex/engine";
    const std::vector<std::string> pipeNames{
        "main-to-client",    "main-from-client",    "async-replies-from-client",
        "worker0-to-client", "worker0-from-client", "worker12-from-client"};
    const test_support::TestDirectory directory;

private:
    std::vector<std::string> blocks;
};
