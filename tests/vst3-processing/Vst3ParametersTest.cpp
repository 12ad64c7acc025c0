// If these fail, a plug-in's knobs have wrong names, values or ranges in the client, or jump out of the
// user's hand.

#include "vst3-processing/ProgramList.h"
#include "vst3-processing/Vst3ProcessingTest.h"

#include "plugin/PluginHostNotifications.h"

using namespace test_support;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace {

class Vst3Parameters : public Vst3ProcessingTest {
protected:
    using TextQuestion = void (Vst3PluginInstance::*)(int32_t, char*, int32_t);

    /// The first `size` bytes of a buffer of 300 that one of the questions for texts has filled.
    std::string answerTo(TextQuestion question, int32_t index = 0, int32_t size = 256) {
        std::string buffer(300, '\0');
        (instance.get()->*question)(index, buffer.data(), size);
        EXPECT_EQ(buffer.substr(static_cast<size_t>(size)),
                  std::string(300 - static_cast<size_t>(size), '\0'))
            << "written beyond the buffer";
        return buffer.substr(0, static_cast<size_t>(size));
    }
    /// The same up to its terminator.
    std::string textOf(TextQuestion question, int32_t index = 0) { return answerTo(question, index).c_str(); }

    ParameterProperties propertiesOf(int32_t index) {
        ParameterProperties properties{};
        instance->getParameterProperties(index, properties);
        return properties;
    }

    /// A parameter of so many steps, which is also the greatest of its integers.
    void expectSteps(int32_t stepCount, bool isSwitch, bool usesIntegerRange) {
        controller.addParameter(900).stepCount = stepCount;
        create();
        ParameterProperties properties{};
        properties.minInteger = -7;
        instance->getParameterProperties(0, properties);
        EXPECT_EQ(properties.isSwitch, isSwitch);
        EXPECT_EQ(properties.usesIntegerRange, usesIntegerRange);
        EXPECT_EQ(properties.minInteger, 0);
        EXPECT_EQ(properties.maxInteger, stepCount);
    }

    void expectNothingFor(int32_t index) {
        EXPECT_EQ(textOf(name, index), "");
        EXPECT_EQ(textOf(label, index), "");
        EXPECT_EQ(textOf(display, index), "");
        EXPECT_EQ(instance->getParameterValue(index), 0.0F);
        ParameterProperties properties{};
        properties.id = -7;
        properties.category = "kept";
        instance->getParameterProperties(index, properties);
        EXPECT_EQ(properties.id, -7);
        EXPECT_EQ(properties.category.toStdString(), "kept");
        instance->setParameterValue(index, 0.5F);
        EXPECT_THAT(controller.changes, IsEmpty());
    }

    static constexpr TextQuestion name = &Vst3PluginInstance::getParameterName;
    static constexpr TextQuestion label = &Vst3PluginInstance::getParameterLabel;
    static constexpr TextQuestion display = &Vst3PluginInstance::getParameterDisplay;
};

} // namespace

TEST_F(Vst3Parameters, ParametersAreCountedAndKnownByTheirPlace) {
    controller.addParameter(900, u"First");
    controller.addParameter(5, u"Second");
    create();
    EXPECT_EQ(instance->getParameterCount(), 2);
    EXPECT_EQ(textOf(name, 0), "First");
    EXPECT_EQ(textOf(name, 1), "Second");
    EXPECT_EQ(propertiesOf(1).id, 1) << "the index and not the plug-in's id";
}

TEST_F(Vst3Parameters, TextsAndValuesAreThoseOfTheController) {
    Vst::ParameterInfo& info = controller.addParameter(900, u"Größe €");
    controller.copyText(u"dB", info.units);
    controller.copyText(u"Gr", info.shortTitle);
    controller.values[900] = 0.1;
    controller.display = u"½ – \U0001F3B9";
    create();
    EXPECT_EQ(textOf(name), "Größe €");
    EXPECT_EQ(textOf(label), "dB");
    EXPECT_EQ(textOf(display), "½ – 🎹");
    EXPECT_THAT(controller.asked, Pair(900u, 0.1));
    EXPECT_EQ(instance->getParameterValue(0), 0.1F);
    EXPECT_EQ(propertiesOf(0).shortName.toStdString(), "Gr");
}

TEST_F(Vst3Parameters, ATextThatFillsTheBufferIsCutAndHasNoTerminator) {
    controller.addParameter(900, u"12345678");
    create();
    EXPECT_EQ(answerTo(name, 0, 9), std::string("12345678\0", 9));
    EXPECT_EQ(answerTo(name, 0, 8), "12345678");
    EXPECT_EQ(answerTo(name, 0, 7), "1234567");
    EXPECT_EQ(answerTo(name, 0, 1), "1");
    EXPECT_EQ(answerTo(name, 0, 0), "");
}

TEST_F(Vst3Parameters, AShortTextIsFollowedByZeros) {
    controller.addParameter(900, u"12");
    create();
    std::string buffer(8, 'x');
    instance->getParameterName(0, buffer.data(), 6);
    EXPECT_EQ(buffer, std::string("12\0\0\0\0xx", 8));
}

TEST_F(Vst3Parameters, ATitleWithoutATerminatorEndsWithItsField) {
    controller.addParameter(900, std::u16string(128, u'x'));
    create();
    EXPECT_EQ(textOf(name), std::string(128, 'x'));
}

TEST_F(Vst3Parameters, ATextThatIsLongerInUtf8ThanTheBufferIsCutInItsBytes) {
    controller.addParameter(900, std::u16string(128, u'€'));
    create();
    std::string all;
    for (int32_t i = 0; i < 128; ++i)
        all += "€";
    EXPECT_EQ(answerTo(name), all.substr(0, 256));
}

TEST_F(Vst3Parameters, ADisplayThatThePluginRefusesStaysEmpty) {
    controller.addParameter(900);
    controller.display = u"never shown";
    controller.displayAnswer = kResultFalse;
    create();
    EXPECT_EQ(textOf(display), "");
}

TEST_F(Vst3Parameters, AContinuousParameterIsNeitherASwitchNorStepped) {
    expectSteps(0, false, false);
}

TEST_F(Vst3Parameters, AParameterOfOneStepIsASwitch) {
    expectSteps(1, true, false);
}

TEST_F(Vst3Parameters, AParameterOfTwoStepsHasAnIntegerRange) {
    expectSteps(2, false, true);
}

TEST_F(Vst3Parameters, AParameterOfFiveStepsHasAnIntegerRange) {
    expectSteps(5, false, true);
}

TEST_F(Vst3Parameters, OnlyTheLowestFlagSaysThatAParameterCanBeAutomated) {
    controller.addParameter(1).flags = 1;
    controller.addParameter(2).flags = ~1;
    controller.addParameter(3).flags = -1;
    create();
    EXPECT_TRUE(propertiesOf(0).canBeAutomated);
    EXPECT_FALSE(propertiesOf(1).canBeAutomated);
    EXPECT_TRUE(propertiesOf(2).canBeAutomated);
}

TEST_F(Vst3Parameters, TheCategoryIsLeftAlone) {
    controller.addParameter(900);
    create();
    ParameterProperties properties{};
    properties.category = "kept";
    instance->getParameterProperties(0, properties);
    EXPECT_EQ(properties.category.toStdString(), "kept");
}

TEST_F(Vst3Parameters, AnIndexWithoutAParameterAnswersNothing) {
    controller.addParameter(900, u"Only");
    create();
    expectNothingFor(1);
    expectNothingFor(-1);
}

TEST_F(Vst3Parameters, ARecordThatCannotBeReadReadsAsNoParameter) {
    controller.addParameter(900, u"Only");
    controller.parameterAnswer = kResultFalse;
    create();
    EXPECT_EQ(instance->getParameterCount(), 1);
    expectNothingFor(0);
}

TEST_F(Vst3Parameters, WithoutAControllerThereIsNothing) {
    component.controllerClass = FUID();
    create();
    EXPECT_EQ(instance->getParameterCount(), 0);
    EXPECT_EQ(instance->getProgramCount(), 0);
    expectNothingFor(0);
}

TEST_F(Vst3Parameters, NothingAboutParametersIsRemembered) {
    controller.addParameter(900, u"Before");
    create();
    EXPECT_EQ(textOf(name), "Before");
    controller.parameters[0].id = 901;
    controller.copyText(u"After!", controller.parameters[0].title);
    EXPECT_EQ(textOf(name), "After!");
    instance->setParameterValue(0, 0.5F);
    EXPECT_THAT(controller.changes, ElementsAre(Pair(901u, 0.5)));
}

TEST_F(Vst3Parameters, NoNoteHasAName) {
    create();
    for (int32_t note = 0; note < 128; ++note)
        EXPECT_TRUE(instance->getNoteName(note).isEmpty());
}

// Values that are set.

TEST_F(Vst3Parameters, AValueReachesTheControllerById) {
    controller.addParameter(5);
    controller.addParameter(900);
    create();
    instance->setParameterValue(1, 0.1F);
    EXPECT_THAT(controller.changes, ElementsAre(Pair(900u, double{0.1F})));
}

TEST_F(Vst3Parameters, AWatchedParameterIsMarkedAndPolledOnce) {
    controller.addParameter(5, u"Cut");
    controller.addParameter(900);
    controller.display = u"half";
    startProcessing();
    announce();
    context->getRegions().parameterFlags[0] = parameterWatched;
    instance->setParameterValue(0, 0.5F);
    instance->setParameterValue(0, 0.75F);
    instance->setParameterValue(1, 0.5F);
    EXPECT_EQ(context->getRegions().parameterFlags[0], parameterWatched | parameterDisplayDirty);
    EXPECT_EQ(context->getRegions().parameterFlags[1], 0);
    EXPECT_THAT(handler->notifications, IsEmpty());
    instance->idle();
    instance->idle();
    ASSERT_EQ(handler->notifications.size(), 1u);
    const auto* update = dynamic_cast<UpdateParameterDisplayNotification*>(handler->notifications[0].get());
    ASSERT_NE(update, nullptr);
    EXPECT_EQ(update->parameterIndex, 0);
    EXPECT_EQ(update->name.toStdString(), "Cut");
    EXPECT_EQ(update->display.toStdString(), "half");
}

TEST_F(Vst3Parameters, TheParameterInEditIsNeitherSetNorMarked) {
    controller.addParameter(5);
    controller.addParameter(900);
    startProcessing();
    context->getRegions().parameterFlags[0] = context->getRegions().parameterFlags[1] = parameterWatched;
    EXPECT_EQ(controller.handler->beginEdit(5), kResultOk);
    instance->setParameterValue(0, 0.5F);
    EXPECT_THAT(controller.changes, IsEmpty());
    EXPECT_EQ(context->getRegions().parameterFlags[0], parameterWatched);
    instance->setParameterValue(1, 0.75F);
    EXPECT_THAT(controller.changes, ElementsAre(Pair(900u, 0.75)));
    EXPECT_EQ(controller.handler->endEdit(5), kResultOk);
    instance->setParameterValue(0, 0.25F);
    EXPECT_THAT(controller.changes, ElementsAre(Pair(900u, 0.75), Pair(5u, 0.25)));
}

TEST_F(Vst3Parameters, OfTwoParametersInEditOnlyTheFirstIsHeld) {
    controller.addParameter(5);
    controller.addParameter(900);
    create();
    instance->beginParameterEdit(0);
    instance->beginParameterEdit(1);
    instance->setParameterValue(0, 0.5F);
    instance->setParameterValue(1, 0.5F);
    EXPECT_THAT(controller.changes, ElementsAre(Pair(900u, 0.5)));
    instance->endParameterEdit(1);
    instance->setParameterValue(0, 0.5F);
    EXPECT_EQ(controller.changes.size(), 1u) << "the end of another edit changes nothing";
    instance->endParameterEdit(0);
    instance->setParameterValue(0, 0.5F);
    EXPECT_EQ(controller.changes.size(), 2u);
}

TEST_F(Vst3Parameters, BeginAndEndOfAnEditAreToldToTheClient) {
    controller.addParameter(5);
    create();
    announce();
    instance->beginParameterEdit(0);
    instance->endParameterEdit(0);
    ASSERT_EQ(handler->notifications.size(), 2u);
    for (const bool isBegin : {true, false}) {
        const auto* edit =
            dynamic_cast<BeginOrEndEditParameterNotification*>(handler->notifications[isBegin ? 0 : 1].get());
        ASSERT_NE(edit, nullptr);
        EXPECT_EQ(edit->parameterIndex, 0);
        EXPECT_EQ(edit->isBegin, isBegin);
    }
}

TEST_F(Vst3Parameters, AnEditIsHeldAlsoBeforeTheClientKnowsTheInstance) {
    controller.addParameter(5);
    create();
    instance->beginParameterEdit(0);
    instance->setParameterValue(0, 0.5F);
    EXPECT_THAT(controller.changes, IsEmpty());
}

TEST_F(Vst3Parameters, TheEndOfTheEditorEndsAnEditThatItCutsOff) {
    controller.addParameter(5);
    controller.addParameter(900);
    create();
    announce();
    instance->window = new TinyWindow(windowSizes);
    instance->beginParameterEdit(1);
    handler->notifications.clear();
    instance->closeEditor();
    ASSERT_EQ(handler->notifications.size(), 1u);
    const auto* edit = dynamic_cast<BeginOrEndEditParameterNotification*>(handler->notifications[0].get());
    ASSERT_NE(edit, nullptr);
    EXPECT_EQ(edit->parameterIndex, 1);
    EXPECT_FALSE(edit->isBegin);
    instance->setParameterValue(1, 0.5F);
    EXPECT_THAT(controller.changes, ElementsAre(Pair(900u, 0.5)));
}

TEST_F(Vst3Parameters, TheEndOfTheEditorEndsNoEditThatIsOver) {
    controller.addParameter(5);
    create();
    announce();
    instance->window = new TinyWindow(windowSizes);
    instance->beginParameterEdit(0);
    instance->endParameterEdit(0);
    handler->notifications.clear();
    instance->closeEditor();
    EXPECT_THAT(handler->notifications, IsEmpty());
}

TEST_F(Vst3Parameters, WithoutAnOpenEditorAnEditGoesOn) {
    controller.addParameter(5);
    create();
    announce();
    instance->beginParameterEdit(0);
    instance->closeEditor();
    EXPECT_EQ(handler->notifications.size(), 1u);
    instance->setParameterValue(0, 0.5F);
    EXPECT_THAT(controller.changes, IsEmpty());
}

// Programs.

TEST_F(Vst3Parameters, ProgramsAreNotOfferedThoughAParameterChangesThem) {
    Vst::ParameterInfo& info = controller.addParameter(900, u"Program");
    info.flags = Vst::ParameterInfo::kIsProgramChange;
    info.stepCount = 9;
    create();
    EXPECT_EQ(instance->getProgramCount(), 0);
    EXPECT_EQ(instance->getCurrentProgram(), -1);
    char name[8] = "unread!";
    instance->getProgramName(0, name, sizeof name);
    EXPECT_EQ(std::string(name, 8), std::string("\0nread!\0", 8)) << "only the first byte is written";
}

TEST_F(Vst3Parameters, SettingAProgramDoesNothing) {
    Vst::ParameterInfo& info = controller.addParameter(900);
    info.flags = Vst::ParameterInfo::kIsProgramChange;
    info.stepCount = 9;
    startProcessing();
    for (const int32_t index : {-1, 0, 5, 128}) {
        instance->setCurrentProgram(index);
        instance->setCurrentProgram(index, 10);
    }
    EXPECT_EQ(instance->getCurrentProgram(), -1);
    EXPECT_THAT(controller.changes, IsEmpty());
    EXPECT_THAT(calls, IsEmpty());
    EXPECT_THAT(process().changes, IsEmpty());
}

TEST_F(Vst3Parameters, AProgramListOfThePluginsIsNotOffered) {
    ProgramList programs;
    controller.programs = &programs;
    Vst::ParameterInfo& info = controller.addParameter(900, u"Program");
    info.flags = Vst::ParameterInfo::kIsProgramChange;
    info.stepCount = 9;
    for (const bool isAutomatable : {false, true}) {
        controller.parameters[0].flags |= isAutomatable ? Vst::ParameterInfo::kCanAutomate : 0;
        startProcessing();
        EXPECT_EQ(instance->getProgramCount(), 0);
        EXPECT_EQ(textOf(&Vst3PluginInstance::getProgramName), "");
        instance->setCurrentProgram(5);
        EXPECT_EQ(instance->getCurrentProgram(), -1);
        EXPECT_THAT(controller.changes, IsEmpty());
        EXPECT_THAT(process().changes, IsEmpty());
        instance->terminate();
        instance = nullptr;
    }
    EXPECT_EQ(programs.references, 0u);
}
