// What each request does on the main thread, other than bringing up an instance. If these fail, a client's
// commands go to the wrong instance or do the wrong thing, or a failure that could have been answered takes
// the host down.

#include "plugin/PluginException.h"
#include "plugin/PluginHostRequests.h"
#include "support/StateBytes.h"
#include "support/TestHost.h"
#include "tests/plugin/RichInstance.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <unistd.h>

using namespace test_support;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class RequestsTest : public testing::Test {
protected:
    ~RequestsTest() override {
        std::error_code ignored;
        std::filesystem::remove_all(directory, ignored);
    }

    void perform(PluginHostRequest&& request, int32_t requestId = 9) { host.perform(request, requestId); }

    // Makes one call of the instance fail.
    template <class Failure>
    void failAt(const std::string& failingCall) {
        instance->onCall = [failingCall](const std::string& call) {
            if (call == failingCall)
                throw Failure("it broke");
        };
    }

    FakePluginWindow* openWindow(FakePluginInstance& owner, uint32_t id) {
        auto* window = new FakePluginWindow(id, host.log);
        owner.window = window;
        return window;
    }

    TestHost host;
    Ref<FakePluginInstance> instance = host.addInstance(3);
    /// Made by the tests that need it.
    std::filesystem::path directory =
        std::filesystem::temp_directory_path() / ("requests-test-" + std::to_string(getpid()));
};

} // namespace

TEST_F(RequestsTest, AnUnknownInstanceIsALineOnTheErrorStreamAndNoReply) {
    const Ref<PluginInstanceRequest> requests[] = {new DestroyPluginInstanceRequest(77),
                                                   new OpenGUIRequest(77, 0, false, "title"),
                                                   new CloseGUIRequest(77),
                                                   new UpdateIORequest(77),
                                                   new LoadPresetRequest(77, "a.fxp"),
                                                   new SavePresetRequest(77, "a.fxp"),
                                                   new SetCurrentProgramRequest(77, 0),
                                                   new SetWindowTitleRequest(77, "title"),
                                                   new SetWindowPositionRequest(77, 0, 0, 1, 1)};
    for (const Ref<PluginInstanceRequest>& request : requests) {
        testing::internal::CaptureStderr();
        host.perform(*request, 9);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "No plugin instance found with id 77\n")
            << "type " << request->getType();
    }
    EXPECT_THAT(host.log.all(), IsEmpty());
    testing::internal::CaptureStderr();
    perform(CloseGUIRequest(-7));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "No plugin instance found with id -7\n");
}

TEST_F(RequestsTest, DestroyTerminatesTheInstanceBeforeItLeavesTheTable) {
    bool wasInTable = false;
    instance->onCall = [&](const std::string&) { wasInTable = host.host->instances.find(3) != nullptr; };
    perform(DestroyPluginInstanceRequest(3));
    EXPECT_TRUE(wasInTable);
    EXPECT_EQ(host.host->instances.find(3), nullptr);
    EXPECT_THAT(host.log.all(), ElementsAre("terminate"));
}

TEST_F(RequestsTest, DestroyDropsTheLastReferenceOnlyWhenItIsDone) {
    instance = nullptr;
    perform(DestroyPluginInstanceRequest(3));
    EXPECT_THAT(host.log.all(), ElementsAre("terminate", "~instance 3"));
}

TEST_F(RequestsTest, OpenGuiPassesTheLowHalfOfTheParentWindow) {
    perform(OpenGUIRequest(3, 0x0ABBCCDD80000001, true, "Synth"));
    perform(OpenGUIRequest(3, 5, false, "é"));
    EXPECT_THAT(host.log.all(), ElementsAre("openEditor 2147483649 resizable Synth", "openEditor 5 fixed é"));
}

TEST_F(RequestsTest, CloseGuiClosesTheEditor) {
    perform(CloseGUIRequest(3));
    EXPECT_THAT(host.log.all(), ElementsAre("closeEditor 3"));
}

TEST_F(RequestsTest, SetWindowTitleGoesToTheOpenWindowAndNowhereWithoutOne) {
    perform(SetWindowTitleRequest(3, "unseen"));
    openWindow(*instance, 11);
    perform(SetWindowTitleRequest(3, "Synth"));
    EXPECT_THAT(host.log.all(), ElementsAre("window 11 setTitle Synth"));
}

TEST_F(RequestsTest, SetWindowPositionWithoutAWindowOnlyStoresTheValues) {
    perform(SetWindowPositionRequest(3, -10, 20, 300, 200));
    EXPECT_EQ(instance->windowX, -10);
    EXPECT_EQ(instance->windowY, 20);
    EXPECT_EQ(instance->windowWidth, 300);
    EXPECT_EQ(instance->windowHeight, 200);
    EXPECT_TRUE(instance->hasWindowPosition);
    EXPECT_THAT(host.log.all(), IsEmpty());
}

TEST_F(RequestsTest, SetWindowPositionMovesNoOpenWindowEither) {
    openWindow(*instance, 11);
    perform(SetWindowPositionRequest(3, 10, 20, 300, 200));
    EXPECT_TRUE(instance->hasWindowPosition);
    EXPECT_THAT(host.log.all(), IsEmpty());
}

TEST_F(RequestsTest, UpdateIoAnswersWithTheChannelsLatencyAndStateOfNow) {
    makeRich(*instance);
    instance->inputs = 2;
    instance->outputs = 4;
    perform(UpdateIORequest(3), 12);
    EXPECT_THAT(
        host.log.all(),
        ElementsAre("reply 12: " + golden("03 00 00 00 02 00 00 00 04 00 00 00 40 01 00 00" + richState())));
}

TEST_F(RequestsTest, AnExceptionFromUpdateIoIsCaughtByNobody) {
    instance->parameters = {{"\xFF", "", "", 0, {}}};
    EXPECT_THROW(perform(UpdateIORequest(3)), IOException);
    EXPECT_THAT(host.log.all(), IsEmpty());
}

TEST_F(RequestsTest, LoadPresetAnswersWithNoMoreThanItsSuccess) {
    perform(LoadPresetRequest(3, "warm.fxp"));
    EXPECT_THAT(host.log.all(), ElementsAre("loadPreset warm.fxp", "reply 9: "));
}

TEST_F(RequestsTest, APresetThatCannotBeReadIsAnErrorReply) {
    failAt<IOException>("loadPreset warm.fxp");
    perform(LoadPresetRequest(3, "warm.fxp"));
    EXPECT_THAT(host.log.all(), ElementsAre("loadPreset warm.fxp", "error 9: it broke"));
}

TEST_F(RequestsTest, AnyOtherExceptionOfLoadingAPresetIsCaughtByNobody) {
    failAt<PluginException>("loadPreset warm.fxp");
    EXPECT_THROW(perform(LoadPresetRequest(3, "warm.fxp")), PluginException);
    EXPECT_THAT(host.log.all(), ElementsAre("loadPreset warm.fxp"));
}

TEST_F(RequestsTest, SavePresetMakesTheDirectoriesAboveItsPath) {
    const std::filesystem::path file = directory / "a" / "b" / "warm.fxp";
    perform(SavePresetRequest(3, file.c_str()));
    EXPECT_TRUE(std::filesystem::is_directory(directory / "a" / "b"));
    EXPECT_FALSE(std::filesystem::exists(file));
    EXPECT_THAT(host.log.all(), ElementsAre("savePreset " + file.string(), "reply 9: "));
}

TEST_F(RequestsTest, SavePresetHandsOnItsPathAsItCame) {
    const std::string file = directory.string() + "/a/../b/./warm.fxp";
    perform(SavePresetRequest(3, file.c_str()));
    EXPECT_TRUE(std::filesystem::is_directory(directory / "b"));
    EXPECT_FALSE(std::filesystem::exists(directory / "a"));
    EXPECT_THAT(host.log.all(), ElementsAre("savePreset " + file, "reply 9: "));
}

TEST_F(RequestsTest, APresetThatCannotBeWrittenIsAnErrorReply) {
    const std::string file = (directory / "warm.fxp").string();
    failAt<IOException>("savePreset " + file);
    perform(SavePresetRequest(3, file.c_str()));
    EXPECT_THAT(host.log.all(), ElementsAre("savePreset " + file, "error 9: it broke"));
}

TEST_F(RequestsTest, ADirectoryThatCannotBeMadeIsAnErrorReplyBeforeAnythingIsSaved) {
    std::filesystem::create_directory(directory);
    std::ofstream(directory / "file") << "no directory";
    const std::string file = (directory / "file" / "below" / "warm.fxp").string();
    perform(SavePresetRequest(3, file.c_str()));
    EXPECT_THAT(host.log.all(), ElementsAre(testing::StartsWith("error 9: ")));
}

TEST_F(RequestsTest, AnyOtherExceptionOfSavingAPresetIsCaughtByNobody) {
    const std::string file = (directory / "warm.fxp").string();
    failAt<PluginException>("savePreset " + file);
    EXPECT_THROW(perform(SavePresetRequest(3, file.c_str())), PluginException);
    EXPECT_THAT(host.log.all(), ElementsAre("savePreset " + file));
}

TEST_F(RequestsTest, SetCurrentProgramChoosesAndAnswersNothing) {
    perform(SetCurrentProgramRequest(3, -5));
    EXPECT_THAT(host.log.all(), ElementsAre("setCurrentProgram -5"));
}

TEST_F(RequestsTest, AnExceptionOfARequestWithoutAReplyIsCaughtByNobody) {
    failAt<IOException>("setCurrentProgram 1");
    EXPECT_THROW(perform(SetCurrentProgramRequest(3, 1)), IOException);
    failAt<PluginException>("terminate");
    EXPECT_THROW(perform(DestroyPluginInstanceRequest(3)), PluginException);
    EXPECT_EQ(host.host->instances.find(3), instance.get());
}

TEST_F(RequestsTest, HideAllHidesEachOpenWindowOnce) {
    const Ref<FakePluginInstance> closed = host.addInstance(4);
    const Ref<FakePluginInstance> hidden = host.addInstance(5);
    FakePluginWindow* window = openWindow(*instance, 11);
    openWindow(*hidden, 12);
    hidden->windowHidden = true;
    bool markedBefore = false;
    window->onChange = [&] { markedBefore = instance->windowHidden; };
    perform(HideAllGUIsRequest());
    EXPECT_THAT(host.log.all(), ElementsAre("window 11 hide"));
    EXPECT_TRUE(markedBefore) << "its unmapping could have been reported as a move";
    EXPECT_TRUE(instance->windowHidden);
    EXPECT_FALSE(closed->windowHidden);
    perform(HideAllGUIsRequest());
    EXPECT_EQ(host.log.all().size(), 1U);
}

TEST_F(RequestsTest, ShowAllShowsHiddenWindowsAtTheirLastPlaceWithoutReportingIt) {
    const Ref<FakePluginInstance> visible = host.addInstance(4);
    const Ref<FakePluginInstance> closed = host.addInstance(5);
    FakePluginWindow* window = openWindow(*instance, 11);
    openWindow(*visible, 12);
    closed->windowHidden = true;
    instance->windowHidden = true;
    instance->windowX = 10;
    instance->windowY = -20;
    int busy = 0;
    window->onChange = [&] { busy += instance->windowBusy && instance->windowHidden ? 1 : 0; };
    perform(ShowAllGUIsRequest());
    EXPECT_THAT(host.log.all(), ElementsAre("window 11 show", "window 11 move 10 -20"));
    EXPECT_EQ(busy, 2) << "a move by the host could have been reported as the user's";
    EXPECT_TRUE(instance->windowBusy) << "the server hasn't told yet of what was done";
    EXPECT_FALSE(instance->windowHidden);
    EXPECT_TRUE(closed->windowHidden) << "an instance without a window is passed over";
}

TEST_F(RequestsTest, ActivateAndDeactivateAppDoNothing) {
    perform(ActivateAppGUIRequest());
    perform(DeactivateAppGUIRequest());
    EXPECT_THAT(host.log.all(), IsEmpty());
}

TEST_F(RequestsTest, ShutdownIsTheHandlersBusiness) {
    perform(ShutdownRequest());
    EXPECT_THAT(host.log.all(), ElementsAre("shutdown"));
}

TEST_F(RequestsTest, APingIsAnsweredEmpty) {
    perform(PingRequest(), -1);
    EXPECT_THAT(host.log.all(), ElementsAre("empty reply -1"));
}
