// The editors of VST 2 plug-ins. If these fail, a plug-in's window is cut off, misplaced or never shown, or
// plug-ins are told to close what they never opened.

#include "editors/EditorTest.h"

#include <csignal>
#include <sys/resource.h>

using namespace test_support;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Vst2EditorTest : public EditorTest {
protected:
    /// Opens an editor whose plug-in makes no window, or too late.
    void openUntold(bool tooLate = false) {
        openInVain(tooLate);
        EXPECT_EQ(countCalls("open"), 1U);
        EXPECT_EQ(countCalls("close"), 0U);
    }

    int32_t render(bool keepActive = false) {
        int32_t result = -1;
        onMainThread([&] { result = instance->process(host().blockSize, keepActive, false); });
        return result;
    }
};

/// Opens an editor where the server has no visual for its window.
void openWithoutServersLeave() {
    constexpr rlimit noCore{0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    // A fault that is meant, and no report of a sanitizer.
    std::signal(SIGSEGV, SIG_DFL);
    TestHost test;
    addFormats(*test.host);
    const Ref<PluginInstance> instance =
        test.host->createPluginInstance(3, TEST_PLUGIN_DIRECTORY "/plain-editor.so", "", false);
    test.host->windows.display.screen->root_visual = test.host->windows.display.controlWindow;
    instance->openEditor(0, false, "Title");
}

} // namespace

TEST_F(Vst2EditorTest, AnEditorIsAskedItsSizeOpenedAndAskedAgain) {
    load("plain-editor.so");
    open();
    EXPECT_THAT(record->calls.all(), ElementsAre("rectangle", "open", "rectangle"));
    EXPECT_EQ(windowSize(), asLarge(200, 120));
}

TEST_F(Vst2EditorTest, ASecondOpeningDoesNothingAndKeepsTheTitle) {
    load("plain-editor.so");
    open("First");
    const uint32_t first = window();
    record->calls.clear();
    open("Second");
    EXPECT_THAT(record->calls.all(), IsEmpty());
    EXPECT_EQ(window(), first);
    EXPECT_EQ(client.property(first, "WM_NAME").bytes, "First");
}

TEST_F(Vst2EditorTest, AFirstOpeningWithoutARectangleIsOfNoSize) {
    load("editor-without-rectangle.so");
    open();
    onMainThread([&] {
        EXPECT_EQ(instance->windowWidth, 0);
        EXPECT_EQ(instance->windowHeight, 0);
    });
    // A window of no size is nothing that a server has: it keeps the one that it was made with.
    EXPECT_EQ(windowSize(), asLarge(400, 300));
}

TEST_F(Vst2EditorTest, AnEditorWithoutARectangleKeepsItsLastSize) {
    load("editor-without-rectangle.so");
    place(10, 20, 333, 222);
    open();
    EXPECT_EQ(windowSize(), (WindowRectangle{10, 20, 333, 222}));
    EXPECT_EQ(pluginWindowSize(), asLarge(333, 222));
}

TEST_F(Vst2EditorTest, TheRectangleAfterTheOpeningCounts) {
    load("grows-when-opened.so");
    open();
    EXPECT_EQ(windowSize(), asLarge(320, 240));
    EXPECT_EQ(pluginWindowSize(), asLarge(320, 240));
}

TEST_F(Vst2EditorTest, APlugInThatMakesItsWindowLateIsWaitedFor) {
    load("late-editor-window.so");
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

TEST_F(Vst2EditorTest, APlugInWithoutAWindowIsNotToldThatItsEditorClosesAndTheClientIs) {
    load("editor-without-window.so");
    openUntold();
}

TEST_F(Vst2EditorTest, AWindowThatComesAfterASecondIsTooLate) {
    load("late-editor-window.so");
    openUntold(true);
}

TEST_F(Vst2EditorTest, MovesAreDroppedAfterAFailedOpeningUntilTheNext) {
    load("editor-without-window.so");
    openUntold();
    onMainThread([&] { EXPECT_TRUE(instance->windowBusy); });
    running.log().clear();
    onMainThread([&] { instance->editorSizeChanged(0, 0, 640, 480); });
    EXPECT_THAT(windowNotifications(), IsEmpty());
}

TEST_F(Vst2EditorTest, TheFirstOfTwoWindowsIsTaken) {
    load("editor-with-two-windows.so");
    open();
    const std::vector<uint32_t> children = client.children(window());
    ASSERT_EQ(children.size(), 2U);
    EXPECT_EQ(client.rectangle(children[0]), asLarge(200, 120));
    EXPECT_EQ(client.rectangle(children[1]), (WindowRectangle{7, 7, 200, 120}));
}

TEST_F(Vst2EditorTest, AClientThatIsNotAwareOfScalesHasNoneTold) {
    load("plain-editor.so");
    open();
    EXPECT_EQ(countCalls("vendor 50726553 41654373 1"), 0U);
}

TEST_F(Vst2EditorTest, AnAwareClientHasTheScaleToldBeforeTheOpening) {
    load("plain-editor.so", true);
    open();
    EXPECT_THAT(record->calls.all(),
                ElementsAre("rectangle", "vendor 50726553 41654373 1", "open", "rectangle"));
}

TEST_F(Vst2EditorTest, ClosingAClosedEditorTellsNobody) {
    load("plain-editor.so");
    close();
    settle();
    EXPECT_THAT(record->calls.all(), IsEmpty());
    EXPECT_THAT(windowNotifications(), IsEmpty());
}

TEST_F(Vst2EditorTest, AClosedEditorIsToldWhileItsWindowStandsAndTheClientOnce) {
    load("plain-editor.so");
    open();
    record->calls.clear();
    close();
    settle();
    EXPECT_THAT(record->calls.all(), ElementsAre("close"));
    EXPECT_THAT(windowNotifications(), ElementsAre(closed));
}

TEST_F(Vst2EditorTest, AnEditorThatIsSaidToHaveBeenClosedIsToldTwice) {
    load("plain-editor.so");
    open();
    onMainThread([&] { instance->editorWasClosed(); });
    EXPECT_EQ(countCalls("close"), 1U);
    EXPECT_THAT(windowNotifications(), ElementsAre(closed, closed));
}

TEST_F(Vst2EditorTest, AnEditorOpensAgain) {
    load("plain-editor.so");
    open();
    close();
    open();
    EXPECT_EQ(countCalls("open"), 2U);
    EXPECT_TRUE(client.isMapped(window()));
}

TEST_F(Vst2EditorTest, TerminatingAnInstanceClosesItsEditor) {
    load("plain-editor.so");
    open();
    request<DestroyPluginInstanceRequest>(instanceId);
    EXPECT_EQ(countCalls("close"), 1U);
    EXPECT_THAT(windowNotifications(), ElementsAre(closed));
    onMainThread([&] { instance = nullptr; });
}

TEST_F(Vst2EditorTest, ASizeThatThePlugInAsksForIsThatOfBothWindows) {
    load("plain-editor.so");
    open();
    requestSize(320, 240);
    EXPECT_EQ(windowSize(), asLarge(320, 240));
    EXPECT_EQ(pluginWindowSize(), asLarge(320, 240));
    const std::vector<uint32_t> hints = client.words(window(), "WM_NORMAL_HINTS");
    ASSERT_EQ(hints.size(), 18U);
    EXPECT_THAT(std::vector(hints.begin() + 5, hints.begin() + 9), ElementsAre(320, 240, 320, 240));
}

TEST_F(Vst2EditorTest, ANewSizeIsToldWithTheNextMove) {
    load("plain-editor.so");
    open();
    settle();
    requestSize(320, 240);
    client.moveWindow(window(), 30, 40);
    settle();
    EXPECT_EQ(windowNotifications().back(), golden("05 03 00 00 00 00 00 00 1E 00 00 00 28"
                                                   "00 00 01 40 00 00 00 F0"));
}

TEST_F(Vst2EditorTest, ATooNarrowSizeIsStoredAndLeavesTheWindowAlone) {
    load("plain-editor.so");
    open();
    requestSize(9, 300);
    EXPECT_EQ(windowSize(), asLarge(200, 120));
    onMainThread([&] {
        EXPECT_EQ(instance->windowWidth, 9);
        EXPECT_EQ(instance->windowHeight, 300);
    });
    requestSize(10, 500);
    EXPECT_EQ(windowSize(), asLarge(10, 500));
}

TEST_F(Vst2EditorTest, ASizeForAClosedEditorIsThatOfItsWindowLater) {
    load("resizes-while-opening.so");
    requestSize(150, 140);
    onMainThread([&] {
        EXPECT_EQ(instance->windowWidth, 150);
        EXPECT_EQ(instance->windowHeight, 140);
    });
    EXPECT_EQ(window(), 0U);
}

TEST_F(Vst2EditorTest, ASizeThatIsAskedForDuringTheOpeningHolds) {
    load("resizes-while-opening.so");
    open();
    EXPECT_EQ(windowSize(), asLarge(320, 240));
    EXPECT_EQ(pluginWindowSize(), asLarge(320, 240));
    settle();
    EXPECT_THAT(windowNotifications(), IsEmpty());
}

TEST_F(Vst2EditorTest, APlugInResizesItsEditorWhileItRenders) {
    load("resizes-on-the-audio-thread.so");
    startAudio();
    open();
    record->requestSize(320, 240);
    std::thread worker([this] { instance->process(host().blockSize, false, false); });
    worker.join();
    settle();
    EXPECT_EQ(windowSize(), asLarge(320, 240));
    EXPECT_EQ(pluginWindowSize(), asLarge(320, 240));
}

TEST_F(Vst2EditorTest, APlugInResizesItsEditorOnAThreadOfItsOwn) {
    load("resizes-on-a-thread.so");
    open();
    record->requestSize(320, 240);
    EXPECT_TRUE(eventually([&] { return windowSize() == asLarge(320, 240); }));
    EXPECT_TRUE(eventually([&] { return pluginWindowSize() == asLarge(320, 240); }));
}

TEST_F(Vst2EditorTest, APlugInThatResizesItsEditorAllTheTimeStillMovesAndCloses) {
    load("resizes-in-a-loop.so");
    open();
    settle();
    client.moveWindow(window(), 30, 40);
    EXPECT_TRUE(eventually([&] { return countCalls("resized") > 50; }));
    settle();
    const std::vector<std::string> moves = windowNotifications();
    ASSERT_FALSE(moves.empty());
    EXPECT_THAT(moves.back(), testing::StartsWith(golden("05 03 00 00 00 00 00 00 1E 00 00 00 28")));
    close();
    settle();
    EXPECT_THAT(windowNotifications().back(), closed);
}

TEST_F(Vst2EditorTest, AWindowThatThePlugInDestroysTakesNothingWithIt) {
    load("destroys-its-editor-window.so");
    open();
    requestSize(320, 240);
    EXPECT_EQ(windowSize(), asLarge(320, 240));
    EXPECT_THAT(client.children(window()), IsEmpty());
    close();
    open();
    EXPECT_EQ(pluginWindowSize(), asLarge(200, 120));
}

TEST_F(Vst2EditorTest, OnlyAnOpenEditorIsGivenTime) {
    load("plain-editor.so");
    record->idles = 0;
    open();
    EXPECT_TRUE(eventually([&] { return record->idles > 2; }));
    close();
    const int32_t idles = record->idles;
    onMainThread([&] { instance->idle(); });
    EXPECT_EQ(record->idles, idles);
}

TEST_F(Vst2EditorTest, AnOpenEditorKeepsThePlugInRunning) {
    load("plain-editor.so");
    startAudio();
    open();
    EXPECT_EQ(render(), processActive);
    close();
    EXPECT_NE(render(), processActive);
}

TEST(Vst2EditorDeathTest, AHostThatCannotMakeItsWindowsEnds) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(openWithoutServersLeave(), "Could not create window: X11 Error code 8");
}
