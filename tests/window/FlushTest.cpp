// What a host asks of the X server, seen by another client of it, while nothing else of the host's makes its
// requests leave. If these fail, an editor appears, moves or goes only when something else happens.

#include "support/Eventually.h"
#include "support/TestHost.h"
#include "support/XClient.h"
#include "window/XcbPluginWindow.h"

#include <gtest/gtest.h>

#include <optional>
#include <thread>

using namespace test_support;

namespace {

/// A window of a host whose main loop and display thread don't run.
class FlushTest : public testing::Test {
protected:
    FlushTest() {
        EXPECT_TRUE(window->create());
        id = window->getWindowId();
    }
    ~FlushTest() override {
        window.reset();
        test.host->instances.remove(3);
    }

    bool isViewable() {
        const auto reply = ownReply(xcb_get_window_attributes_reply(
            client.connection, xcb_get_window_attributes(client.connection, id), nullptr));
        return reply != nullptr && reply->map_state == XCB_MAP_STATE_VIEWABLE;
    }

    XReply<xcb_get_geometry_reply_t> geometry() {
        return ownReply(
            xcb_get_geometry_reply(client.connection, xcb_get_geometry(client.connection, id), nullptr));
    }

    std::string title() {
        const auto cookie =
            xcb_get_property(client.connection, 0, id, XCB_ATOM_WM_NAME, XCB_GET_PROPERTY_TYPE_ANY, 0, 100);
        const auto reply = ownReply(xcb_get_property_reply(client.connection, cookie, nullptr));
        if (reply == nullptr)
            return {};
        return {static_cast<const char*>(xcb_get_property_value(reply.get())),
                static_cast<size_t>(xcb_get_property_value_length(reply.get()))};
    }

    TestHost test;
    XClient client;
    Ref<FakePluginInstance> instance = test.addInstance(3);
    std::optional<XcbPluginWindow> window{std::in_place, test.host->windows, instance.get(), 0};
    uint32_t id = 0;
};

} // namespace

TEST_F(FlushTest, AWindowIsThereOnceItIsCreated) {
    EXPECT_TRUE(eventually([&] { return client.windowExists(id); }));
}

TEST_F(FlushTest, AWindowIsShownAndHiddenAtOnce) {
    window->show();
    EXPECT_TRUE(eventually([&] { return isViewable(); }));
    window->hide();
    EXPECT_TRUE(eventually([&] { return !isViewable(); }));
}

TEST_F(FlushTest, ATitleIsSetAtOnce) {
    window->setTitle("Tone");
    EXPECT_TRUE(eventually([&] { return title() == "Tone"; }));
}

TEST_F(FlushTest, ASizeIsSetAtOnce) {
    window->resize(123, 45);
    EXPECT_TRUE(eventually([&] {
        const auto reply = geometry();
        return reply != nullptr && reply->width == 123 && reply->height == 45;
    }));
}

TEST_F(FlushTest, APlaceIsTakenAtOnce) {
    window->move(17, 29);
    EXPECT_TRUE(eventually([&] {
        const auto reply = geometry();
        return reply != nullptr && reply->x == 17 && reply->y == 29;
    }));
}

TEST_F(FlushTest, AWindowThatGoesIsGoneAtOnceFromTheScreenAndFromTheHost) {
    EXPECT_EQ(test.host->windows.find(id).get(), instance.get());
    window.reset();
    EXPECT_TRUE(eventually([&] { return !client.windowExists(id); }));
    EXPECT_TRUE(test.host->windows.isEmpty());
}

TEST(SettledEventTest, AMessageToTheHostItselfWakesItsReader) {
    const XConnection display;
    XClient client;
    // The reader ends with the first message of this kind, the host's or, if that doesn't come, the test's
    // own.
    std::atomic<uint32_t> window = 0;
    std::atomic<bool> ended = false;
    std::thread reader([&] {
        while (const auto event = ownReply(xcb_wait_for_event(display.connection))) {
            const auto& message = reinterpret_cast<const xcb_client_message_event_t&>(*event);
            if ((event->response_type & 0x7f) != XCB_CLIENT_MESSAGE ||
                message.type != display.atomSettledEvent)
                continue;
            window = message.data.data32[0];
            break;
        }
        ended = true;
    });
    // It must have taken in all that came of the set-up.
    client.sync();
    display.sendSettledEvent(77, 1);
    EXPECT_TRUE(eventually([&] { return ended.load(); }));
    EXPECT_EQ(window, 77U);
    if (!ended)
        client.sendMessage(display.controlWindow, display.controlWindow, display.atomSettledEvent, 0);
    reader.join();
}
