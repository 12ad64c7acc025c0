// If these fail, what a user does in a plug-in's editor doesn't reach the application or reaches it as a
// change of another parameter, or a plug-in that calls its host at the wrong moment brings it down.

#include "plugin/PluginHostNotifications.h"
#include "support/StopHost.h"
#include "vst3/Vst3Fixture.h"

#include <cmath>
#include <limits>
#include <pluginterfaces/vst/ivsthostapplication.h>
#include <thread>

using namespace test_support;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr Vst::ParamID gain = 700; // the first parameter
constexpr Vst::ParamID mix = 30;   // the second
constexpr Vst::ParamID unknown = 31;

class Vst3Edits : public Vst3Test {
protected:
    Vst3Edits() {
        instance->initialize();
        announce();
    }
    ~Vst3Edits() override { host->handler = nullptr; }

    // From here on the client hears of the instance.
    void announce() {
        instance->handler = handler.get();
        host->handler = handler;
        host->instances.insert(instanceId, Ref<PluginInstance>(instance.get()));
        record->takeCalls();
    }

    Vst::IComponentHandler& pluginsHandler() { return *record->handler; }

    // What the client was told, a line each.
    std::vector<std::string> told() {
        std::vector<std::string> lines;
        for (const Ref<PluginHostNotification>& notification : handler->notifications)
            lines.push_back(describe(*notification));
        handler->notifications.clear();
        return lines;
    }

    static std::string describe(PluginHostNotification& notification) {
        if (const auto* value = dynamic_cast<UpdateParameterNotification*>(&notification))
            return "value " + std::to_string(value->parameterIndex) + ": " + std::to_string(value->value);
        if (const auto* edit = dynamic_cast<BeginOrEndEditParameterNotification*>(&notification))
            return (edit->isBegin ? "begin " : "end ") + std::to_string(edit->parameterIndex);
        if (dynamic_cast<UpdateAllParametersNotification*>(&notification) != nullptr)
            return "everything";
        return "something else";
    }

    Ref<Vst3PluginInstance> instance = create("records-its-calls");
};

} // namespace

TEST_F(Vst3Edits, AnEditIsToldByTheParametersIndex) {
    EXPECT_EQ(pluginsHandler().beginEdit(mix), kResultOk);
    EXPECT_EQ(pluginsHandler().performEdit(mix, 0.5), kResultOk);
    EXPECT_EQ(pluginsHandler().endEdit(mix), kResultOk);
    EXPECT_EQ(pluginsHandler().performEdit(gain, 0.25), kResultOk);
    EXPECT_THAT(told(), ElementsAre("begin 1", "value 1: 0.500000", "end 1", "value 0: 0.250000"));
}

TEST_F(Vst3Edits, TheEndsOfTheRangeArePartOfIt) {
    EXPECT_EQ(pluginsHandler().performEdit(gain, 1.0), kResultOk);
    EXPECT_EQ(pluginsHandler().performEdit(gain, 0.0), kResultOk);
    EXPECT_THAT(told(), ElementsAre("value 0: 1.000000", "value 0: 0.000000"));
}

TEST_F(Vst3Edits, AValueOutsideOfTheRangeIsInvalid) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    for (const double value : {1.0000001, 2.0, -1e-300, -1.0, infinity, -infinity})
        EXPECT_EQ(pluginsHandler().performEdit(gain, value), kInvalidArgument) << value;
    EXPECT_THAT(told(), IsEmpty());
}

TEST_F(Vst3Edits, AValueThatIsNoNumberPasses) {
    EXPECT_EQ(pluginsHandler().performEdit(gain, std::nan("")), kResultOk);
    ASSERT_EQ(handler->notifications.size(), 1U);
    const auto* told = dynamic_cast<UpdateParameterNotification*>(handler->notifications[0].get());
    ASSERT_NE(told, nullptr);
    EXPECT_TRUE(std::isnan(told->value));
}

TEST_F(Vst3Edits, AnEditOfAParameterThatIsNotThereIsInvalid) {
    EXPECT_EQ(pluginsHandler().beginEdit(unknown), kInvalidArgument);
    EXPECT_EQ(pluginsHandler().performEdit(unknown, 0.5), kInvalidArgument);
    EXPECT_EQ(pluginsHandler().endEdit(unknown), kInvalidArgument);
    EXPECT_EQ(pluginsHandler().performEdit(Vst::kNoParamId, 0.5), kInvalidArgument);
    EXPECT_THAT(told(), IsEmpty());
}

TEST_F(Vst3Edits, AnEditWithoutAControllerIsInvalid) {
    instance = create("without-audio-buses");
    Vst::IComponentHandler* componentsHandler = interfaceOf<Vst::IComponentHandler>(record->componentContext);
    EXPECT_EQ(componentsHandler->performEdit(0, 0.5), kInvalidArgument);
    EXPECT_EQ(componentsHandler->restartComponent(0), kResultOk);
}

TEST_F(Vst3Edits, AKnownParameterIsFoundWithoutAsking) {
    record->parameterQuestions = 0;
    pluginsHandler().beginEdit(mix);
    EXPECT_EQ(record->parameterQuestions, 2);
    pluginsHandler().performEdit(mix, 0.5);
    pluginsHandler().performEdit(gain, 0.5);
    EXPECT_EQ(record->parameterQuestions, 2);
}

TEST_F(Vst3Edits, AnUnknownParameterIsLookedForInAllEachTime) {
    record->parameterQuestions = 0;
    pluginsHandler().beginEdit(unknown);
    pluginsHandler().performEdit(unknown, 0.5);
    EXPECT_EQ(record->parameterQuestions, 4);
}

TEST_F(Vst3Edits, AParameterThatTurnsUpLaterIsFound) {
    EXPECT_EQ(pluginsHandler().performEdit(unknown, 0.5), kInvalidArgument);
    record->parameterIds = {gain, mix, unknown};
    EXPECT_EQ(pluginsHandler().performEdit(unknown, 0.5), kResultOk);
    EXPECT_THAT(told(), ElementsAre("value 2: 0.500000"));
}

TEST_F(Vst3Edits, AParameterThatIsGoneKeepsItsIndex) {
    pluginsHandler().beginEdit(mix);
    record->parameterIds = {unknown};
    pluginsHandler().restartComponent(Vst::kReloadComponent);
    told();
    EXPECT_EQ(pluginsHandler().performEdit(mix, 0.5), kResultOk);
    EXPECT_EQ(pluginsHandler().performEdit(unknown, 0.5), kResultOk);
    EXPECT_EQ(pluginsHandler().performEdit(gain, 0.5), kResultOk);
    EXPECT_THAT(told(), ElementsAre("value 1: 0.500000", "value 0: 0.500000", "value 0: 0.500000"));
}

TEST_F(Vst3Edits, OfTwoParametersWithOneIdTheLaterIsMeant) {
    record->parameterIds = {unknown, unknown};
    pluginsHandler().performEdit(unknown, 0.5);
    EXPECT_THAT(told(), ElementsAre("value 1: 0.500000"));
}

TEST_F(Vst3Edits, ARestartTellsEverythingWhateverItsFlagsAre) {
    constexpr Steinberg::int32 all = std::numeric_limits<Steinberg::int32>::max();
    for (const Steinberg::int32 flags :
         {0, Steinberg::int32{Vst::kParamValuesChanged}, Steinberg::int32{Vst::kReloadComponent},
          Steinberg::int32{Vst::kIoChanged}, Steinberg::int32{Vst::kLatencyChanged}, all, -1}) {
        instance->allParametersChanged = false;
        EXPECT_EQ(pluginsHandler().restartComponent(flags), kResultOk);
        EXPECT_THAT(told(), ElementsAre("everything"));
        EXPECT_TRUE(instance->allParametersChanged);
    }
    EXPECT_THAT(calls(), IsEmpty()) << "nothing is set up anew";
}

TEST_F(Vst3Edits, NothingIsToldWhileTheInstanceIsMutedAndNothingLater) {
    instance->notificationsMuted = true;
    EXPECT_EQ(pluginsHandler().beginEdit(gain), kResultOk);
    EXPECT_EQ(pluginsHandler().performEdit(gain, 0.5), kResultOk);
    EXPECT_EQ(pluginsHandler().restartComponent(0), kResultOk);
    instance->notificationsMuted = false;
    instance->idle();
    EXPECT_THAT(told(), IsEmpty());
}

TEST_F(Vst3Edits, ATerminatedInstanceIsNotReached) {
    instance->terminate();
    EXPECT_EQ(pluginsHandler().beginEdit(gain), kInvalidArgument);
    EXPECT_EQ(pluginsHandler().performEdit(gain, 0.5), kInvalidArgument);
    EXPECT_EQ(pluginsHandler().endEdit(gain), kInvalidArgument);
    EXPECT_EQ(pluginsHandler().restartComponent(Vst::kReloadComponent), kResultFalse);
    EXPECT_THAT(told(), IsEmpty());
}

TEST_F(Vst3Edits, ACallWhileTheInstanceIsLetGoOfReachesNobody) {
    std::vector<tresult> answers;
    record->onCall = [&](const std::string& call) {
        if (call == "controller gone") {
            answers.push_back(pluginsHandler().performEdit(gain, 0.5));
            answers.push_back(pluginsHandler().restartComponent(0));
        }
    };
    host->instances.remove(instanceId);
    instance = nullptr;
    EXPECT_THAT(answers, ElementsAre(kInvalidArgument, kResultFalse));
    EXPECT_THAT(told(), IsEmpty());
}

TEST_F(Vst3Edits, AComponentMayCallBackWhileItIsInitialised) {
    const Ref<Vst3Plugin> plugin = load("records-its-calls");
    std::u16string name;
    std::vector<tresult> answers;
    record->onCall = [&](const std::string& call) {
        if (call != "component initialize")
            return;
        Vst::String128 text;
        interfaceOf<Vst::IHostApplication>(record->componentContext)->getName(text);
        name = text;
        const auto componentsHandler = interfaceOf<Vst::IComponentHandler>(record->componentContext);
        answers.push_back(componentsHandler->performEdit(gain, 0.5));
        answers.push_back(componentsHandler->restartComponent(Vst::kReloadComponent));
    };
    const Ref<Vst3PluginInstance> other = create(plugin);
    EXPECT_EQ(name, u"Tanvex Studio");
    EXPECT_THAT(answers, ElementsAre(kInvalidArgument, kResultOk)) << "there is no controller yet";
    EXPECT_THAT(told(), IsEmpty());
    EXPECT_TRUE(other->isOpen());
}

TEST_F(Vst3Edits, AControllerMayEditWhileItIsInitialised) {
    const Ref<Vst3Plugin> plugin = load("records-its-calls");
    std::vector<tresult> answers;
    record->onCall = [&](const std::string& call) {
        if (call == "controller initialize")
            answers.push_back(
                interfaceOf<Vst::IComponentHandler>(record->controllerContext)->performEdit(mix, 0.5));
    };
    create(plugin);
    EXPECT_THAT(answers, ElementsAre(kResultOk));
    EXPECT_THAT(told(), IsEmpty()) << "nobody knows the instance yet";
}

TEST_F(Vst3Edits, EditsFromAThreadOfThePluginsAreToldInTheirOrder) {
    constexpr int32_t rounds = 300;
    std::vector<std::thread> threads;
    threads.emplace_back([&] {
        for (int32_t i = 0; i < rounds; ++i) {
            pluginsHandler().beginEdit(gain);
            pluginsHandler().performEdit(gain, 0.5);
            pluginsHandler().endEdit(gain);
        }
    });
    runBeside(*host, threads);
    std::vector<std::string> expected;
    for (int32_t i = 0; i < rounds; ++i)
        expected.insert(expected.end(), {"begin 0", "value 0: 0.500000", "end 0"});
    EXPECT_EQ(told(), expected);
}

TEST_F(Vst3Edits, AStormOfRestartsIsToldOneByOneAndMutesNothingForGood) {
    constexpr int32_t storms = 4;
    constexpr int32_t restarts = 250;
    std::vector<std::thread> threads;
    for (int32_t i = 0; i < storms; ++i)
        threads.emplace_back([&] {
            for (int32_t restart = 0; restart < restarts; ++restart)
                pluginsHandler().restartComponent(restart);
        });
    runBeside(*host, threads);
    // What comes while a state is taken is swallowed: the state shows it.
    EXPECT_GT(handler->notifications.size(), 0U);
    EXPECT_LE(handler->notifications.size(), size_t{storms} * restarts);
    EXPECT_FALSE(instance->notificationsMuted);
    told();
    pluginsHandler().performEdit(gain, 0.5);
    EXPECT_THAT(told(), ElementsAre("value 0: 0.500000"));
}

TEST_F(Vst3Edits, TheHalvesOfAPluginHearEachOther) {
    instance = create("talks-to-itself");
    calls();
    instance->initialize();
    const std::string heard = ": -123456789012345, 0.3, no text, sent as bytes";
    std::vector<std::string> talk = calls();
    std::erase_if(talk, [](const std::string& call) { return call.find(" hears ") == std::string::npos; });
    EXPECT_THAT(talk, ElementsAre("controller hears from the component" + heard,
                                  "component hears from the controller" + heard));
}
