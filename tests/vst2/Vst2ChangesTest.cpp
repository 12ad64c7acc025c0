// If these fail, what a user does in a plug-in's editor doesn't reach the application, or what the
// application does fights with the user's hand.

#include "support/StopHost.h"
#include "vst2/Vst2Fixture.h"

#include <functional>
#include <thread>
#include <utility>

using namespace test_support;

namespace {

class Vst2Changes : public Vst2Test {
protected:
    Vst2Changes() {
        effect.effect.numParams = 8;
        makeAudio();
        announce();
    }

    template <class Notification>
    Notification& only() {
        EXPECT_EQ(handler->notifications.size(), 1u);
        return dynamic_cast<Notification&>(*handler->notifications.at(0));
    }

    // Which of the eight parameters take a new value.
    std::vector<int32_t> unprotectedParameters() {
        std::vector<int32_t> taken;
        for (int32_t i = 0; i < 8; ++i) {
            effect.parameters.clear();
            instance->setParameterValue(i, 1);
            if (effect.parameters.count(i) != 0)
                taken.push_back(i);
        }
        return taken;
    }
};

using Indices = std::vector<int32_t>;

} // namespace

TEST_F(Vst2Changes, AnAutomatedParameterIsToldAtOnceOnTheMainThread) {
    EXPECT_EQ(ask(audioMasterAutomate, 3, 0, nullptr, 0.625F), 0);
    const auto& notification = only<UpdateParameterNotification>();
    EXPECT_EQ(notification.instanceId, instanceId);
    EXPECT_EQ(notification.parameterIndex, 3);
    EXPECT_EQ(notification.value, 0.625F);
}

TEST_F(Vst2Changes, AnAutomatedParameterOfAnotherThreadIsToldByTheMainLoop) {
    std::thread([&] { EXPECT_EQ(ask(audioMasterAutomate, 3, 0, nullptr, 0.625F), 0); }).join();
    EXPECT_TRUE(handler->notifications.empty());
    host->post(new StopHost(*host));
    host->run();
    EXPECT_EQ(only<UpdateParameterNotification>().parameterIndex, 3);
}

TEST_F(Vst2Changes, NothingIsToldWhileNotificationsAreMuted) {
    instance->notificationsMuted = true;
    EXPECT_EQ(ask(audioMasterAutomate, 3, 0, nullptr, 1), 0);
    EXPECT_EQ(ask(audioMasterIOChanged), 1);
    EXPECT_EQ(ask(audioMasterUpdateDisplay), 1);
    EXPECT_EQ(ask(audioMasterBeginEdit, 2), 1);
    EXPECT_EQ(ask(audioMasterEndEdit, 2), 1);
    instance->notificationsMuted = false;
    instance->idle();
    EXPECT_TRUE(handler->notifications.empty());
}

TEST_F(Vst2Changes, NothingIsToldBeforeTheClientKnowsTheInstance) {
    instance->handler = nullptr;
    EXPECT_EQ(ask(audioMasterAutomate, 3, 0, nullptr, 1), 0);
    EXPECT_EQ(ask(audioMasterBeginEdit, 2), 1);
    EXPECT_EQ(ask(audioMasterUpdateDisplay), 1);
    EXPECT_TRUE(handler->notifications.empty());
    EXPECT_TRUE(instance->allParametersChanged);
}

TEST_F(Vst2Changes, ChangedPinsAreToldByAWholeSnapshot) {
    EXPECT_EQ(ask(audioMasterIOChanged), 1);
    const auto& notification = only<UpdateAllParametersNotification>();
    ASSERT_TRUE(notification.state);
    EXPECT_EQ(notification.state->parameters.size(), 8u);
}

TEST_F(Vst2Changes, AChangedDisplayIsToldByAWholeSnapshot) {
    EXPECT_EQ(ask(audioMasterUpdateDisplay), 1);
    only<UpdateAllParametersNotification>();
}

TEST_F(Vst2Changes, AnEffectThatReportsWhileItIsQuestionedTellsNothing) {
    effect.parameters[0] = 0.5F;
    effect.answer(effGetParamName, [&](const DispatcherCall&, void*) {
        return ask(audioMasterAutomate, 0, 0, nullptr, 0.5F);
    });
    const Ref<PluginInstanceState> state(new PluginInstanceState(*instance));
    EXPECT_TRUE(handler->notifications.empty());
    EXPECT_EQ(state->parameters[0]->value, 0.5F);
}

TEST_F(Vst2Changes, EditsAreToldWithTheirParameter) {
    EXPECT_EQ(ask(audioMasterBeginEdit, 5), 1);
    EXPECT_EQ(ask(audioMasterEndEdit, 5), 1);
    ASSERT_EQ(handler->notifications.size(), 2u);
    const auto& begin = dynamic_cast<BeginOrEndEditParameterNotification&>(*handler->notifications[0]);
    EXPECT_EQ(begin.parameterIndex, 5);
    EXPECT_TRUE(begin.isBegin);
    const auto& end = dynamic_cast<BeginOrEndEditParameterNotification&>(*handler->notifications[1]);
    EXPECT_EQ(end.parameterIndex, 5);
    EXPECT_FALSE(end.isBegin);
}

TEST_F(Vst2Changes, NoParameterIsProtectedAtFirst) {
    EXPECT_EQ(unprotectedParameters(), (Indices{0, 1, 2, 3, 4, 5, 6, 7}));
}

TEST_F(Vst2Changes, AParameterInTheUsersHandDropsTheClientsChangeForGood) {
    effect.parameters[3] = 0.5F;
    ask(audioMasterBeginEdit, 3);
    instance->setParameterValue(3, 0.25F);
    EXPECT_EQ(effect.parameters[3], 0.5F);
    ask(audioMasterEndEdit, 3);
    instance->idle();
    EXPECT_EQ(effect.parameters[3], 0.5F);
    instance->setParameterValue(3, 0.75F);
    EXPECT_EQ(effect.parameters[3], 0.75F);
}

TEST_F(Vst2Changes, ADroppedChangeMarksNoDisplay) {
    context->getRegions().parameterFlags[3] = 1;
    ask(audioMasterBeginEdit, 3);
    instance->setParameterValue(3, 0.25F);
    EXPECT_EQ(context->getRegions().parameterFlags[3], 1);
}

TEST_F(Vst2Changes, OnlyTheFirstOfTwoOverlappingEditsIsProtected) {
    ask(audioMasterBeginEdit, 3);
    ask(audioMasterBeginEdit, 5);
    EXPECT_EQ(unprotectedParameters(), (Indices{0, 1, 2, 4, 5, 6, 7}));
    ask(audioMasterEndEdit, 5);
    EXPECT_EQ(unprotectedParameters(), (Indices{0, 1, 2, 4, 5, 6, 7}));
    ask(audioMasterEndEdit, 3);
    EXPECT_EQ(unprotectedParameters(), (Indices{0, 1, 2, 3, 4, 5, 6, 7}));
}

TEST_F(Vst2Changes, TheSecondOfTwoOverlappingEditsIsNotProtectedOnceTheFirstEnds) {
    ask(audioMasterBeginEdit, 3);
    ask(audioMasterBeginEdit, 5);
    ask(audioMasterEndEdit, 3);
    EXPECT_EQ(unprotectedParameters(), (Indices{0, 1, 2, 3, 4, 5, 6, 7}));
}

TEST_F(Vst2Changes, AnEditIsProtectedAlsoWhileItIsNotTold) {
    instance->handler = nullptr;
    ask(audioMasterBeginEdit, 3);
    EXPECT_EQ(unprotectedParameters(), (Indices{0, 1, 2, 4, 5, 6, 7}));
}

TEST_F(Vst2Changes, AnEditEndsForAClosingEffectOnlyBeforeTerminate) {
    initialize();
    instance->terminate();
    EXPECT_EQ(ask(audioMasterBeginEdit, 3), 0);
    EXPECT_EQ(unprotectedParameters(), (Indices{0, 1, 2, 3, 4, 5, 6, 7}));
    EXPECT_TRUE(handler->notifications.empty());
}

TEST_F(Vst2Changes, AClientsChangeOfAWatchedParameterComesBackAsTextAlone) {
    effect.answerText(effGetParamName, "Gain");
    effect.answerText(effGetParamDisplay, "-6.0");
    context->getRegions().parameterFlags[2] = 1;
    instance->setParameterValue(2, 0.5F);
    EXPECT_TRUE(handler->notifications.empty());
    EXPECT_EQ(context->getRegions().parameterFlags[2], 3);
    instance->idle();
    EXPECT_EQ(context->getRegions().parameterFlags[2], 1);
    const auto& notification = only<UpdateParameterDisplayNotification>();
    EXPECT_EQ(notification.parameterIndex, 2);
    EXPECT_EQ(notification.name, "Gain");
    EXPECT_EQ(notification.display, "-6.0");
}

TEST_F(Vst2Changes, AnUnwatchedParameterChangesWithoutADisplayUpdate) {
    instance->setParameterValue(2, 0.5F);
    instance->idle();
    EXPECT_EQ(effect.parameters[2], 0.5F);
    EXPECT_TRUE(handler->notifications.empty());
}

TEST_F(Vst2Changes, AnIndexThatThePluginDoesNotHaveGoesToThePlugin) {
    for (const int32_t index : {-1, 8, 65535}) {
        if (index >= 0)
            instance->setParameterValue(index, 0.5F);
        ask(audioMasterAutomate, index, 0, nullptr, 1);
    }
    EXPECT_EQ(effect.parameters, (std::map<VstInt32, float>{{8, 0.5F}, {65535, 0.5F}}));
    EXPECT_EQ(handler->notifications.size(), 3u);
    EXPECT_TRUE(context->areGuardsIntact());
}

TEST_F(Vst2Changes, TheLastSizeThatAThreadAsksForWhileTheWindowIsSizedWins) {
    class AskingWindow : public TinyWindow {
    public:
        AskingWindow(Sizes& sizes, std::function<void()> onFirst)
            : TinyWindow(sizes), onFirst(std::move(onFirst)) {}

        void resize(uint32_t width, uint32_t height) override {
            if (const std::function<void()> first = std::exchange(onFirst, nullptr))
                std::thread(first).join();
            TinyWindow::resize(width, height);
        }

    private:
        std::function<void()> onFirst;
    };

    ask(audioMasterSizeWindow, 300, 200);
    instance->window = new AskingWindow(windowSizes, [&] { ask(audioMasterSizeWindow, 500, 400); });
    instance->applyEditorSize(*instance->window);
    EXPECT_EQ(windowSizes, (TinyWindow::Sizes{{500, 400}, {300, 200}, {500, 400}}));
}

TEST_F(Vst2Changes, ClosingTheEditorEndsAnEditThatWasLeftOpen) {
    openWindow();
    ask(audioMasterBeginEdit, 3);
    std::vector<std::string> order;
    effect.answer(effEditClose, [&](const DispatcherCall&, void*) -> VstIntPtr {
        order.push_back("close with " + std::to_string(handler->notifications.size()));
        return 0;
    });
    instance->closeEditor();
    EXPECT_EQ(order, (std::vector<std::string>{"close with 1"}));
    ASSERT_EQ(handler->notifications.size(), 2U);
    const auto& end = dynamic_cast<BeginOrEndEditParameterNotification&>(*handler->notifications[1]);
    EXPECT_EQ(end.parameterIndex, 3);
    EXPECT_FALSE(end.isBegin);
    instance->setParameterValue(3, 0.25F);
    EXPECT_EQ(effect.parameters[3], 0.25F);
}

TEST_F(Vst2Changes, AnEditThatTheEffectEndsAsItsEditorClosesEndsOnce) {
    openWindow();
    ask(audioMasterBeginEdit, 3);
    effect.answer(effEditClose, [&](const DispatcherCall&, void*) { return ask(audioMasterEndEdit, 3); });
    instance->closeEditor();
    EXPECT_EQ(handler->notifications.size(), 2U);
}
