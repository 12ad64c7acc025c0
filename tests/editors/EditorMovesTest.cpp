// Which moves and closings of editor windows reach the client. If these fail, clients store places that no
// user has chosen, editors come back elsewhere, or are closed twice.

#include "editors/EditorTest.h"

using namespace test_support;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const std::string moveTo30And40 = "05 03 00 00 00 00 00 00 1E 00 00 00 28 00 00 00 C8 00 00 00 78";

/// Both formats: the file of a plug-in whose editor does what it should.
class EditorMovesTest : public EditorTest, public testing::WithParamInterface<const char*> {
protected:
    EditorMovesTest() { load(GetParam()); }

    ~EditorMovesTest() override { record->onOpen = {}; }

    void hideAll() { request<HideAllGUIsRequest>(); }
    void showAll() { request<ShowAllGUIsRequest>(); }

    /// The user's move, without a window manager.
    void moveByUser(uint32_t x, uint32_t y) {
        client.moveWindow(window(), x, y);
        settle();
    }

    void clickCross(uint32_t clicked) {
        client.sendMessage(clicked, clicked, client.atom("WM_PROTOCOLS"), client.atom("WM_DELETE_WINDOW"));
    }

    bool isBusy() {
        bool busy = false;
        onMainThread([&] { busy = instance->windowBusy; });
        return busy;
    }
};

std::string formatName(const testing::TestParamInfo<const char*>& info) {
    return std::string(info.param).ends_with(".vst3") ? "Vst3" : "Vst2";
}

} // namespace

INSTANTIATE_TEST_SUITE_P(Formats, EditorMovesTest, testing::Values("plain-editor.so", "plain-view.vst3"),
                         formatName);

TEST_P(EditorMovesTest, AnOpeningIsNoMove) {
    open();
    settle();
    EXPECT_FALSE(isBusy());
    EXPECT_THAT(windowNotifications(), IsEmpty());
}

TEST_P(EditorMovesTest, AnOpeningAtAPlaceIsNoMove) {
    place(70, 80, 200, 120);
    open();
    settle();
    EXPECT_FALSE(isBusy());
    EXPECT_THAT(windowNotifications(), IsEmpty());
}

TEST_P(EditorMovesTest, AMoveWhileThePlugInOpensItsEditorIsDropped) {
    record->onOpen = [&](uint32_t window) { client.moveWindow(window, 30, 40); };
    open();
    settle();
    EXPECT_THAT(windowNotifications(), IsEmpty());
    onMainThread([&] { EXPECT_FALSE(instance->hasWindowPosition); });
}

TEST_P(EditorMovesTest, AMoveOfAnOpenEditorIsTold) {
    open();
    settle();
    moveByUser(30, 40);
    EXPECT_THAT(windowNotifications(), ElementsAre(golden(moveTo30And40)));
}

TEST_P(EditorMovesTest, AnEditorOpensAgainWhereTheUserHasMovedIt) {
    open();
    settle();
    moveByUser(30, 40);
    close();
    open();
    EXPECT_EQ(windowSize(), (WindowRectangle{30, 40, 200, 120}));
}

TEST_P(EditorMovesTest, ACrossClosesTheEditorOnce) {
    open();
    const uint32_t opened = window();
    clickCross(opened);
    EXPECT_TRUE(eventually([&] { return !windowNotifications().empty(); }));
    settle();
    EXPECT_THAT(windowNotifications(), ElementsAre(closed));
    EXPECT_FALSE(client.windowExists(opened));
}

TEST_P(EditorMovesTest, ACrossThatIsClickedTwiceClosesTheEditorOnce) {
    open();
    const uint32_t opened = window();
    // Both wait for the main thread.
    onMainThread([&] {
        clickCross(opened);
        clickCross(opened);
    });
    settle();
    EXPECT_THAT(windowNotifications(), ElementsAre(closed));
}

TEST_P(EditorMovesTest, ACrossOfAnEditorThatWasClosedAMomentAgoDoesNothingToTheNext) {
    open();
    const uint32_t first = window();
    onMainThread([&] {
        clickCross(first);
        instance->closeEditor();
        instance->openEditor(0, false, "Title");
    });
    settle();
    EXPECT_THAT(windowNotifications(), ElementsAre(closed));
    EXPECT_TRUE(client.isMapped(window()));
}

TEST_P(EditorMovesTest, APingIsAnsweredWhileThePlugInKeepsTheMainThread) {
    constexpr uint32_t timestamp = 12345;
    client.selectOnRoot(XCB_EVENT_MASK_STRUCTURE_NOTIFY);
    bool isAnswered = false;
    record->onOpen = [&](uint32_t window) {
        const uint32_t ping = client.atom("_NET_WM_PING");
        client.sendMessage(window, window, client.atom("WM_PROTOCOLS"), ping, timestamp, window);
        isAnswered = client.awaitMessage([&](const xcb_client_message_event_t& message) {
            return message.window == client.root && message.data.data32[0] == ping &&
                   message.data.data32[1] == timestamp && message.data.data32[2] == window;
        }) != nullptr;
    };
    open();
    EXPECT_TRUE(isAnswered);
}

TEST_P(EditorMovesTest, AHiddenEditorIsOffTheScreenAndOpen) {
    open();
    settle();
    hideAll();
    EXPECT_NE(window(), 0U);
    EXPECT_FALSE(client.isMapped(window()));
    settle();
    EXPECT_THAT(windowNotifications(), IsEmpty());
}

TEST_P(EditorMovesTest, AMoveOfAHiddenEditorIsDropped) {
    open();
    settle();
    hideAll();
    moveByUser(30, 40);
    EXPECT_THAT(windowNotifications(), IsEmpty());
}

TEST_P(EditorMovesTest, AShownEditorIsBackInItsPlaceAndHasNotMoved) {
    open();
    settle();
    moveByUser(30, 40);
    running.log().clear();
    hideAll();
    showAll();
    settle();
    EXPECT_TRUE(client.isMapped(window()));
    EXPECT_EQ(windowSize(), (WindowRectangle{30, 40, 200, 120}));
    EXPECT_THAT(windowNotifications(), IsEmpty());
    moveByUser(30, 41);
    EXPECT_EQ(windowNotifications().size(), 1U);
}

TEST_P(EditorMovesTest, AnEditorIsShownWhereTheClientHasPutItMeanwhile) {
    open();
    hideAll();
    place(110, 120, 200, 120);
    EXPECT_NE(windowSize(), (WindowRectangle{110, 120, 200, 120})) << "nothing moves a hidden window";
    showAll();
    EXPECT_EQ(windowSize(), (WindowRectangle{110, 120, 200, 120}));
}

TEST_P(EditorMovesTest, AnEditorWhosePlaceNobodyKnowsIsShownInTheCorner) {
    record->onOpen = [&](uint32_t window) { client.moveWindow(window, 30, 40); };
    open();
    hideAll();
    showAll();
    EXPECT_EQ(windowSize(), asLarge(200, 120));
}

TEST_P(EditorMovesTest, AnEditorThatIsNotHiddenIsNotShownAgain) {
    open();
    settle();
    client.moveWindow(window(), 30, 40);
    settle();
    place(110, 120, 200, 120);
    showAll();
    EXPECT_EQ(windowSize(), (WindowRectangle{30, 40, 200, 120}));
}

TEST_P(EditorMovesTest, AHiddenEditorIsClosedAndOpensOnTheScreen) {
    open();
    hideAll();
    close();
    open();
    EXPECT_TRUE(client.isMapped(window()));
    settle();
    EXPECT_THAT(windowNotifications(), ElementsAre(closed));
}

TEST_P(EditorMovesTest, AnApplicationThatComesOrGoesLeavesTheEditorAsItIs) {
    open();
    request<DeactivateAppGUIRequest>();
    EXPECT_TRUE(client.isMapped(window()));
    hideAll();
    request<ActivateAppGUIRequest>();
    EXPECT_FALSE(client.isMapped(window()));
    settle();
    EXPECT_THAT(windowNotifications(), IsEmpty());
}

TEST_P(EditorMovesTest, APlaceForAClosedEditorIsOnlyStored) {
    place(70, 80, 320, 240);
    settle();
    EXPECT_EQ(window(), 0U);
    onMainThread([&] {
        EXPECT_TRUE(instance->hasWindowPosition);
        EXPECT_EQ(instance->windowX, 70);
        EXPECT_EQ(instance->windowHeight, 240);
    });
    EXPECT_THAT(windowNotifications(), IsEmpty());
    EXPECT_THAT(record->calls.all(), IsEmpty());
}

TEST(EndingHostTest, ClosesItsEditorsWhileTheirInstancesLive) {
    const std::string path = TEST_PLUGIN_DIRECTORY "/plain-view.vst3";
    WindowReader reader;
    const EditorRecord& record = recordOf(path);
    uint32_t window = 0;
    {
        TestHost ending;
        addFormats(*ending.host);
        const Ref<PluginInstance> instance = ending.host->createPluginInstance(3, path.c_str(), "", false);
        instance->openEditor(0, false, "Title");
        window = instance->window->getWindowId();
        EXPECT_TRUE(eventually([&] { return reader.isMapped(window); }));
        EXPECT_EQ(record.calls.count("removed"), 0U);
    }
    EXPECT_EQ(record.calls.count("removed"), 1U);
    EXPECT_EQ(record.calls.count("view ends"), 1U);
    EXPECT_TRUE(eventually([&] { return !reader.windowExists(window); }));
}
