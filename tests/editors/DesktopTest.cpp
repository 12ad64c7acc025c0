// What a user does with an editor under a window manager, with a mouse. If these fail, editors can't be moved
// or closed by hand, are called unresponsive, or don't tell the client what is turned in them.

#include "editors/Desktop.h"
#include "editors/EditorTest.h"

#include <future>

using namespace test_support;
using testing::ElementsAre;

namespace {

class DesktopTest : private Desktop, public EditorTest {
protected:
    using Desktop::userDoes;

    /// What the window manager has put around the editor's window, on the screen.
    WindowRectangle frame() { return client.rectangle(client.parent(window())); }

    int32_t titleHeight() {
        const std::vector<uint32_t> extents = client.words(window(), "_NET_FRAME_EXTENTS");
        return extents.size() == 4 ? static_cast<int32_t>(extents[2]) : 0;
    }

    /// Opens the editor and waits until it is framed, and until its placement has been told.
    void openFramed() {
        open();
        ASSERT_TRUE(eventually([&] {
            return client.parent(window()) != client.root && titleHeight() > 0 && client.isViewable(window());
        })) << "the window manager has not framed the window";
        settle();
        running.log().clear();
    }

    /// The mouse is put to a place of the window's title, from its right end.
    bool pointAtTitle(int32_t fromRight) {
        const WindowRectangle around = frame();
        return pointAt(around.x + around.width - fromRight, around.y + titleHeight() / 2);
    }

    static bool pointAt(int32_t x, int32_t y) {
        return userDoes("mousemove " + std::to_string(x) + " " + std::to_string(y));
    }

    bool clickCross() { return pointAtTitle(titleHeight() / 2) && userDoes("click 1"); }

    void closeByHand() {
        openFramed();
        const uint32_t opened = window();
        ASSERT_TRUE(clickCross());
        ASSERT_TRUE(eventually([&] { return !windowNotifications().empty(); })) << "the button did nothing";
        settle();
        EXPECT_THAT(windowNotifications(), ElementsAre(closed));
        EXPECT_FALSE(client.windowExists(opened));
    }

    /// What the client is told of a window at this place.
    static std::string moveTo(const WindowRectangle& place) {
        std::string bytes = golden("05 03 00 00 00");
        for (const int32_t number : {place.x, place.y, place.width, place.height}) {
            for (int shift = 24; shift >= 0; shift -= 8) {
                const auto byte = static_cast<char>(number >> shift);
                bytes += hexOf(&byte, 1);
            }
        }
        return bytes;
    }

    /// Drags the first dial of an editor by 60 pixels.
    void dragDial(const std::string& path) {
        create(path);
        openFramed();
        const WindowRectangle place = client.onScreen(window());
        // The first dial.
        ASSERT_TRUE(pointAt(place.x + 55, place.y + 65));
        ASSERT_TRUE(userDoes("mousedown 1"));
        ASSERT_TRUE(eventually([&] { return countNotifications(beginEdit) == 1; }));
        ASSERT_TRUE(userDoes("mousemove_relative -- 0 -30"));
        ASSERT_TRUE(eventually([&] { return countNotifications(update) > 0; }));
        whileDragging();
        ASSERT_TRUE(userDoes("mousemove_relative -- 0 -30"));
        ASSERT_TRUE(userDoes("mouseup 1"));
        ASSERT_TRUE(eventually([&] { return countNotifications(endEdit) == 1; }));
        EXPECT_EQ(countNotifications(beginEdit), 1U);
        // All updates come in between.
        const std::vector<std::string> heard = notifications();
        EXPECT_EQ(heard.front(), golden(beginEdit));
        EXPECT_EQ(heard.back(), golden(endEdit));
        EXPECT_EQ(countNotifications(update), heard.size() - 2);
        onMainThread([&] { EXPECT_NEAR(instance->getParameterValue(0), 0.25 + 60 / 150.0, 0.001); });
    }

    size_t countNotifications(const std::string& start) {
        size_t count = 0;
        for (const std::string& notification : notifications())
            count += notification.starts_with(golden(start)) ? 1 : 0;
        return count;
    }

    std::function<void()> whileDragging = [] {};

    // Of the first parameter.
    const std::string beginEdit = "03 03 00 00 00 00 00 00 00 01";
    const std::string endEdit = "03 03 00 00 00 00 00 00 00 00";
    const std::string update = "00 03 00 00 00 00 00 00 00";
};

} // namespace

TEST_F(DesktopTest, TheManagerFramesTheEditorAndShowsItsTitle) {
    load("plain-editor.so");
    openFramed();
    EXPECT_EQ(client.rectangle(window()).width, 200);
    EXPECT_EQ(client.rectangle(window()).height, 120);
    EXPECT_EQ(client.property(window(), "_NET_WM_VISIBLE_NAME").bytes +
                  client.property(window(), "WM_NAME").bytes,
              "TitleTitle");
}

TEST_F(DesktopTest, AWindowThatIsDraggedByItsTitleIsToldWhereItStands) {
    load("plain-editor.so");
    openFramed();
    const WindowRectangle before = client.onScreen(window());
    ASSERT_TRUE(pointAtTitle(frame().width / 2));
    ASSERT_TRUE(userDoes("mousedown 1"));
    // The manager takes some pixels before it calls it a drag.
    ASSERT_TRUE(eventually([&] {
        return userDoes("mousemove_relative 10 6") && client.onScreen(window()).x > before.x + 50;
    })) << "the window does not follow the mouse";
    ASSERT_TRUE(userDoes("mouseup 1"));
    EXPECT_TRUE(eventually([&] {
        settle();
        return !windowNotifications().empty() &&
               windowNotifications().back() == moveTo(client.onScreen(window()));
    })) << "last told: "
        << (windowNotifications().empty() ? "nothing" : windowNotifications().back());
    EXPECT_EQ(client.onScreen(window()).width, before.width);
}

TEST_F(DesktopTest, TheCloseButtonClosesAVst2Editor) {
    load("plain-editor.so");
    closeByHand();
    EXPECT_EQ(countCalls("close"), 1U);
}

TEST_F(DesktopTest, TheCloseButtonClosesAVst3Editor) {
    load("plain-view.vst3");
    closeByHand();
    EXPECT_EQ(countCalls("removed"), 1U);
}

TEST_F(DesktopTest, TheManagersPingIsAnsweredWhileThePlugInKeepsTheMainThread) {
    load("plain-editor.so");
    openFramed();
    const uint32_t opened = window();
    const uint32_t ping = client.atom("_NET_WM_PING");
    client.selectOnRoot(XCB_EVENT_MASK_STRUCTURE_NOTIFY);
    std::promise<void> release;
    std::promise<void> stuck;
    const WindowRectangle around = frame();
    const int32_t title = titleHeight();
    running.post([&] {
        stuck.set_value();
        release.get_future().wait();
    });
    stuck.get_future().wait();
    // The manager asks the window to close, and whether it still lives.
    EXPECT_TRUE(pointAt(around.x + around.width - title / 2, around.y + title / 2) && userDoes("click 1"));
    const auto answer = client.awaitMessage([&](const xcb_client_message_event_t& message) {
        return message.type == client.atom("WM_PROTOCOLS") && message.data.data32[0] == ping &&
               message.data.data32[2] == opened;
    });
    release.set_value();
    ASSERT_NE(answer, nullptr) << "the ping was not answered";
    EXPECT_EQ(answer->window, client.root);
    settle();
    EXPECT_THAT(windowNotifications(), ElementsAre(closed));
}

TEST_F(DesktopTest, AHiddenEditorComesBackUnderTheManager) {
    load("plain-editor.so");
    openFramed();
    request<HideAllGUIsRequest>();
    EXPECT_TRUE(eventually([&] { return !client.isViewable(window()); }));
    request<ShowAllGUIsRequest>();
    EXPECT_TRUE(eventually([&] { return client.isViewable(window()); }));
    EXPECT_THAT(windowNotifications(), testing::Not(testing::Contains(closed)));
}

TEST_F(DesktopTest, ADraggedDialOfAVst2EditorIsAnEditOfItsParameter) {
    dragDial(EXAMPLE_PLUGIN_DIRECTORY "/echo.so");
}

TEST_F(DesktopTest, ADraggedDialOfAVst3EditorIsAnEditOfItsParameter) {
    dragDial(EXAMPLE_PLUGIN_DIRECTORY "/echo.vst3");
}

TEST_F(DesktopTest, AClientsChangeOfADialThatTheUserHoldsIsDropped) {
    whileDragging = [&] {
        onMainThread([&] {
            const float held = instance->getParameterValue(0);
            instance->setParameterValue(0, 0.9F);
            EXPECT_EQ(instance->getParameterValue(0), held);
            instance->setParameterValue(1, 0.75F);
            EXPECT_EQ(instance->getParameterValue(1), 0.75F);
        });
    };
    dragDial(TEST_PLUGIN_DIRECTORY "/automates-while-dragged.so");
    onMainThread([&] {
        instance->setParameterValue(0, 0.9F);
        EXPECT_EQ(instance->getParameterValue(0), 0.9F);
    });
}
