// An X server that goes away under a running host. If these fail, the music stops because a screen did.

#include "support/OwnXServer.h"
#include "support/RunningHost.h"
#include "window/XcbPluginWindow.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <xcb/xcb.h>

using namespace test_support;

namespace {

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
            if (!appendFrom(output, seen))
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
        xcb_connection_t* connection = running.host().windows.display.connection;
        ASSERT_NE(connection, nullptr);
        EXPECT_NE(xcb_connection_has_error(connection), 0);
        xcb_map_window(connection, running.host().windows.display.controlWindow);
        xcb_flush(connection);
        const Ref<FakePluginInstance> instance = running.test().addInstance(2);
        XcbPluginWindow window(running.host().windows, instance.get(), 0);
        window.move(1, 2);
        window.show();
    }));
    running.stop();
    EXPECT_FALSE(running.wasDisconnected());
}
