// If these fail, a client puts audio into the wrong channels of a plug-in, aligns it by a wrong latency, or
// sends notes to a plug-in that takes none.

#include "vst3/Vst3Fixture.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Vst3BusesTest : public Vst3Test {
protected:
    static constexpr const char* failure =
        "\"Vst3PluginInstance::getBus(...)\" returned error code: 1 (kResultFalse)\n in "
        "Vst3PluginInstance.cpp : ";

    int32_t latencyOf(tresult samples) {
        record->answers["component getLatencySamples"] = samples;
        return instance->getLatency();
    }

    Ref<Vst3PluginInstance> instance = create("records-its-calls");
};

} // namespace

TEST_F(Vst3BusesTest, ChannelsAreCountedOnFromBusToBus) {
    const std::vector<Ref<PluginAudioBus>> inputs = instance->getInputBuses();
    ASSERT_EQ(inputs.size(), 2U);
    EXPECT_EQ(inputs[0]->name, "Input");
    EXPECT_THAT(inputs[0]->channels, ElementsAre(0, 1));
    EXPECT_EQ(inputs[1]->name, "Side Chain") << "a bus counts whatever its type";
    EXPECT_THAT(inputs[1]->channels, ElementsAre(2));
    EXPECT_EQ(instance->getInputChannelCount(), 3);
}

TEST_F(Vst3BusesTest, EachDirectionStartsAnew) {
    const std::vector<Ref<PluginAudioBus>> outputs = instance->getOutputBuses();
    ASSERT_EQ(outputs.size(), 1U);
    EXPECT_EQ(outputs[0]->name, "Output");
    EXPECT_THAT(outputs[0]->channels, ElementsAre(0, 1));
    EXPECT_EQ(instance->getOutputChannelCount(), 2);
}

TEST_F(Vst3BusesTest, ABusWithoutChannelsIsABus) {
    const Ref<Vst3PluginInstance> many = create("buses-of-every-arrangement");
    const std::vector<Ref<PluginAudioBus>> inputs = many->getInputBuses();
    ASSERT_EQ(inputs.size(), 21U);
    EXPECT_THAT(inputs[0]->channels, IsEmpty());
    EXPECT_THAT(inputs[1]->channels, ElementsAre(0, 1));
    EXPECT_THAT(inputs[2]->channels, ElementsAre(2));
    EXPECT_THAT(inputs[3]->channels, ElementsAre(3, 4));
    EXPECT_EQ(many->getOutputChannelCount(), 6);
}

TEST_F(Vst3BusesTest, ABusThatIsNotKnownFailsTheList) {
    record->answers["component getBusInfo audio input 1"] = kResultFalse;
    EXPECT_THAT(failureOf([&] { instance->getInputBuses(); }), testing::StartsWith(failure));
    EXPECT_EQ(instance->getOutputBuses().size(), 1U);
    record->answers["component getBusInfo audio output 0"] = kResultFalse;
    EXPECT_THAT(failureOf([&] { instance->getOutputBuses(); }), testing::StartsWith(failure));
}

TEST_F(Vst3BusesTest, ABusThatIsNotKnownAddsNoChannels) {
    record->answers["component getBusInfo audio input 0"] = kResultFalse;
    EXPECT_EQ(instance->getInputChannelCount(), 1);
    record->answers["component getBusInfo audio input 1"] = kResultFalse;
    EXPECT_EQ(instance->getInputChannelCount(), 0);
}

TEST_F(Vst3BusesTest, APluginHasWhatItHasBusesFor) {
    EXPECT_TRUE(instance->hasAudioInput());
    EXPECT_TRUE(instance->hasAudioOutput());
    EXPECT_TRUE(instance->hasNoteInput());
    EXPECT_TRUE(instance->hasNoteOutput());
    const Ref<Vst3PluginInstance> notes = create("without-audio-buses");
    EXPECT_FALSE(notes->hasAudioInput());
    EXPECT_FALSE(notes->hasAudioOutput());
    EXPECT_TRUE(notes->hasNoteInput());
    EXPECT_TRUE(notes->hasNoteOutput());
    const Ref<Vst3PluginInstance> effect = create("single-component");
    EXPECT_TRUE(effect->hasAudioInput());
    EXPECT_TRUE(effect->hasAudioOutput());
    EXPECT_FALSE(effect->hasNoteInput());
    EXPECT_FALSE(effect->hasNoteOutput());
}

TEST_F(Vst3BusesTest, NoPluginTakesSysexOrMpe) {
    EXPECT_FALSE(instance->hasSysexInput());
    EXPECT_FALSE(instance->supportsMpe());
}

TEST_F(Vst3BusesTest, TheLatencyIsThatOfTheProcessor) {
    EXPECT_EQ(instance->getLatency(), 0);
    EXPECT_EQ(latencyOf(512), 512);
    EXPECT_EQ(latencyOf(0xFFFFFF), 0xFFFFFF);
}

TEST_F(Vst3BusesTest, TheLatencyLosesPrecisionAsAFloatDoes) {
    EXPECT_EQ(latencyOf(0x1000001), 0x1000000);
    EXPECT_EQ(latencyOf(0x1000003), 0x1000004);
}

TEST_F(Vst3BusesTest, ALatencyIsNeverNegative) {
    EXPECT_EQ(latencyOf(-1), 0);
}

TEST_F(Vst3BusesTest, ANoteExpressionThatTheClientSendsIsAControllerMapping) {
    const Ref<Vst3Plugin> plugin = getPlugin(testModule("expresses-notes"));
    const auto maps = [&](const char* name) {
        for (const auto& [identifier, info] : plugin->classInfos) {
            if (std::string(info.name) == name)
                return create(plugin, identifier.toStdString().c_str())->hasMidiControllerMapping();
        }
        ADD_FAILURE() << name << " isn't there";
        return false;
    };
    EXPECT_TRUE(maps("Volume"));
    EXPECT_TRUE(maps("Pan"));
    EXPECT_TRUE(maps("Tuning"));
    EXPECT_TRUE(maps("Brightness"));
    EXPECT_FALSE(maps("Vibrato"));
    EXPECT_FALSE(maps("Expression"));
    EXPECT_FALSE(maps("Text"));
    EXPECT_FALSE(maps("Unsure Of Volume"));
    EXPECT_FALSE(instance->hasMidiControllerMapping()) << "a controller without note expressions";
}

TEST_F(Vst3BusesTest, NoteExpressionsAreThoseOfTheirBusAndChannel) {
    const Ref<Vst3PluginInstance> volume =
        create(getPlugin(testModule("expresses-notes")), "00000000000000000000000100000000");
    EXPECT_TRUE(volume->hasNoteExpression(0, 0, Vst::kVolumeTypeID));
    EXPECT_FALSE(volume->hasNoteExpression(0, 0, Vst::kPanTypeID));
    EXPECT_FALSE(volume->hasNoteExpression(0, 1, Vst::kVolumeTypeID));
    EXPECT_FALSE(volume->hasNoteExpression(1, 0, Vst::kVolumeTypeID));
}
