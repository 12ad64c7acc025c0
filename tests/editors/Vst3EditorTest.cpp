// The editors of VST 3 plug-ins. If these fail, views are never found, attached twice, told sizes that they
// don't have, or left attached to a window that is gone.

#include "editors/EditorTest.h"
#include "vst3/Vst3PluginInstance.h"

#include <thread>

using namespace test_support;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Vst3EditorTest : public EditorTest {
protected:
    /// What the view has been told since the last call.
    std::vector<std::string> takeCalls() {
        std::vector<std::string> calls = record->calls.all();
        record->calls.clear();
        return calls;
    }

    /// The size that the view was given last. What a thread of the plug-in's is answered has no order beside
    /// it.
    std::string lastSizeTold() {
        std::string last;
        for (const std::string& call : takeCalls()) {
            if (call.starts_with("size "))
                last = call;
        }
        return last;
    }

    bool hasEditor() {
        bool answer = false;
        onMainThread([&] { answer = instance->hasEditor(); });
        return answer;
    }

    /// An opening that prints that the view has no size.
    void openWithoutASize() {
        const CapturedOutput errors(STDERR_FILENO);
        open();
    }
};

// Opening an editor whose view comes in the usual way.
const std::vector<std::string> usualOpening{"view editor", "frame", "attached X11EmbedWindowID"};

} // namespace

TEST_F(Vst3EditorTest, AViewIsAttachedToAWindowOfItsSize) {
    load("plain-view.vst3");
    open();
    EXPECT_EQ(takeCalls(), usualOpening);
    EXPECT_EQ(windowSize(), asLarge(200, 120));
    EXPECT_EQ(pluginWindowSize(), asLarge(200, 120));
    EXPECT_TRUE(client.isMapped(window()));
    EXPECT_EQ(client.property(window(), "WM_NAME").bytes, "Title");
}

TEST_F(Vst3EditorTest, AViewIsMadeByTheFirstWhoAsksAndKept) {
    load("plain-view.vst3");
    EXPECT_TRUE(hasEditor());
    EXPECT_TRUE(hasEditor());
    EXPECT_THAT(takeCalls(), ElementsAre("view editor", "frame"));
    open();
    EXPECT_THAT(takeCalls(), ElementsAre("attached X11EmbedWindowID"));
}

TEST_F(Vst3EditorTest, AViewThatHasNoNameIsAnEditor) {
    load("view-without-a-name.vst3");
    EXPECT_TRUE(hasEditor());
    EXPECT_THAT(takeCalls(), ElementsAre("view editor", "view without a name", "frame"));
    open();
    EXPECT_TRUE(client.isMapped(window()));
}

TEST_F(Vst3EditorTest, AControllerThatIsAViewIsAnEditor) {
    load("view-of-the-controller.vst3");
    EXPECT_TRUE(hasEditor());
    EXPECT_THAT(takeCalls(), ElementsAre("view of the controller", "frame"));
    open();
    EXPECT_TRUE(client.isMapped(window()));
}

TEST_F(Vst3EditorTest, AComponentThatIsAViewIsAnEditor) {
    load("view-of-the-component.vst3");
    EXPECT_TRUE(hasEditor());
    EXPECT_THAT(takeCalls(), ElementsAre("view of the component", "frame"));
    open();
    EXPECT_TRUE(client.isMapped(window()));
}

TEST_F(Vst3EditorTest, APlugInWithoutAViewHasNoEditor) {
    load("view-that-never-comes.vst3");
    EXPECT_FALSE(hasEditor());
    open();
    close();
    settle();
    EXPECT_EQ(window(), 0U);
    EXPECT_THAT(windowNotifications(), IsEmpty());
    onMainThread([&] {
        int32_t width = 640;
        int32_t height = 480;
        EXPECT_FALSE(instance->canResizeEditor());
        EXPECT_FALSE(instance->checkEditorSize(width, height));
        instance->editorSetSize(width, height);
        EXPECT_EQ(width, 640);
        EXPECT_FALSE(instance->editorKeyDown('a', 0, 0));
        EXPECT_FALSE(instance->editorKeyUp('a', 0, 0));
        EXPECT_FALSE(instance->supportsViewDpiScaling());
        instance->editorMouseWheel(1);
        instance->editorFocusChanged(true);
    });
}

TEST_F(Vst3EditorTest, ASecondOpeningDoesNothingAndKeepsTheTitle) {
    load("plain-view.vst3");
    open("First");
    const uint32_t first = window();
    takeCalls();
    open("Second");
    EXPECT_THAT(takeCalls(), IsEmpty());
    EXPECT_EQ(window(), first);
    EXPECT_EQ(client.property(first, "WM_NAME").bytes, "First");
}

TEST_F(Vst3EditorTest, AViewThatIsOpenedAgainWhereItWasTakesOnItsLastSize) {
    load("plain-view.vst3");
    place(70, 80, 320, 240);
    open();
    EXPECT_THAT(takeCalls(),
                ElementsAre("view editor", "frame", "size 0 0 320 240", "attached X11EmbedWindowID"));
    EXPECT_EQ(windowSize(), (WindowRectangle{70, 80, 320, 240}));
    settle();
    EXPECT_THAT(windowNotifications(), IsEmpty());
}

TEST_F(Vst3EditorTest, AClosedViewIsRemovedAndLetGoOfAndTheClientToldOnce) {
    load("plain-view.vst3");
    open();
    const uint32_t opened = window();
    takeCalls();
    close();
    settle();
    EXPECT_THAT(takeCalls(), ElementsAre("removed", "view ends"));
    EXPECT_FALSE(client.windowExists(opened));
    EXPECT_THAT(windowNotifications(), ElementsAre(closed));
}

TEST_F(Vst3EditorTest, AViewThatWasNeverAttachedIsNotRemoved) {
    load("plain-view.vst3");
    EXPECT_TRUE(hasEditor());
    takeCalls();
    close();
    settle();
    EXPECT_THAT(takeCalls(), ElementsAre("view ends"));
    EXPECT_THAT(windowNotifications(), IsEmpty());
}

TEST_F(Vst3EditorTest, AnEditorThatWasClosedHasANewViewWithAFrame) {
    load("plain-view.vst3");
    open();
    close();
    takeCalls();
    EXPECT_TRUE(hasEditor());
    EXPECT_THAT(takeCalls(), ElementsAre("view editor", "frame"));
    open();
    EXPECT_TRUE(client.isMapped(window()));
}

TEST_F(Vst3EditorTest, AnEditorThatIsSaidToHaveBeenClosedKeepsItsViewAndIsToldOnce) {
    load("plain-view.vst3");
    open();
    const uint32_t opened = window();
    takeCalls();
    onMainThread([&] { instance->editorWasClosed(); });
    EXPECT_THAT(takeCalls(), IsEmpty());
    EXPECT_FALSE(client.windowExists(opened));
    EXPECT_THAT(windowNotifications(), ElementsAre(closed));
    // Its window is gone, so it isn't removed later either.
    close();
    EXPECT_THAT(takeCalls(), ElementsAre("view ends"));
    EXPECT_THAT(windowNotifications(), ElementsAre(closed));
}

TEST_F(Vst3EditorTest, APlugInThatMakesItsWindowLateIsWaitedFor) {
    load("late-view-window.vst3");
    // In the last pause that a look follows.
    constexpr size_t last = 19;
    HostPauses pauses([&](size_t count) {
        if (count == last)
            makeLateWindow();
    });
    open();
    EXPECT_EQ(pauses.lengths.size(), last);
    ASSERT_NE(window(), 0U);
    EXPECT_TRUE(client.isMapped(window()));
    EXPECT_EQ(pluginWindowSize(), asLarge(200, 120));
}

TEST_F(Vst3EditorTest, AViewWithoutAWindowStaysAttachedAndTheClientIsTold) {
    load("view-without-window.vst3");
    openInVain();
    EXPECT_EQ(takeCalls(), usualOpening);
    onMainThread([&] { EXPECT_TRUE(instance->windowBusy); });
    close();
    EXPECT_THAT(takeCalls(), ElementsAre("view ends"));
}

TEST_F(Vst3EditorTest, AWindowThatComesAfterASecondIsTooLate) {
    load("late-view-window.vst3");
    openInVain(true);
}

TEST_F(Vst3EditorTest, AViewWithoutASizeIsOfNoneAtItsFirstOpening) {
    load("view-without-a-size.vst3");
    const CapturedOutput errors(STDERR_FILENO);
    open();
    const std::string line =
        "Unexpected result in location \"Vst3PluginInstance::openGUI#getSize\"kNotImplemented\n";
    EXPECT_EQ(errors.text(), line + line);
    onMainThread([&] {
        EXPECT_EQ(instance->windowWidth, 0);
        EXPECT_EQ(instance->windowHeight, 0);
    });
    EXPECT_TRUE(client.isMapped(window()));
}

TEST_F(Vst3EditorTest, AViewWithoutASizeKeepsItsLast) {
    load("view-without-a-size.vst3");
    place(70, 80, 320, 240);
    const CapturedOutput errors(STDERR_FILENO);
    open();
    // Asked once: the last size was given to it.
    EXPECT_EQ(errors.text(),
              "Unexpected result in location \"Vst3PluginInstance::openGUI#getSize\"kNotImplemented\n");
    EXPECT_EQ(windowSize(), (WindowRectangle{70, 80, 320, 240}));
}

TEST_F(Vst3EditorTest, ASizeThatTheViewAsksForIsThatOfBothWindowsAndThenOfTheView) {
    load("plain-view.vst3");
    open();
    settle();
    takeCalls();
    requestSize(320, 240);
    EXPECT_EQ(windowSize(), asLarge(320, 240));
    EXPECT_EQ(pluginWindowSize(), asLarge(320, 240));
    // Not within the question, but when the window has changed.
    EXPECT_THAT(takeCalls(), ElementsAre("resize answered 0", "size 0 0 320 240"));
    // The server's word of the new size is one more, which may come first.
    ASSERT_EQ(windowNotifications().size(), 2U);
    EXPECT_EQ(windowNotifications().back(), golden("05 03 00 00 00 00 00 00 00 00 00 00 00"
                                                   "00 00 01 40 00 00 00 F0"));
}

TEST_F(Vst3EditorTest, ASizeThatTheWindowHasIsNotToldAgain) {
    load("plain-view.vst3");
    open();
    settle();
    takeCalls();
    requestSize(200, 120);
    EXPECT_THAT(takeCalls(), ElementsAre("resize answered 0"));
    EXPECT_THAT(windowNotifications(), IsEmpty());
}

TEST_F(Vst3EditorTest, ATooSmallSizeLeavesTheWindowAlone) {
    load("plain-view.vst3");
    open();
    takeCalls();
    requestSize(10, 500);
    requestSize(500, 10);
    EXPECT_THAT(takeCalls(), ElementsAre("resize answered 0", "resize answered 0"));
    EXPECT_EQ(windowSize(), asLarge(200, 120));
    requestSize(11, 500);
    EXPECT_EQ(windowSize(), asLarge(11, 500));
}

TEST_F(Vst3EditorTest, ASizeForAClosedEditorIsPassedOver) {
    load("plain-view.vst3");
    EXPECT_TRUE(hasEditor());
    takeCalls();
    requestSize(320, 240);
    EXPECT_THAT(takeCalls(), ElementsAre("resize answered 0"));
    open();
    EXPECT_EQ(windowSize(), asLarge(200, 120));
}

TEST_F(Vst3EditorTest, ASizeThatIsAskedForWhileTheViewIsAttachedEndsWithTheOpening) {
    load("view-resizes-while-attached.vst3");
    open();
    settle();
    EXPECT_THAT(record->calls.all(), Contains("resize answered 0"));
    // The opening asks the view itself in the end; the queued size is told to it while the window is busy.
    EXPECT_EQ(windowSize(), asLarge(200, 120));
    EXPECT_EQ(pluginWindowSize(), asLarge(200, 120));
    // So that it isn't left with a size that its window doesn't have.
    EXPECT_EQ(lastSizeTold(), "size 0 0 200 120");
}

TEST_F(Vst3EditorTest, AViewWithoutASizeGetsTheOneThatItAsksForWhileItIsAttached) {
    load("view-without-a-size.vst3");
    record->onOpen = [this](uint32_t) { record->requestSize(320, 240); };
    openWithoutASize();
    settle();
    EXPECT_EQ(windowSize(), asLarge(320, 240));
    EXPECT_EQ(pluginWindowSize(), asLarge(320, 240));
    EXPECT_THAT(takeCalls(), ElementsAre("view editor", "frame", "attached X11EmbedWindowID",
                                         "resize answered 0", "size 0 0 320 240"));
}

TEST_F(Vst3EditorTest, AViewWithoutASizeGetsTheOneThatAThreadOfItsAsksForWhileItIsAttached) {
    load("view-without-a-size.vst3");
    record->onOpen = [this](uint32_t) { std::thread([this] { record->requestSize(320, 240); }).join(); };
    openWithoutASize();
    settle();
    EXPECT_EQ(windowSize(), asLarge(320, 240));
    EXPECT_EQ(pluginWindowSize(), asLarge(320, 240));
    EXPECT_EQ(lastSizeTold(), "size 0 0 320 240");
}

TEST_F(Vst3EditorTest, OfSizesThatAThreadAsksForDuringTheOpeningTheLastOneStays) {
    load("view-without-a-size.vst3");
    constexpr int32_t sizes = 100;
    constexpr int32_t lastWidth = 200 + sizes;
    for (int round = 0; round < 10; ++round) {
        std::thread thread;
        record->onOpen = [&](uint32_t) {
            thread = std::thread([this] {
                for (int32_t i = 1; i <= sizes; ++i)
                    record->requestSize(200 + i, 100 + i);
            });
        };
        openWithoutASize();
        thread.join();
        settle();
        EXPECT_EQ(windowSize(), asLarge(lastWidth, lastWidth - 100)) << round;
        EXPECT_EQ(lastSizeTold(), "size 0 0 300 200") << round;
        close();
        place(0, 0, 30, 20);
    }
}

TEST_F(Vst3EditorTest, ASizeThatIsAskedForWhileTheWindowIsBusyIsThatOfTheNextOpening) {
    load("plain-view.vst3");
    place(70, 80, 200, 120);
    open();
    settle();
    onMainThread([this] {
        instance->beginWindowChange();
        std::thread([this] { record->requestSize(320, 240); }).join();
    });
    settle();
    EXPECT_THAT(windowNotifications(), IsEmpty());
    EXPECT_EQ(windowSize(), (WindowRectangle{70, 80, 320, 240}));
    close();
    open();
    EXPECT_EQ(windowSize(), (WindowRectangle{70, 80, 320, 240}));
}

TEST_F(Vst3EditorTest, ASizeOfAnyEdgesIsHeldAtWhatTheWindowCanHave) {
    load("plain-view.vst3");
    open();
    settle();
    onMainThread([this] {
        auto& frame = dynamic_cast<Vst3PluginInstance&>(*instance);
        Steinberg::ViewRect endless(INT32_MIN, INT32_MIN, INT32_MAX, INT32_MAX);
        EXPECT_EQ(frame.resizeView(nullptr, &endless), kResultOk);
    });
    settle();
    EXPECT_EQ(windowSize(), asLarge(UINT16_MAX, UINT16_MAX));
    const std::string told = "size 0 0 " + std::to_string(INT32_MAX) + " " + std::to_string(INT32_MAX);
    EXPECT_EQ(lastSizeTold(), told);
    onMainThread([this] {
        auto& frame = dynamic_cast<Vst3PluginInstance&>(*instance);
        Steinberg::ViewRect turned(INT32_MAX, INT32_MAX, INT32_MIN, INT32_MIN);
        EXPECT_EQ(frame.resizeView(nullptr, &turned), kResultOk);
    });
    settle();
    EXPECT_THAT(takeCalls(), IsEmpty());
    EXPECT_EQ(windowSize(), asLarge(UINT16_MAX, UINT16_MAX));
}

TEST_F(Vst3EditorTest, AViewOfAnyEdgesIsHeldAtWhatTheWindowCanHave) {
    load("view-of-endless-size.vst3");
    open();
    EXPECT_EQ(windowSize(), asLarge(UINT16_MAX, UINT16_MAX));
    onMainThread([this] {
        EXPECT_EQ(instance->windowWidth, INT32_MAX);
        EXPECT_EQ(instance->windowHeight, INT32_MAX);
        int32_t width = 640;
        int32_t height = 480;
        instance->editorSetSize(width, height);
        EXPECT_EQ(width, INT32_MAX);
        EXPECT_EQ(height, INT32_MAX);
    });
}

TEST_F(Vst3EditorTest, SizesThatAClientMayChooseReachTheViewAndLeaveTheWindowAlone) {
    load("view-without-a-size.vst3");
    place(INT32_MAX, INT32_MIN, INT32_MIN, -1);
    openWithoutASize();
    EXPECT_EQ(takeCalls()[2], "size 0 0 " + std::to_string(INT32_MIN) + " -1");
    EXPECT_EQ(windowSize(), (WindowRectangle{client.rectangle(client.root).width - 400, 0, 400, 300}));
}

TEST_F(Vst3EditorTest, ADragThatTheEndOfTheEditorCutsOffIsOverForTheClient) {
    load("plain-view.vst3");
    open();
    onMainThread([this] { instance->beginParameterEdit(3); });
    close();
    EXPECT_THAT(notifications(), ElementsAre(golden("03 03 00 00 00 03 00 00 00 01"),
                                             golden("03 03 00 00 00 03 00 00 00 00"), closed));
}

TEST_F(Vst3EditorTest, ADragThatTheFailureOfTheEditorCutsOffIsOverForTheClient) {
    load("view-without-window.vst3");
    record->onOpen = [this](uint32_t) { instance->beginParameterEdit(3); };
    openInVain();
    EXPECT_THAT(notifications(), ElementsAre(golden("03 03 00 00 00 03 00 00 00 01"),
                                             golden("03 03 00 00 00 03 00 00 00 00"), closed));
}

TEST_F(Vst3EditorTest, AViewIsResizedWhileItsPlugInRenders) {
    load("view-resizes-on-the-audio-thread.vst3");
    startAudio();
    open();
    settle();
    record->requestSize(320, 240);
    std::thread worker([this] { instance->process(host().blockSize, false, false); });
    worker.join();
    settle();
    EXPECT_EQ(windowSize(), asLarge(320, 240));
    EXPECT_EQ(countCalls("size 0 0 320 240"), 1U);
}

TEST_F(Vst3EditorTest, AViewIsResizedOnAThreadOfThePlugIns) {
    load("view-resizes-on-a-thread.vst3");
    open();
    settle();
    record->requestSize(320, 240);
    EXPECT_TRUE(eventually([&] { return countCalls("size 0 0 320 240") == 1; }));
    EXPECT_EQ(windowSize(), asLarge(320, 240));
}

TEST_F(Vst3EditorTest, AViewThatIsResizedAllTheTimeStillMovesAndCloses) {
    load("view-resizes-in-a-loop.vst3");
    open();
    settle();
    EXPECT_TRUE(eventually([&] { return countCalls("resize answered 0") > 50; }));
    client.moveWindow(window(), 30, 40);
    settle();
    EXPECT_THAT(windowNotifications(),
                Contains(testing::StartsWith(golden("05 03 00 00 00 00 00 00 1E 00 00 00 28"))));
    close();
    const size_t sizes = record->calls.all().size();
    settle();
    EXPECT_EQ(windowNotifications().back(), closed);
    EXPECT_EQ(record->calls.all().size(), sizes) << "the view is told of sizes though it has gone";
}

TEST_F(Vst3EditorTest, AWindowThatThePlugInDestroysTakesNothingWithIt) {
    load("view-destroys-its-window.vst3");
    open();
    requestSize(320, 240);
    EXPECT_EQ(windowSize(), asLarge(320, 240));
    EXPECT_THAT(client.children(window()), IsEmpty());
    close();
    settle();
    EXPECT_THAT(windowNotifications().back(), closed);
}

TEST_F(Vst3EditorTest, ASizeThatIsToldGoesToTheViewAlsoWhileTheClientHearsNothing) {
    load("plain-view.vst3");
    open();
    settle();
    takeCalls();
    onMainThread([&] {
        instance->windowBusy = true;
        instance->editorSizeChanged(1, 2, 320, 240);
        instance->windowBusy = false;
        EXPECT_EQ(instance->windowWidth, 200);
    });
    EXPECT_THAT(takeCalls(), ElementsAre("size 0 0 320 240"));
    EXPECT_THAT(windowNotifications(), IsEmpty());
}

TEST_F(Vst3EditorTest, AViewThatTakesAllSizesIsAskedForEach) {
    load("plain-view.vst3");
    EXPECT_TRUE(hasEditor());
    onMainThread([&] {
        int32_t width = 640;
        int32_t height = 480;
        EXPECT_TRUE(instance->canResizeEditor());
        EXPECT_TRUE(instance->checkEditorSize(width, height));
        instance->editorSetSize(width, height);
        EXPECT_EQ(width, 640);
        EXPECT_EQ(height, 480);
    });
}

TEST_F(Vst3EditorTest, AViewPutsRightTheSizesThatItIsOffered) {
    load("view-rounds-sizes.vst3");
    EXPECT_TRUE(hasEditor());
    onMainThread([&] {
        int32_t width = 640;
        int32_t height = 480;
        EXPECT_TRUE(instance->checkEditorSize(width, height));
        EXPECT_EQ(width, 600);
        EXPECT_EQ(height, 400);
        width = 333;
        instance->editorSetSize(width, height);
        EXPECT_EQ(width, 300);
        EXPECT_EQ(height, 400);
    });
}

TEST_F(Vst3EditorTest, AViewThatRefusesSizesKeepsItsOwn) {
    load("view-refuses-sizes.vst3");
    EXPECT_TRUE(hasEditor());
    onMainThread([&] {
        int32_t width = 640;
        int32_t height = 480;
        EXPECT_FALSE(instance->canResizeEditor());
        EXPECT_FALSE(instance->checkEditorSize(width, height));
        EXPECT_EQ(width, 640);
        instance->editorSetSize(width, height);
        EXPECT_EQ(width, 200);
        EXPECT_EQ(height, 120);
    });
}

TEST_F(Vst3EditorTest, AViewWithContentScaleIsRecognisedAndNeverScaled) {
    load("view-with-content-scale.vst3", true);
    onMainThread([&] { EXPECT_TRUE(instance->supportsViewDpiScaling()); });
    open();
    close();
    EXPECT_EQ(countCalls("removed"), 1U);
    EXPECT_EQ(countCalls("scale"), 0U);
}

TEST_F(Vst3EditorTest, ContentScaleSupportOutlivesItsViewUntilThereIsAnother) {
    load("view-with-content-scale.vst3");
    open();
    close();
    EXPECT_EQ(countCalls("removed"), 1U);
    EXPECT_EQ(countCalls("view ends"), 0U);
    EXPECT_TRUE(hasEditor());
    EXPECT_EQ(countCalls("view ends"), 1U);
}

TEST_F(Vst3EditorTest, AViewWithoutContentScaleIsRecognised) {
    load("plain-view.vst3");
    onMainThread([&] { EXPECT_FALSE(instance->supportsViewDpiScaling()); });
    EXPECT_THAT(takeCalls(), ElementsAre("view editor", "frame"));
}

TEST_F(Vst3EditorTest, KeysGoToTheViewWithTheModifiersThatTheFormatHas) {
    load("plain-view.vst3");
    EXPECT_TRUE(hasEditor());
    takeCalls();
    onMainThread([&] {
        EXPECT_TRUE(instance->editorKeyDown('a', 5, 0x9));
        EXPECT_TRUE(instance->editorKeyUp('b', 6, 0x2));
        EXPECT_TRUE(instance->editorKeyUp('c', 7, ~0xB));
    });
    EXPECT_THAT(takeCalls(), ElementsAre("key down 97 5 3", "key up 98 6 4", "key up 99 7 0"));
}

TEST_F(Vst3EditorTest, WheelAndFocusGoToTheView) {
    load("plain-view.vst3");
    EXPECT_TRUE(hasEditor());
    takeCalls();
    onMainThread([&] {
        instance->editorMouseWheel(-0.5F);
        instance->editorFocusChanged(true);
        instance->editorFocusChanged(false);
    });
    EXPECT_THAT(takeCalls(), ElementsAre("wheel -0.500000", "focus 1", "focus 0"));
}

TEST_F(Vst3EditorTest, AWindowThatCannotBeMadeEndsTheOpeningAndTheClientIsTold) {
    load("plain-view.vst3");
    const CapturedOutput errors(STDERR_FILENO);
    onMainThread([&] {
        // A visual that the server doesn't have.
        const xcb_screen_t valid = *host().windows.display.screen;
        host().windows.display.screen->root_visual = host().windows.display.controlWindow;
        instance->openEditor(0, false, "Title");
        *host().windows.display.screen = valid;
    });
    EXPECT_EQ(errors.text(), "Could not create window: X11 Error code 8\n");
    EXPECT_THAT(takeCalls(), ElementsAre("view editor", "frame"));
    EXPECT_THAT(windowNotifications(), ElementsAre(closed));
    EXPECT_EQ(window(), 0U);
    onMainThread([&] { EXPECT_TRUE(instance->windowBusy); });
}
