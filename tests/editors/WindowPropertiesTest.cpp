// What the server and other programs see of an editor's window. If these fail, editors open without a title,
// behind the application, outside of the screen or with a border that cuts the plug-in off, and window
// managers kill the host where they should ask it to close.

#include "editors/EditorTest.h"
#include "window/XcbPluginWindow.h"

#include <memory>
#include <poll.h>

using namespace test_support;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// Flags of size hints, and the gravity in the last word.
constexpr uint32_t positionByProgram = 4;
constexpr uint32_t leastSize = 16;
constexpr uint32_t largestSize = 32;
constexpr uint32_t windowGravity = 512;
constexpr uint32_t staticGravity = 10;

class WindowPropertiesTest : public EditorTest {
protected:
    WindowPropertiesTest() { load("plain-editor.so"); }

    std::string titleBytes(const String& title) {
        open(title);
        const WindowProperty name = client.property(window(), "WM_NAME");
        EXPECT_EQ(name.type, "UTF8_STRING");
        EXPECT_EQ(name.format, 8);
        return hexOf(name.bytes);
    }

    // Where the window stands that has been opened at a place.
    WindowRectangle openAt(int32_t x, int32_t y) {
        place(x, y, -1, -1);
        open();
        return client.rectangle(window());
    }

    const WindowRectangle screen = client.rectangle(client.root);
};

/// A window on the server without a plug-in.
class BareWindowTest : public testing::Test {
protected:
    BareWindowTest() { EXPECT_TRUE(window.create()); }

    uint32_t id() const { return window.getWindowId(); }

    /// Waits until others see a window as it should be. Nothing but the host's own calls sends anything:
    /// there is no display thread here.
    testing::AssertionResult isSeen(uint32_t seen, const WindowRectangle& expected) {
        if (eventually([&] { return client.rectangle(seen) == expected; }))
            return testing::AssertionSuccess();
        return testing::AssertionFailure() << "others see " << client.rectangle(seen);
    }

    // A window in the host's, as a plug-in makes one.
    uint32_t addChild(int16_t x, int16_t y, uint16_t width, uint16_t height) {
        const uint32_t child = xcb_generate_id(client.connection);
        xcb_create_window(client.connection, XCB_COPY_FROM_PARENT, child, window.getWindowId(), x, y, width,
                          height, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
        client.sync();
        return child;
    }

    TestHost test;
    Ref<FakePluginInstance> instance = test.addInstance(3);
    WindowReader client;
    XcbPluginWindow window{test.host->windows, instance.get(), 0};
};

} // namespace

TEST_F(WindowPropertiesTest, AWindowTakesPartInClosingAndPings) {
    open();
    const WindowProperty protocols = client.property(window(), "WM_PROTOCOLS");
    EXPECT_EQ(protocols.type, "ATOM");
    EXPECT_EQ(protocols.format, 32);
    EXPECT_THAT(client.words(window(), "WM_PROTOCOLS"),
                ElementsAre(client.atom("WM_DELETE_WINDOW"), client.atom("_NET_WM_PING")));
}

TEST_F(WindowPropertiesTest, TheClientsWindowOwnsTheEditorAndIsNotItsParent) {
    const uint32_t owner = client.makeWindow();
    open("Title", owner);
    EXPECT_EQ(client.property(window(), "WM_TRANSIENT_FOR").type, "WINDOW");
    EXPECT_THAT(client.words(window(), "WM_TRANSIENT_FOR"), ElementsAre(owner));
    EXPECT_EQ(client.parent(window()), client.root);
}

TEST_F(WindowPropertiesTest, OnlyTheLowHalfOfTheOwnersIdCounts) {
    const uint32_t owner = client.makeWindow();
    open("Title", 0x1234567800000000 | owner);
    EXPECT_THAT(client.words(window(), "WM_TRANSIENT_FOR"), ElementsAre(owner));
}

TEST_F(WindowPropertiesTest, AnEditorWithoutAnOwnerIsTransientForNone) {
    open();
    EXPECT_EQ(client.property(window(), "WM_TRANSIENT_FOR").type, "");
}

TEST_F(WindowPropertiesTest, ATitleIsUtf8WithoutATerminator) {
    EXPECT_EQ(titleBytes("Gr\u00FC\u00DFe"), golden("47 72 C3 BC C3 9F 65"));
}

TEST_F(WindowPropertiesTest, ATitleOfWideCharactersIsUtf8) {
    EXPECT_EQ(titleBytes(String(u"\u97F3\u20AC")), golden("E9 9F B3 E2 82 AC"));
}

TEST_F(WindowPropertiesTest, AnEmptyTitleIsAnEmptyName) {
    EXPECT_EQ(titleBytes(""), "");
}

TEST_F(WindowPropertiesTest, ANewTitleReplacesTheOld) {
    open("A long first title");
    settle();
    request<SetWindowTitleRequest>(instanceId, "Second");
    EXPECT_EQ(client.property(window(), "WM_NAME").bytes, "Second");
}

TEST_F(WindowPropertiesTest, ATitleForAClosedEditorIsPassedOver) {
    request<SetWindowTitleRequest>(instanceId, "Early");
    open("Title");
    EXPECT_EQ(client.property(window(), "WM_NAME").bytes, "Title");
}

TEST_F(WindowPropertiesTest, TheUserCannotResizeAWindowThatWasNeverMoved) {
    open();
    EXPECT_EQ(client.property(window(), "WM_NORMAL_HINTS").type, "WM_SIZE_HINTS");
    EXPECT_EQ(client.property(window(), "WM_NORMAL_HINTS").format, 32);
    EXPECT_THAT(client.words(window(), "WM_NORMAL_HINTS"),
                ElementsAre(leastSize | largestSize | windowGravity, 0, 0, 0, 0, 200, 120, 200, 120, 0, 0, 0,
                            0, 0, 0, 0, 0, staticGravity));
}

TEST_F(WindowPropertiesTest, AMoveHasItsPlaceInTheHintsAndLiftsTheLimitsOfTheSize) {
    openAt(70, 80);
    EXPECT_THAT(client.words(window(), "WM_NORMAL_HINTS"),
                ElementsAre(positionByProgram | windowGravity, 70, 80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                            0, staticGravity));
}

TEST_F(WindowPropertiesTest, AnOpenEditorIsOnTheScreenWithThePlugInsWindowInItsCorner) {
    open();
    EXPECT_TRUE(client.isMapped(window()));
    EXPECT_EQ(client.rectangle(window()), (WindowRectangle{0, 0, 200, 120}));
    EXPECT_EQ(client.rectangle(pluginWindow()), (WindowRectangle{0, 0, 200, 120}));
}

TEST_F(WindowPropertiesTest, AClosedEditorLeavesNoWindow) {
    open();
    const uint32_t opened = window();
    settle();
    close();
    // Before anything else happens that would send it.
    EXPECT_FALSE(client.windowExists(opened));
    EXPECT_EQ(window(), 0U);
    onMainThread([&] { EXPECT_TRUE(host().windows.isEmpty()); });
}

TEST_F(WindowPropertiesTest, AnOpenWindowIsInTheHostsMapWithItsInstance) {
    open();
    const uint32_t opened = window();
    onMainThread([&] { EXPECT_EQ(host().windows.find(opened).get(), instance.get()); });
}

TEST_F(WindowPropertiesTest, AWindowStandsWhereTheClientHasSeenItLast) {
    EXPECT_EQ(openAt(70, 80), (WindowRectangle{70, 80, 200, 120}));
}

TEST_F(WindowPropertiesTest, AWindowPastTheRightEdgeIsMovedBackJustSoFarThatItFits) {
    EXPECT_EQ(openAt(screen.width - 50, 80), (WindowRectangle{screen.width - 200, 80, 200, 120}));
}

TEST_F(WindowPropertiesTest, AWindowPastTheBottomIsMovedBackJustSoFarThatItFits) {
    EXPECT_EQ(openAt(70, screen.height + 1000), (WindowRectangle{70, screen.height - 120, 200, 120}));
}

TEST_F(WindowPropertiesTest, AWindowAtNegativePlacesStandsInTheCorner) {
    EXPECT_EQ(openAt(-70, -80), (WindowRectangle{0, 0, 200, 120}));
}

TEST_F(WindowPropertiesTest, AWindowAtTheGreatestPlaceIsMovedBackJustSoFarThatItFits) {
    EXPECT_EQ(openAt(INT32_MAX, INT32_MAX),
              (WindowRectangle{screen.width - 200, screen.height - 120, 200, 120}));
}

TEST_F(WindowPropertiesTest, AWindowAtTheLeastPlaceStandsInTheCorner) {
    EXPECT_EQ(openAt(INT32_MIN, INT32_MIN), (WindowRectangle{0, 0, 200, 120}));
}

TEST_F(WindowPropertiesTest, AWindowWiderThanTheScreenStandsAtTheLeftEdge) {
    open();
    onMainThread([&] { record->requestSize(screen.width + 100, 120); });
    settle();
    EXPECT_EQ(client.rectangle(window()), (WindowRectangle{0, 0, screen.width + 100, 120}));
    onMainThread([&] { instance->window->move(40, 30); });
    settle();
    EXPECT_EQ(client.rectangle(window()), (WindowRectangle{0, 30, screen.width + 100, 120}));
}

TEST_F(BareWindowTest, ANewWindowIsUnmappedAndOfAFirstSize) {
    EXPECT_TRUE(isSeen(id(), {0, 0, 400, 300}));
    EXPECT_FALSE(client.isMapped(id()));
    EXPECT_EQ(client.parent(id()), client.root);
}

TEST_F(BareWindowTest, AResizeBeforeThePlugInsWindowIsKnownTouchesOnlyTheHosts) {
    const uint32_t child = addChild(5, 6, 30, 20);
    window.resize(320, 240);
    EXPECT_TRUE(isSeen(id(), {0, 0, 320, 240}));
    EXPECT_EQ(client.rectangle(child), (WindowRectangle{5, 6, 30, 20}));
    EXPECT_TRUE(window.waitForPluginWindow());
    window.resize(320, 240);
    EXPECT_TRUE(isSeen(child, {0, 0, 320, 240}));
}

TEST_F(BareWindowTest, ASizeThatTheServerCannotHoldIsTheLargestThatItCan) {
    window.resize(65536 + 320, UINT16_MAX);
    EXPECT_TRUE(isSeen(id(), {0, 0, UINT16_MAX, UINT16_MAX}));
    window.resize(320, INT32_MAX);
    EXPECT_TRUE(isSeen(id(), {0, 0, 320, UINT16_MAX}));
}

TEST_F(BareWindowTest, ANegativeSizeLeavesTheWindowAsLargeAsItIs) {
    window.resize(static_cast<uint32_t>(-320), 240);
    window.resize(320, static_cast<uint32_t>(INT32_MIN));
    // The server keeps the order of what one client asks for.
    window.move(50, 60);
    EXPECT_TRUE(isSeen(id(), {50, 60, 400, 300}));
}

TEST_F(BareWindowTest, TheFirstChildCountsAsThePlugInsWhoeversItIs) {
    const uint32_t first = addChild(5, 6, 30, 20);
    const uint32_t second = addChild(7, 8, 40, 30);
    EXPECT_TRUE(window.waitForPluginWindow());
    window.resize(320, 240);
    EXPECT_TRUE(isSeen(first, {0, 0, 320, 240}));
    EXPECT_EQ(client.rectangle(second), (WindowRectangle{7, 8, 40, 30}));
}

TEST_F(BareWindowTest, AWindowThatTheUserCouldResizeIsNoneOfItsKind) {
    window.resize(320, 240);
    ASSERT_TRUE(isSeen(id(), {0, 0, 320, 240}));
    const auto before = client.words(id(), "WM_NORMAL_HINTS");
    window.setResizable();
    window.resize(330, 250);
    ASSERT_TRUE(isSeen(id(), {0, 0, 330, 250}));
    const auto after = client.words(id(), "WM_NORMAL_HINTS");
    ASSERT_EQ(after.size(), before.size());
    EXPECT_EQ(after[0], before[0]) << "the limits of the size are lifted";
}

TEST_F(BareWindowTest, EachChangeIsSeenByOthersAtOnce) {
    window.show();
    EXPECT_TRUE(eventually([&] { return client.isMapped(id()); })) << "it isn't shown";
    window.setTitle("Seen");
    EXPECT_TRUE(eventually([&] { return client.property(id(), "WM_NAME").bytes == "Seen"; }));
    window.resize(320, 240);
    EXPECT_TRUE(isSeen(id(), {0, 0, 320, 240}));
    window.move(50, 60);
    EXPECT_TRUE(isSeen(id(), {50, 60, 320, 240}));
    window.hide();
    EXPECT_TRUE(eventually([&] { return !client.isMapped(id()); })) << "it isn't hidden";
}

TEST_F(BareWindowTest, AWindowThatEndsIsGoneAtOnce) {
    uint32_t ended = 0;
    {
        XcbPluginWindow brief(test.host->windows, instance.get(), 0);
        ASSERT_TRUE(brief.create());
        ended = brief.getWindowId();
        ASSERT_TRUE(client.windowExists(ended));
    }
    EXPECT_TRUE(eventually([&] { return !client.windowExists(ended); })) << "others still see it";
}

TEST_F(BareWindowTest, TheMessageOfASettledOpeningIsSentAtOnce) {
    // Nobody reads the host's events here, so it waits in the socket.
    const int socket = xcb_get_file_descriptor(test.host->windows.display.connection);
    pollfd readable{socket, POLLIN, 0};
    ASSERT_EQ(poll(&readable, 1, 0), 0) << "something waits there before";
    test.host->windows.display.sendSettledEvent(id(), 1);
    EXPECT_EQ(poll(&readable, 1, 4000), 1);
}

TEST_F(BareWindowTest, TheWindowIsShownAtTheScaleOfTheScreen) {
    EXPECT_EQ(window.getScaleFactor(), 1.0F);
}

TEST_F(BareWindowTest, AWindowThatTheServerRefusesIsOneLineAndNoEditor) {
    // The server gives out each id once.
    const uint32_t taken = window.getWindowId();
    XcbPluginWindow refused(test.host->windows, instance.get(), 0);
    const xcb_screen_t valid = *test.host->windows.display.screen;
    test.host->windows.display.screen->root_visual = taken;
    CapturedOutput errors(STDERR_FILENO);
    EXPECT_FALSE(refused.create());
    *test.host->windows.display.screen = valid;
    EXPECT_EQ(errors.text(), "Could not create window: X11 Error code 8\n");
}

TEST_F(BareWindowTest, AWindowLetsGoOfItsInstanceAsItsLastAct) {
    // The window alone keeps the instance.
    FakePluginInstance* kept = test.addInstance(4).get();
    auto* last = new XcbPluginWindow(test.host->windows, kept, 0);
    ASSERT_TRUE(last->create());
    test.host->instances.remove(4);
    EXPECT_THAT(test.log.all(), IsEmpty());
    delete last;
    EXPECT_THAT(test.log.all(), ElementsAre("notification: " + golden("04 04 00 00 00"), "~instance 4"));
}
