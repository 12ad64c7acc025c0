// The host's connection to the X server. If these fail, a host that finds no display dies without a word, or
// windows can't be closed by the window manager.

#include "window/XConnection.h"
#include "support/Eventually.h"
#include "support/XClient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <csignal>
#include <fcntl.h>
#include <optional>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <vector>

using namespace test_support;

namespace {

struct Outcome {
    int status = -1; // -1: it did not end by itself
    std::string errors;
};

// Runs a host on a display and waits for its end.
Outcome runHostOn(const std::string& display) {
    std::vector<std::string> variables = {"DISPLAY=" + display};
    for (char** entry = environ; *entry != nullptr; ++entry) {
        if (!std::string_view(*entry).starts_with("DISPLAY="))
            variables.emplace_back(*entry);
    }
    std::vector<char*> environment;
    for (std::string& variable : variables)
        environment.push_back(variable.data());
    environment.push_back(nullptr);
    std::string words[] = {PLUGIN_HOST_EXECUTABLE, "host", "44100", "256", "7", "0"};
    std::vector<char*> arguments;
    for (std::string& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);

    int errors[2];
    if (pipe2(errors, O_CLOEXEC) != 0)
        return {};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, errors[1], STDERR_FILENO);
    pid_t child = 0;
    const int failure =
        posix_spawn(&child, arguments[0], &actions, nullptr, arguments.data(), environment.data());
    posix_spawn_file_actions_destroy(&actions);
    close(errors[1]);
    Outcome outcome;
    if (failure == 0) {
        int status = 0;
        const bool ended = eventually([&] { return waitpid(child, &status, WNOHANG) == child; });
        if (!ended) {
            kill(child, SIGKILL);
            waitpid(child, &status, 0);
        } else if (WIFEXITED(status)) {
            outcome.status = WEXITSTATUS(status);
        }
        char text[4096];
        const ssize_t count = read(errors[0], text, sizeof text);
        outcome.errors.assign(text, static_cast<size_t>(std::max<ssize_t>(count, 0)));
    }
    close(errors[0]);
    return outcome;
}

/// An X server that greets one client with a setup of no screens, and says nothing after.
class ServerWithoutScreens {
public:
    ServerWithoutScreens() : listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        if (bind(listener, reinterpret_cast<sockaddr*>(&address), size) != 0 || listen(listener, 1) != 0)
            throw std::runtime_error("no port for a server");
        getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size);
        port = ntohs(address.sin_port);
        thread = std::thread([this] { greet(); });
    }
    ~ServerWithoutScreens() {
        thread.join();
        close(listener);
        if (connection >= 0)
            close(connection);
    }

    std::string display() const { return "127.0.0.1:" + std::to_string(port - 6000); }

private:
    static bool isReadable(int descriptor) {
        pollfd ready{descriptor, POLLIN, 0};
        return poll(&ready, 1, 10000) == 1;
    }

    void greet() {
        if (!isReadable(listener))
            return;
        connection = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        char request[256];
        if (connection < 0 || !isReadable(connection) || read(connection, request, sizeof request) <= 0)
            return;
        // Success, version 11.0, eight further words; among them an id base and mask, and no screens.
        uint8_t setup[40] = {1, 0, 11, 0, 0, 0, 8, 0};
        setup[14] = 0x20;
        setup[16] = 0xFF;
        setup[17] = 0xFF;
        setup[18] = 0x1F;
        setup[27] = 0xFF;
        if (write(connection, setup, sizeof setup) < 0)
            std::perror("the server without screens");
    }

    int listener;
    int connection = -1;
    int port = 0;
    std::thread thread;
};

} // namespace

TEST(XConnectionTest, WithoutAServerTheHostSaysSoAndExitsWithOne) {
    const Outcome outcome = runHostOn("127.0.0.1:1");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors, "Could not open display\n");
}

TEST(XConnectionTest, WithoutADisplayNameTheHostSaysSoAndExitsWithOne) {
    const Outcome outcome = runHostOn("no display");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors, "Could not open display\n");
}

TEST(XConnectionTest, WithoutAScreenTheHostSaysSoAndExitsWithTwo) {
    const ServerWithoutScreens server;
    const Outcome outcome = runHostOn(server.display());
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.errors, "Error getting display setup\n");
}

TEST(XConnectionTest, TheAtomsHaveTheirNames) {
    const XConnection display;
    XClient client;
    EXPECT_EQ(client.atomName(display.atomUtf8String), "UTF8_STRING");
    EXPECT_EQ(client.atomName(display.atomProtocols), "WM_PROTOCOLS");
    EXPECT_EQ(client.atomName(display.atomDeleteWindow), "WM_DELETE_WINDOW");
    EXPECT_EQ(client.atomName(display.atomNetWmPing), "_NET_WM_PING");
    EXPECT_EQ(client.atomName(display.atomShutdownEvent), "SHUTDOWN_EVENT");
}

TEST(XConnectionTest, TheControlWindowIsSmallUnmappedAndHearsOfItsStructure) {
    const XConnection display;
    XClient client;
    EXPECT_EQ(display.screen->root, client.root);
    const uint32_t window = display.controlWindow;
    const auto geometry = ownReply(
        xcb_get_geometry_reply(client.connection, xcb_get_geometry(client.connection, window), nullptr));
    ASSERT_NE(geometry, nullptr);
    EXPECT_EQ(geometry->x, 0);
    EXPECT_EQ(geometry->y, 0);
    EXPECT_EQ(geometry->width, 10);
    EXPECT_EQ(geometry->height, 10);
    EXPECT_EQ(geometry->border_width, 1);
    const auto attributes = ownReply(xcb_get_window_attributes_reply(
        client.connection, xcb_get_window_attributes(client.connection, window), nullptr));
    ASSERT_NE(attributes, nullptr);
    EXPECT_EQ(attributes->_class, 1);
    EXPECT_EQ(attributes->visual, display.screen->root_visual);
    EXPECT_EQ(attributes->map_state, XCB_MAP_STATE_UNMAPPED);
    EXPECT_EQ(attributes->all_event_masks, 0x20000U);
    const auto tree =
        ownReply(xcb_query_tree_reply(client.connection, xcb_query_tree(client.connection, window), nullptr));
    ASSERT_NE(tree, nullptr);
    EXPECT_EQ(tree->parent, client.root);
}

TEST(XConnectionTest, AConnectionThatNobodyReadsEndsWithItsOwner) {
    std::optional<XConnection> display;
    display.emplace();
    XClient client;
    const uint32_t window = display->controlWindow;
    ASSERT_TRUE(client.windowExists(window));
    display.reset();
    EXPECT_TRUE(eventually([&] { return !client.windowExists(window); }));
}

TEST(XConnectionTest, DisconnectingTwiceIsHarmless) {
    XConnection display;
    display.disconnect();
    EXPECT_EQ(display.connection.get(), nullptr);
    display.disconnect();
}
