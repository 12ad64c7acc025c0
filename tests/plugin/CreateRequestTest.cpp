// Bringing up an instance for a client. If these fail, a client hears of changes of an instance that it
// doesn't know yet, waits for ever on a plug-in that can't be loaded, or loses its host over one.

#include "plugin/PluginException.h"
#include "plugin/PluginHostRequests.h"
#include "support/StateBytes.h"
#include "support/TestHost.h"
#include "tests/plugin/RichInstance.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

using namespace test_support;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

class CreateRequestTest : public testing::Test {
protected:
    CreateRequestTest() {
        host.handler->onSetUpAudio = [this](PluginInstance& instance) {
            stateAt("setUpAudio", instance);
            const Ref<FakeAudioContext> context(new FakeAudioContext(256, 0, 0, 0));
            context->layOut();
            instance.setAudioContext(context);
        };
        plugin->onInstance = [this](FakePluginInstance& made) {
            instance = &made;
            made.onCall = [this, &made](const std::string& call) {
                stateAt(call, made);
                if (call == failingCall)
                    fail();
            };
        };
    }

    // Notes which flags an instance had at a step of its start.
    void stateAt(const std::string& step, PluginInstance& made) {
        steps.push_back(step + (made.notificationsMuted ? " muted" : "") +
                        (made.handler != nullptr ? " announced" : "") +
                        (host.host->instances.find(made.instanceId) == &made ? " in table" : ""));
    }

    void create(const String& path = "fake.so", const String& preset = "", int32_t instanceId = 3) {
        CreatePluginInstanceRequest request(instanceId, path, preset, "17", true);
        host.perform(request, 9);
    }

    TestHost host;
    Ref<FakePlugin> plugin = host.addPlugin("fake.so");
    /// The instance made last.
    Ref<FakePluginInstance> instance;
    std::vector<std::string> steps;
    std::string failingCall;
    std::function<void()> fail = [] { throw PluginException("it broke"); };
};

} // namespace

TEST_F(CreateRequestTest, AnInstanceIsBroughtUpInItsOrderAndAnnouncedAtTheEnd) {
    create();
    EXPECT_THAT(steps, ElementsAre("initialize", "activate muted in table", "setUpAudio muted in table"));
    EXPECT_THAT(host.log.all(), ElementsAre("createInstance 3 17 dpiAware", "initialize", "activate",
                                            "setUpAudio", HasSubstr("reply 9: ")));
    EXPECT_FALSE(instance->notificationsMuted);
    EXPECT_EQ(instance->handler.get(), host.handler.get());
    EXPECT_TRUE(instance->dpiAware);
    EXPECT_EQ(host.host->instances.find(3), instance.get());
}

TEST_F(CreateRequestTest, TheReplyTellsTheChannelsLatencyEditorAndState) {
    plugin->onInstance = [](FakePluginInstance& made) {
        makeRich(made);
        made.inputs = 2;
        made.outputs = 4;
        made.editor = true;
    };
    create();
    EXPECT_EQ(host.log.all().back(),
              "reply 9: " + golden("03 00 00 00 02 00 00 00 04 00 00 00 40 01 00 00 01" + richState()));
}

TEST_F(CreateRequestTest, APresetIsLoadedBetweenActivationAndAudio) {
    create("fake.so", "warm.fxp");
    EXPECT_THAT(steps, ElementsAre("initialize", "activate muted in table",
                                   "loadPreset warm.fxp muted in table", "setUpAudio muted in table"));
    EXPECT_THAT(host.log.all().back(), HasSubstr("reply 9: "));
}

TEST_F(CreateRequestTest, ChangesDuringTheStartAreSwallowed) {
    plugin->onInstance = [](FakePluginInstance& made) {
        made.onCall = [&made](const std::string&) {
            made.notifyParameterChanged(0, 0.5F);
            made.notifyAllParametersChanged();
        };
    };
    create("fake.so", "warm.fxp");
    for (const std::string& entry : host.log.all())
        EXPECT_THAT(entry, testing::Not(HasSubstr("notification")));
}

TEST_F(CreateRequestTest, AChangeAtTheReplysFirstQuestionsIsReported) {
    plugin->onInstance = [](FakePluginInstance& made) {
        made.parameters.resize(1);
        made.onLatencyQuestion = [&made] { made.notifyParameterChanged(0, 0.5F); };
    };
    create();
    EXPECT_THAT(host.log.all(),
                ElementsAre("createInstance 3 17 dpiAware", "initialize", "activate", "setUpAudio",
                            "notification: " + golden("00 03 00 00 00 00 00 00 00 00 00 00 3F"),
                            HasSubstr("reply 9: ")));
}

TEST_F(CreateRequestTest, APluginThatIsNotValidIsAnErrorReply) {
    plugin->valid = false;
    create();
    EXPECT_THAT(host.log.all(), ElementsAre("error 9: Couldn't load VST plug-in: fake.so"));
    EXPECT_TRUE(host.host->instances.isEmpty());
}

TEST_F(CreateRequestTest, APluginThatMakesNoInstanceIsAnErrorReply) {
    plugin->offersInstance = false;
    create();
    EXPECT_EQ(host.log.all().back(), "error 9: Couldn't instantiate VST plug-in: fake.so");
    EXPECT_TRUE(host.host->instances.isEmpty());
}

TEST_F(CreateRequestTest, AnyExceptionOfTheFamilyFromMakingTheInstanceIsAnErrorReply) {
    plugin->onCreate = [] { throw base::core::NumberFormatException("x"); };
    create();
    EXPECT_EQ(host.log.all().back(), "error 9: Invalid number: x");
    plugin->onCreate = [] { throw IOException("no disk"); };
    create();
    EXPECT_EQ(host.log.all().back(), "error 9: no disk");
    EXPECT_TRUE(host.host->instances.isEmpty());
}

TEST_F(CreateRequestTest, AnInstanceThatFailsToInitialiseIsAnErrorReplyAndStaysOutOfTheTable) {
    failingCall = "initialize";
    create();
    EXPECT_EQ(host.log.all().back(), "error 9: it broke");
    EXPECT_TRUE(host.host->instances.isEmpty());
}

TEST_F(CreateRequestTest, AForeignExceptionFromMakingTheInstanceIsCaughtByNobody) {
    plugin->onCreate = [] { throw std::runtime_error("foreign"); };
    EXPECT_THROW(create(), std::runtime_error);
    EXPECT_THAT(host.log.all(), ElementsAre("createInstance 3 17 dpiAware"));
}

TEST_F(CreateRequestTest, AnExceptionFromActivationIsCaughtByNobody) {
    failingCall = "activate";
    EXPECT_THROW(create(), PluginException);
    EXPECT_EQ(host.log.all().back(), "activate");
}

TEST_F(CreateRequestTest, AnExceptionFromSettingUpAudioIsCaughtByNobody) {
    host.handler->onSetUpAudio = [](PluginInstance&) { throw IOException("no memory"); };
    EXPECT_THROW(create(), IOException);
    EXPECT_EQ(host.log.all().back(), "setUpAudio");
}

TEST_F(CreateRequestTest, AnExceptionFromTheReplysQuestionsIsCaughtByNobody) {
    plugin->onInstance = [](FakePluginInstance& made) { made.parameters = {{"\xFF", "", "", 0, {}}}; };
    EXPECT_THROW(create(), IOException);
    EXPECT_EQ(host.log.all().back(), "setUpAudio");
}

TEST_F(CreateRequestTest, APresetThatFailsIsAnErrorReplyAndItsInstanceStays) {
    failingCall = "loadPreset bad.fxp";
    create("fake.so", "bad.fxp");
    EXPECT_EQ(host.log.all().back(), "error 9: it broke");
    EXPECT_EQ(host.host->instances.find(3), instance.get());
    EXPECT_EQ(instance->audio.getContext(), nullptr);
    EXPECT_EQ(instance->handler.get(), nullptr);
    EXPECT_TRUE(instance->notificationsMuted);
}

TEST_F(CreateRequestTest, AnInstanceWhosePresetFailedStillTellsItsIo) {
    failingCall = "loadPreset bad.fxp";
    create("fake.so", "bad.fxp");
    UpdateIORequest request(3);
    host.perform(request, 10);
    EXPECT_EQ(host.log.all().back(),
              "reply 10: " + golden("03 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00") + golden(emptyState));
    DestroyPluginInstanceRequest destroy(3);
    host.perform(destroy);
    EXPECT_TRUE(host.host->instances.isEmpty());
}

TEST_F(CreateRequestTest, AForeignExceptionFromThePresetIsCaughtByNobody) {
    failingCall = "loadPreset bad.fxp";
    fail = [] { throw std::runtime_error("foreign"); };
    EXPECT_THROW(create("fake.so", "bad.fxp"), std::runtime_error);
    EXPECT_EQ(host.log.all().back(), "loadPreset bad.fxp");
}

TEST_F(CreateRequestTest, AnIdInUseKeepsItsInstanceAndTheNewOneIsDroppedAfterItsReply) {
    create();
    const Ref<FakePluginInstance> first = instance;
    host.log.clear();
    create();
    EXPECT_NE(instance, first);
    EXPECT_EQ(host.host->instances.find(3), first.get());
    EXPECT_THAT(host.log.all().back(), HasSubstr("reply 9: "));
    instance = nullptr;
    EXPECT_EQ(host.log.all().back(), "~instance 3");
}

TEST_F(CreateRequestTest, PerformingItOnAnInstanceIsAFailedAssertion) {
    const Ref<FakePluginInstance> other = host.addInstance(4);
    testing::internal::CaptureStderr();
    CreatePluginInstanceRequest(4, "", "", "", false).performOnInstance(*other);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("Illegal state: Should not be called"));
}
