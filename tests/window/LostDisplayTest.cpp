// An X server that goes away under a running host. If these fail, the music stops because a screen did.

#include "tests/host/RunningHost.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <xcb/xcb.h>

namespace {

constexpr int patience = 10000; // milliseconds

// Appends what a pipe holds, after a wait for it; false if nothing comes.
bool readInto(std::string& text, int descriptor, int milliseconds) {
    pollfd ready{descriptor, POLLIN, 0};
    if (poll(&ready, 1, milliseconds) != 1)
        return false;
    char bytes[1024];
    const ssize_t count = read(descriptor, bytes, sizeof bytes);
    if (count <= 0)
        return false;
    text.append(bytes, static_cast<size_t>(count));
    return true;
}

/// An X server of the test's own, on which `DISPLAY` is set meanwhile.
class OwnXServer {
public:
    OwnXServer() {
        int number[2];
        if (pipe2(number, O_CLOEXEC) != 0)
            return;
        child = fork();
        if (child == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            // Not the number of a standard stream, and kept over exec.
            dup2(number[1], 9);
            const int nowhere = open("/dev/null", O_WRONLY);
            dup2(nowhere, STDOUT_FILENO);
            dup2(nowhere, STDERR_FILENO);
            execlp("Xvfb", "Xvfb", "-displayfd", "9", "-screen", "0", "640x480x24", "-nolisten", "tcp",
                   "-noreset", nullptr);
            _exit(127);
        }
        close(number[1]);
        std::string text;
        while (text.find('\n') == std::string::npos && readInto(text, number[0], patience)) {
        }
        close(number[0]);
        isUp = text.find('\n') != std::string::npos;
        if (const char* display = std::getenv("DISPLAY"))
            formerDisplay = display;
        setenv("DISPLAY", (":" + text.substr(0, text.find('\n'))).c_str(), 1);
    }
    ~OwnXServer() {
        end();
        setenv("DISPLAY", formerDisplay.c_str(), 1);
    }
    OwnXServer(const OwnXServer&) = delete;
    OwnXServer& operator=(const OwnXServer&) = delete;

    /// An orderly end, after which the server's files are gone.
    void end() {
        if (child <= 0)
            return;
        kill(child, SIGTERM);
        if (!eventually([&] { return waitpid(child, nullptr, WNOHANG) == child; })) {
            kill(child, SIGKILL);
            waitpid(child, nullptr, 0);
        }
        child = -1;
    }

    bool isUp = false;

private:
    pid_t child = -1;
    std::string formerDisplay;
};

/// What goes to the standard error stream meanwhile.
class ErrorStreamTap {
public:
    ErrorStreamTap() : former(dup(STDERR_FILENO)) {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) == 0) {
            dup2(ends[1], STDERR_FILENO);
            close(ends[1]);
            output = ends[0];
        }
    }
    ~ErrorStreamTap() {
        dup2(former, STDERR_FILENO);
        close(former);
        close(output);
    }
    ErrorStreamTap(const ErrorStreamTap&) = delete;
    ErrorStreamTap& operator=(const ErrorStreamTap&) = delete;

    bool awaitLine(const std::string& line) {
        while (seen.find(line + "\n") == std::string::npos) {
            if (!readInto(seen, output, patience))
                return false;
        }
        return true;
    }

private:
    int former;
    int output = -1;
    std::string seen;
};

} // namespace

TEST(LostDisplayTest, AHostWhoseServerIsGoneSaysSoAndGoesOn) {
    OwnXServer server;
    ASSERT_TRUE(server.isUp) << "no X server within 10 s";
    std::atomic<int> idles = 0;
    ErrorStreamTap errors;
    RunningHost running([&](TestHost& test) { test.addInstance(1)->onIdle = [&] { ++idles; }; });
    ASSERT_TRUE(eventually([&] { return idles > 0; }));
    server.end();
    ASSERT_TRUE(errors.awaitLine("xcb connection broken"));

    const int before = idles;
    EXPECT_TRUE(running.call([] {})) << "the queue stands still";
    EXPECT_TRUE(eventually([&] { return idles > before + 1; })) << "no instance idles any more";
    // Window code that is still at work meets a broken connection and no closed one.
    ASSERT_TRUE(running.call([&] {
        xcb_connection_t* connection = running.host().display.connection;
        ASSERT_NE(connection, nullptr);
        EXPECT_NE(xcb_connection_has_error(connection), 0);
        xcb_map_window(connection, running.host().display.controlWindow);
        xcb_flush(connection);
    }));
    running.stop();
    EXPECT_FALSE(running.wasDisconnected());
}
