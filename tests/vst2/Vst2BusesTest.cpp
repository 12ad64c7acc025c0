// If these fail, the client shows the buses of an effect under wrong names or with wrong channels, and its
// user connects the wrong ones.

#include "vst2/Vst2Questions.h"

using namespace test_support;

namespace {

using Texts = std::vector<std::string>;

} // namespace

TEST_F(Vst2Questions, NoOutputGivesNoBus) {
    EXPECT_EQ(outputBuses(), Texts{});
}

TEST_F(Vst2Questions, ANegativeNumberOfOutputsGivesNoBus) {
    effect.effect.numOutputs = -3;
    EXPECT_EQ(outputBuses(), Texts{});
}

TEST_F(Vst2Questions, OneOutputGivesMonoOut) {
    effect.effect.numOutputs = 1;
    EXPECT_EQ(outputBuses(), Texts{"Mono Out: 0"});
}

TEST_F(Vst2Questions, TwoOutputsGiveStereoOut) {
    effect.effect.numOutputs = 2;
    EXPECT_EQ(outputBuses(), Texts{"Stereo Out: 0 1"});
}

TEST_F(Vst2Questions, ThreeOutputsGiveOneStereoBusAndThreeMonoBuses) {
    effect.effect.numOutputs = 3;
    EXPECT_EQ(outputBuses(), (Texts{"Stereo Out 1: 0 1", "Mono Out 1: 0", "Mono Out 2: 1", "Mono Out 3: 2"}));
}

TEST_F(Vst2Questions, FourOutputsGiveSixBuses) {
    effect.effect.numOutputs = 4;
    EXPECT_EQ(outputBuses(), (Texts{"Stereo Out 1: 0 1", "Stereo Out 2: 2 3", "Mono Out 1: 0",
                                    "Mono Out 2: 1", "Mono Out 3: 2", "Mono Out 4: 3"}));
}

TEST_F(Vst2Questions, FiveOutputsLeaveTheLastOneToAMonoBusAlone) {
    effect.effect.numOutputs = 5;
    EXPECT_EQ(outputBuses(), (Texts{"Stereo Out 1: 0 1", "Stereo Out 2: 2 3", "Mono Out 1: 0",
                                    "Mono Out 2: 1", "Mono Out 3: 2", "Mono Out 4: 3", "Mono Out 5: 4"}));
}

TEST_F(Vst2Questions, InputsAreNamedInAndAskedByTheirOwnOpcode) {
    effect.effect.numInputs = 3;
    EXPECT_EQ(inputBuses(), (Texts{"Stereo In 1: 0 1", "Mono In 1: 0", "Mono In 2: 1", "Mono In 3: 2"}));
    EXPECT_EQ(effect.calls, (std::vector<DispatcherCall>{{.opcode = effGetInputProperties}}));
    effect.effect.numInputs = 1;
    EXPECT_EQ(inputBuses(), Texts{"Mono In: 0"});
    effect.effect.numInputs = 2;
    EXPECT_EQ(inputBuses(), Texts{"Stereo In: 0 1"});
}

TEST_F(Vst2Questions, PinsNameTheBuses) {
    effect.effect.numOutputs = 3;
    answerPins(effGetOutputProperties, "s-m");
    EXPECT_EQ(outputBuses(), (Texts{"Pin 0: 0 1", "Pin 2: 2"}));
    EXPECT_EQ(effect.calls, (std::vector<DispatcherCall>{
                                {.opcode = effGetOutputProperties, .index = 0},
                                {.opcode = effGetOutputProperties, .index = 2},
                            }));
}

TEST_F(Vst2Questions, WhereThePinsEndTheRestIsNamedFromThere) {
    effect.effect.numOutputs = 4;
    answerPins(effGetOutputProperties, "m");
    EXPECT_EQ(outputBuses(),
              (Texts{"Pin 0: 0", "Stereo Out 1: 1 2", "Mono Out 1: 1", "Mono Out 2: 2", "Mono Out 3: 3"}));
    effect.effect.numOutputs = 3;
    EXPECT_EQ(outputBuses(), (Texts{"Pin 0: 0", "Stereo Out: 1 2"}));
    effect.effect.numOutputs = 2;
    EXPECT_EQ(outputBuses(), (Texts{"Pin 0: 0", "Mono Out: 1"}));
}

TEST_F(Vst2Questions, AStereoPinAtTheLastChannelNamesOnePastTheEnd) {
    effect.effect.numOutputs = 3;
    answerPins(effGetOutputProperties, "s-s");
    EXPECT_EQ(outputBuses(), (Texts{"Pin 0: 0 1", "Pin 2: 2 3"}));
}

TEST_F(Vst2Questions, AnAnswerOtherThanOneEndsThePins) {
    effect.effect.numOutputs = 1;
    effect.answer(effGetOutputProperties, 2);
    EXPECT_EQ(outputBuses(), Texts{"Mono Out: 0"});
}

TEST_F(Vst2Questions, APinsLabelMayFillItsFieldWithoutATerminator) {
    effect.effect.numOutputs = 1;
    effect.answer(effGetOutputProperties, [](const DispatcherCall&, void* ptr) -> VstIntPtr {
        std::memset(static_cast<VstPinProperties*>(ptr)->label, 'x', 64);
        return 1;
    });
    EXPECT_EQ(outputBuses(), Texts{std::string(64, 'x') + ": 0"});
}

TEST_F(Vst2Questions, ARealFilesPinsAndPropertiesReachTheClient) {
    const Ref<PluginInstance> real =
        host->createPluginInstance(3, testPlugin("pins-and-properties"), "", false);
    EXPECT_EQ(describe(real->getInputBuses()), (Texts{"Main In: 0 1", "Side Chain: 2"}));
    EXPECT_EQ(describe(real->getOutputBuses()), (Texts{"Main Out: 0 1", "Stereo Out: 2 3"}));
    const Ref<PluginInstanceState> state(new PluginInstanceState(*real));
    ASSERT_EQ(state->parameters.size(), 2u);
    EXPECT_EQ(state->parameters[0]->name, "Described Name");
    EXPECT_EQ(state->parameters[0]->category, "Filter");
    EXPECT_EQ(state->parameters[0]->id, 40);
    EXPECT_EQ(state->parameters[0]->minInteger, -12);
    EXPECT_EQ(state->parameters[0]->maxInteger, 12);
    EXPECT_TRUE(state->parameters[0]->canBeAutomated);
    EXPECT_TRUE(state->parameters[0]->isSwitch);
    EXPECT_TRUE(state->parameters[0]->usesIntegerRange);
    EXPECT_EQ(state->parameters[1]->name, "Plain Name");
    EXPECT_EQ(state->parameters[1]->id, 1);
    EXPECT_FALSE(state->parameters[1]->canBeAutomated);
    real->terminate();
    host->instances.remove(3);
}
