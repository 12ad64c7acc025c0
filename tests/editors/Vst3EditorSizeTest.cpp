// The sizes of VST 3 editors. If these fail, a view and its window are of different sizes, a view that asks
// for another doesn't get it, or the client is told one that the window doesn't have.

#include "editors/Vst3EditorTest.h"
#include "vst3/Vst3PluginInstance.h"

#include <thread>

using namespace test_support;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

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
