#pragma once

#include "support/Eventually.h"
#include "support/ScopedEnvironment.h"

#include <csignal>
#include <fcntl.h>
#include <optional>
#include <poll.h>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace test_support {

/// Appends what a pipe holds, after a wait for it; false if nothing comes within 10 s.
inline bool appendFrom(int descriptor, std::string& text) {
    constexpr int patience = 10000; // milliseconds
    pollfd ready{descriptor, POLLIN, 0};
    if (poll(&ready, 1, patience) != 1)
        return false;
    char bytes[1024];
    const ssize_t count = read(descriptor, bytes, sizeof bytes);
    if (count <= 0)
        return false;
    text.append(bytes, static_cast<size_t>(count));
    return true;
}

/// A program of the test's own, quiet, which ends with the test.
class OwnProgram {
public:
    /// The program gets `kept` as its descriptor 9, if that is one, and `deathSignal` as the test dies.
    explicit OwnProgram(std::vector<std::string> command, int kept = -1, int deathSignal = SIGKILL) {
        std::vector<char*> arguments;
        for (std::string& word : command)
            arguments.push_back(word.data());
        arguments.push_back(nullptr);
        child = fork();
        if (child == 0) {
            prctl(PR_SET_PDEATHSIG, deathSignal);
            // Not the number of a standard stream, and kept over exec.
            if (kept >= 0)
                dup2(kept, 9);
            const int nowhere = open("/dev/null", O_WRONLY);
            dup2(nowhere, STDOUT_FILENO);
            dup2(nowhere, STDERR_FILENO);
            execvp(arguments[0], arguments.data());
            _exit(127);
        }
    }
    ~OwnProgram() { end(SIGTERM); }
    OwnProgram(const OwnProgram&) = delete;
    OwnProgram& operator=(const OwnProgram&) = delete;

    /// Ends the program by a signal, and by a stronger one if it stays.
    void end(int signal) {
        if (child <= 0)
            return;
        kill(child, signal);
        if (!eventually([&] { return waitpid(child, nullptr, WNOHANG) == child; })) {
            kill(child, SIGKILL);
            waitpid(child, nullptr, 0);
        }
        child = -1;
    }

private:
    pid_t child = -1;
};

/// An X server of the test's own, on which `DISPLAY` is set meanwhile.
class OwnXServer {
public:
    explicit OwnXServer(const std::vector<std::string>& screens = {"640x480x24"}) {
        std::vector<std::string> command{"Xvfb", "-displayfd", "9", "-nolisten", "tcp", "-noreset"};
        for (size_t i = 0; i < screens.size(); ++i)
            command.insert(command.end(), {"-screen", std::to_string(i), screens[i]});
        int number[2];
        if (pipe2(number, O_CLOEXEC) != 0)
            return;
        program.emplace(std::move(command), number[1]);
        close(number[1]);
        std::string text;
        while (text.find('\n') == std::string::npos && appendFrom(number[0], text)) {
        }
        close(number[0]);
        isUp = text.find('\n') != std::string::npos;
        display.emplace("DISPLAY", (":" + text.substr(0, text.find('\n'))).c_str());
    }

    /// An orderly end, after which the server's files are gone.
    void end() { program->end(SIGTERM); }

    bool isUp = false;

private:
    std::optional<OwnProgram> program;
    std::optional<ScopedEnvironment> display;
};

} // namespace test_support
