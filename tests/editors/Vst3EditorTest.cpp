// The editors of VST 3 plug-ins. If these fail, views are never found, attached twice, or left attached to a
// window that is gone.

#include "editors/Vst3EditorTest.h"
#include "plugin/Extensions.h"

using namespace test_support;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;

namespace {

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

TEST_F(Vst3EditorTest, AViewMakesItsWindowInTheRunLoopWhileTheHostWaits) {
    const ScopedExtensions extensions{ExtensionSet{Extension::runLoop}};
    load("view-needs-a-loop.vst3");
    open();
    ASSERT_NE(window(), 0U);
    EXPECT_TRUE(client.isMapped(window()));
    EXPECT_EQ(pluginWindowSize(), asLarge(200, 120));
    EXPECT_THAT(takeCalls(), IsSupersetOf({"view editor", "frame", "timer", "descriptor"}));
    close();
    EXPECT_EQ(window(), 0U);
}

TEST_F(Vst3EditorTest, WithoutTheExtensionAViewGetsNoRunLoop) {
    load("view-needs-a-loop.vst3");
    openInVain();
    EXPECT_THAT(takeCalls(), Contains("no loop"));
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
