// The thread that reads X events, with a real server and another client of it. If these fail, an editor's
// cross does nothing, window managers offer to kill a host whose plug-in is only busy, or the client is told
// of moves that nobody made.

#include "support/RunningHost.h"
#include "support/XClient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

using namespace test_support;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// A window of the host's own connection, as an editor has one.
class RealPluginWindow : public FakePluginWindow {
public:
    RealPluginWindow(PluginHost& host, CallLog& log)
        : FakePluginWindow(xcb_generate_id(host.windows.display.connection), log), host(host) {
        const uint32_t eventMask = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
        const xcb_screen_t& screen = *host.windows.display.screen;
        xcb_create_window(host.windows.display.connection, 0, windowId, screen.root, 0, 0, 40, 30, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, screen.root_visual, XCB_CW_EVENT_MASK, &eventMask);
        xcb_flush(host.windows.display.connection);
    }
    ~RealPluginWindow() override {
        if (xcb_connection_t* connection = host.windows.display.connection)
            xcb_destroy_window(connection, windowId);
    }

private:
    PluginHost& host;
};

/// A running host with one instance whose window is open, and the other client.
class XDisplayThreadTest : public testing::Test {
protected:
    XDisplayThreadTest() {
        // The window must be there before anything is sent to it.
        EXPECT_TRUE(eventually([&] { return client.windowExists(window); })) << "the window was not made";
    }

    PluginHost& host() { return running.host(); }
    uint32_t controlWindow() { return host().windows.display.controlWindow; }

    /// Has the window's cross clicked.
    void clickCross(uint32_t clicked) {
        client.sendMessage(controlWindow(), clicked, client.atom("WM_PROTOCOLS"),
                           client.atom("WM_DELETE_WINDOW"));
    }

    /// Waits until all that was sent before has been carried out: events and actions keep their order.
    ::testing::AssertionResult settle() {
        const size_t before = running.log().count("closeEditor 3");
        clickCross(window);
        if (eventually([&] { return running.log().count("closeEditor 3") > before; }))
            return ::testing::AssertionSuccess();
        return ::testing::AssertionFailure() << "the window's cross did nothing";
    }

    std::vector<std::string> notifications() {
        std::vector<std::string> found;
        for (const std::string& entry : running.log().all()) {
            if (entry.starts_with("notification: "))
                found.push_back(entry);
        }
        return found;
    }

    FakePluginInstance* instance = nullptr;
    uint32_t window = 0;
    RunningHost running{[this](TestHost& test) {
        instance = test.addInstance(3).get();
        instance->windowWidth = 300;
        instance->windowHeight = 200;
        auto* made = new RealPluginWindow(*test.host, test.log);
        window = made->getWindowId();
        instance->window = made;
    }};
    XClient client;
};

} // namespace

TEST_F(XDisplayThreadTest, AWindowsCrossClosesTheEditorOfItsInstance) {
    clickCross(window);
    EXPECT_TRUE(eventually([&] { return running.log().count("closeEditor 3") == 1; }));
}

TEST_F(XDisplayThreadTest, ACrossOfAWindowThatNoInstanceHasDoesNothing) {
    clickCross(window + 1);
    ASSERT_TRUE(settle());
    EXPECT_THAT(running.log().all(), ElementsAre("closeEditor 3"));
}

TEST_F(XDisplayThreadTest, ACrossOfAWindowThatWasClosedAMomentAgoDoesNothing) {
    // The cross is clicked while the main thread is closing the window.
    ASSERT_TRUE(running.call([&] {
        clickCross(window);
        const std::unique_ptr<PluginWindow> closed(instance->window.get());
        instance->window = nullptr;
    }));
    ASSERT_TRUE(running.call([&] {
        auto* made = new RealPluginWindow(host(), running.log());
        window = made->getWindowId();
        instance->window = made;
    }));
    ASSERT_TRUE(settle());
    EXPECT_EQ(running.log().count("closeEditor 3"), 1U);
}

TEST_F(XDisplayThreadTest, AMovedWindowIsStoredAndToldWithTheSizeThatTheInstanceKeeps) {
    client.moveWindow(window, 70, 80);
    ASSERT_TRUE(eventually([&] { return !notifications().empty(); })) << "the move was not told";
    ASSERT_TRUE(settle());
    EXPECT_THAT(notifications(),
                ElementsAre("notification: " + golden("05 03 00 00 00 00 00 00 46 00 00 00 50"
                                                      "00 00 01 2C 00 00 00 C8")));
    ASSERT_TRUE(running.call([&] {
        EXPECT_EQ(instance->windowX, 70);
        EXPECT_EQ(instance->windowY, 80);
        EXPECT_TRUE(instance->hasWindowPosition);
        EXPECT_EQ(instance->windowWidth, 300);
        EXPECT_EQ(instance->windowHeight, 200);
    }));
}

TEST_F(XDisplayThreadTest, AnEventThatAnotherClientSentCountsAsItsPlainType) {
    client.sendConfigure(controlWindow(), window, -5, -700);
    ASSERT_TRUE(settle());
    EXPECT_THAT(notifications(),
                ElementsAre("notification: " + golden("05 03 00 00 00 FF FF FF FB FF FF FD 44"
                                                      "00 00 01 2C 00 00 00 C8")));
}

TEST_F(XDisplayThreadTest, AConfigureEventDuringTheOpeningOfTheEditorIsDropped) {
    instance->windowBusy = true;
    client.moveWindow(window, 70, 80);
    client.sendConfigure(controlWindow(), window, 90, 100);
    ASSERT_TRUE(settle());
    EXPECT_THAT(notifications(), IsEmpty());
    ASSERT_TRUE(running.call([&] { EXPECT_FALSE(instance->hasWindowPosition); }));
}

TEST_F(XDisplayThreadTest, AConfigureEventOfAHiddenWindowIsDropped) {
    instance->windowHidden = true;
    client.moveWindow(window, 70, 80);
    client.sendConfigure(controlWindow(), window, 90, 100);
    ASSERT_TRUE(settle());
    EXPECT_THAT(notifications(), IsEmpty());
    ASSERT_TRUE(running.call([&] { EXPECT_FALSE(instance->hasWindowPosition); }));
}

TEST_F(XDisplayThreadTest, EverythingElseIsDropped) {
    client.sendExpose(controlWindow(), window);
    client.sendMessage(controlWindow(), window, client.atom("WM_PROTOCOLS"), client.atom("WM_TAKE_FOCUS"));
    client.sendMessage(controlWindow(), window, client.atom("_TEST_MESSAGE"),
                       client.atom("WM_DELETE_WINDOW"));
    // An error comes as an event of type 0.
    xcb_map_window(host().windows.display.connection, 0x00012345);
    xcb_flush(host().windows.display.connection);
    ASSERT_TRUE(settle());
    EXPECT_THAT(running.log().all(), ElementsAre("closeEditor 3"));
}

TEST_F(XDisplayThreadTest, APingIsAnsweredWhileTheMainThreadIsStuckInsideOfAPlugin) {
    client.selectOnRoot(XCB_EVENT_MASK_STRUCTURE_NOTIFY);
    const uint32_t ping = client.atom("_NET_WM_PING");
    const auto time = static_cast<uint32_t>(getpid());
    const auto release = std::make_shared<std::promise<void>>();
    const auto stuck = std::make_shared<std::promise<void>>();
    std::atomic<bool> freed = false;
    running.post([&freed, release, stuck] {
        stuck->set_value();
        release->get_future().wait_for(longBound);
        freed = true;
    });
    ASSERT_EQ(stuck->get_future().wait_for(usualBound), std::future_status::ready);
    client.sendMessage(controlWindow(), window, client.atom("WM_PROTOCOLS"), ping, time, window, 4, 5);
    const auto answer = client.awaitMessage([&](const xcb_client_message_event_t& message) {
        return message.data.data32[0] == ping && message.data.data32[2] == window;
    });
    EXPECT_FALSE(freed);
    release->set_value();
    ASSERT_NE(answer, nullptr) << "no answer";
    EXPECT_EQ(answer->window, client.root);
    EXPECT_EQ(answer->format, 32);
    EXPECT_EQ(answer->type, client.atom("WM_PROTOCOLS"));
    EXPECT_THAT(answer->data.data32, ElementsAre(ping, time, window, 4U, 5U));
    EXPECT_TRUE(client.windowExists(window));
    EXPECT_TRUE(eventually([&] { return freed.load(); }));
}

TEST_F(XDisplayThreadTest, APingIsAnsweredToThoseWhoSelectedTheRootsOwnStructureAndNotItsWindows) {
    XClient usual;
    usual.selectOnRoot(XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY);
    client.selectOnRoot(XCB_EVENT_MASK_STRUCTURE_NOTIFY);
    const uint32_t ping = client.atom("_NET_WM_PING");
    const auto isOurs = [&](const xcb_client_message_event_t& message) {
        return message.data.data32[2] == window;
    };
    client.sendMessage(controlWindow(), window, client.atom("WM_PROTOCOLS"), ping, 1, window);
    ASSERT_NE(client.awaitMessage(isOurs), nullptr) << "no answer";
    // What the other has got by now, up to a message of the test's own, holds no answer.
    xcb_client_message_event_t end{};
    end.response_type = XCB_CLIENT_MESSAGE;
    end.format = 32;
    end.type = client.atom("_TEST_MESSAGE");
    end.data.data32[2] = window;
    xcb_send_event(client.connection, 0, client.root, XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                   reinterpret_cast<const char*>(&end));
    client.sync();
    const auto first = usual.awaitMessage(isOurs);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->type, end.type);
}

TEST_F(XDisplayThreadTest, TheEndOfTheLoopEndsTheThreadAndTheConnection) {
    const uint32_t control = controlWindow();
    ASSERT_TRUE(client.windowExists(control));
    running.stop();
    EXPECT_TRUE(running.wasDisconnected());
    EXPECT_TRUE(eventually([&] { return !client.windowExists(control) && !client.windowExists(window); }))
        << "the server still holds the host's windows";
}
