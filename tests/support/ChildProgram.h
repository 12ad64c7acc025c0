#pragma once

#include "support/Eventually.h"
#include "support/TestDirectory.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <map>
#include <poll.h>
#include <spawn.h>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace test_support {

/// The program, or another one, as a child. One that still runs at its end is killed.
class ChildProgram {
public:
    /// Variables to change; an empty value removes one.
    using Environment = std::map<std::string, std::string>;

    explicit ChildProgram(const std::vector<std::string>& arguments, const Environment& environment = {},
                          const std::string& directory = "/",
                          const std::string& executable = PLUGIN_HOST_EXECUTABLE) {
        const rlimit noCore{0, 0};
        setrlimit(RLIMIT_CORE, &noCore);
        int outputPipe[2];
        int errorPipe[2];
        if (pipe2(outputPipe, O_CLOEXEC) != 0 || pipe2(errorPipe, O_CLOEXEC) != 0)
            throw std::runtime_error("pipe2: " + std::string(std::strerror(errno)));
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addchdir_np(&actions, directory.c_str());
        posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_adddup2(&actions, outputPipe[1], 1);
        posix_spawn_file_actions_adddup2(&actions, errorPipe[1], 2);
        std::vector<std::string> texts{executable};
        texts.insert(texts.end(), arguments.begin(), arguments.end());
        std::vector<std::string> variables = merge(environment);
        const int failure = posix_spawn(&pid, executable.c_str(), &actions, nullptr, pointers(texts).data(),
                                        pointers(variables).data());
        posix_spawn_file_actions_destroy(&actions);
        close(outputPipe[1]);
        close(errorPipe[1]);
        outputEnd = outputPipe[0];
        errorEnd = errorPipe[0];
        if (failure != 0) {
            pid = 0;
            ADD_FAILURE() << "posix_spawn: " << std::strerror(failure);
        }
    }

    ~ChildProgram() {
        if (pid != 0) {
            kill(pid, SIGKILL);
            waitpid(pid, nullptr, 0);
        }
        // Beside AddressSanitizer, the other one writes into no file.
        EXPECT_EQ(error.find("runtime error: "), std::string::npos) << error;
        close(outputEnd);
        close(errorEnd);
    }
    ChildProgram(const ChildProgram&) = delete;
    ChildProgram& operator=(const ChildProgram&) = delete;

    /// Reads until the program ends; a failure, and its death, if it takes longer than it may.
    void waitForEnd() {
        if (!readUntil([] { return false; })) {
            ADD_FAILURE() << "The program didn't end";
            kill(pid, SIGKILL);
        }
        waitpid(pid, &waitStatus, 0);
        pid = 0;
    }

    /// Reads until the program has written these words to its error stream; false if it doesn't.
    bool waitForError(const std::string& words) {
        const auto isThere = [&] { return error.find(words) != std::string::npos; };
        return readUntil(isThere) && isThere();
    }

    /// Not once it has ended.
    void signal(int number) const { kill(pid, number); }
    pid_t getPid() const { return pid; }

    /// The exit status as a parent sees it, or -1000 less the signal that ended the program.
    int status() const {
        return WIFEXITED(waitStatus) ? WEXITSTATUS(waitStatus) : -1000 - WTERMSIG(waitStatus);
    }

    std::string output;
    std::string error;

private:
    /// Reads until `isEnough`, or until the program has closed its streams; false if neither comes in time.
    template <class Condition>
    bool readUntil(const Condition& isEnough) {
        const auto deadline = std::chrono::steady_clock::now() + longBound;
        pollfd ends[] = {{outputEnd, POLLIN, 0}, {errorEnd, POLLIN, 0}};
        std::string* texts[] = {&output, &error};
        while (!isEnough() && (ends[0].fd >= 0 || ends[1].fd >= 0)) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                deadline - std::chrono::steady_clock::now());
            if (left.count() <= 0 || poll(ends, 2, static_cast<int>(left.count())) == 0)
                return false;
            for (int i = 0; i < 2; ++i) {
                char buffer[4096];
                if (ends[i].fd < 0 || ends[i].revents == 0)
                    continue;
                const ssize_t count = read(ends[i].fd, buffer, sizeof buffer);
                if (count > 0)
                    texts[i]->append(buffer, static_cast<size_t>(count));
                else
                    ends[i].fd = -1;
            }
        }
        return true;
    }

    static std::vector<std::string> merge(const Environment& changes) {
        std::vector<std::string> variables;
        for (char** variable = environ; *variable != nullptr; ++variable) {
            const std::string text = *variable;
            if (changes.count(text.substr(0, text.find('='))) == 0)
                variables.push_back(text);
        }
        for (const auto& [name, value] : changes) {
            if (!value.empty())
                variables.push_back(name + "=" + value);
        }
        return variables;
    }

    static std::vector<char*> pointers(std::vector<std::string>& texts) {
        std::vector<char*> list;
        for (std::string& text : texts)
            list.push_back(text.data());
        list.push_back(nullptr);
        return list;
    }

    pid_t pid = 0;
    int outputEnd = -1;
    int errorEnd = -1;
    int waitStatus = 0;
};

constexpr int abortedStatus = -1000 - SIGABRT;

/// What the program wrote and how it ended.
struct ProgramResult {
    std::string output;
    std::string error;
    int status;
};

inline ProgramResult runProgram(const std::vector<std::string>& arguments,
                                const ChildProgram::Environment& environment = {},
                                const std::string& directory = "/",
                                const std::string& executable = PLUGIN_HOST_EXECUTABLE) {
    ChildProgram program(arguments, environment, directory, executable);
    program.waitForEnd();
    return {program.output, program.error, program.status()};
}

} // namespace test_support
