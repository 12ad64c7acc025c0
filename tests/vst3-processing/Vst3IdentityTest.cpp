// If these fail, the client's list shows a plug-in under a wrong name or in a wrong place, or offers an
// instrument as an effect.

#include "support/CapturedOutput.h"
#include "vst3-processing/Vst3ProcessingTest.h"

#include <unistd.h>

using namespace test_support;
using testing::ElementsAre;

namespace {

class Vst3Identity : public Vst3ProcessingTest {
protected:
    void createWith(const std::string& subcategories) {
        factory.subcategories = subcategories;
        create();
    }

    /// Creates the instance and asks it; what it writes meanwhile is in `written`.
    std::vector<int32_t> deviceTypesOf(const std::string& subcategories) {
        createWith(subcategories);
        const CapturedOutput output(STDOUT_FILENO);
        const std::vector<int32_t> types = instance->getDeviceTypes();
        written = output.text();
        return types;
    }

    std::string categoryOf(const std::string& subcategories) {
        createWith(subcategories);
        return instance->getCategory().toStdString();
    }

    std::string written;
};

} // namespace

TEST_F(Vst3Identity, AnInstanceIsNamedByItsClassAndItsFactory) {
    create();
    EXPECT_EQ(instance->getIdentifier().toStdString(), "00112233445566778899AABBCCDDEEFF");
    EXPECT_EQ(instance->getName().toStdString(), "Recording");
    EXPECT_EQ(instance->getVendor().toStdString(), "Factory's Vendor");
    EXPECT_EQ(instance->getVersion().toStdString(), "1.2.3");
}

TEST_F(Vst3Identity, AClassThatTheModuleDoesNotListHasNoNames) {
    create();
    const Ref<Vst3PluginInstance> unknown(
        new Vst3PluginInstance(host.get(), plugin.get(), 8, "ffffffffffffffffffffffffffffffff", false));
    EXPECT_EQ(unknown->getIdentifier().toStdString(), "FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF");
    EXPECT_EQ(unknown->getName().toStdString(), "");
    EXPECT_EQ(unknown->getVersion().toStdString(), "");
    EXPECT_EQ(unknown->getCategory().toStdString(), "");
    EXPECT_EQ(unknown->getVendor().toStdString(), "Factory's Vendor");
    EXPECT_THAT(unknown->getDeviceTypes(), ElementsAre(0));
    EXPECT_EQ(plugin->classInfos.size(), 2u) << "a lookup leaves an empty record behind";
    EXPECT_EQ(plugin->classInfos2.size(), 2u);
}

TEST_F(Vst3Identity, AFactoryWithoutExtendedRecordsGivesNoVersionAndNoCategory) {
    addNoteInput();
    component.addBus(Vst::kAudio, Vst::kOutput, 2);
    createWith("Fx|Delay");
    plugin->factory2 = nullptr;
    EXPECT_EQ(instance->getVersion().toStdString(), "");
    EXPECT_EQ(instance->getCategory().toStdString(), "");
    EXPECT_THAT(instance->getDeviceTypes(), ElementsAre(1)) << "by its buses";
}

TEST_F(Vst3Identity, TextsOfRecordsWithoutTerminatorsEndWithTheirFields) {
    create();
    std::fill_n(plugin->classInfos[RecordingFactory::componentText].name, 64, 'n');
    std::fill_n(plugin->classInfos2[RecordingFactory::componentText].version, 64, 'v');
    std::fill_n(plugin->classInfos2[RecordingFactory::componentText].subCategories, 128, 's');
    EXPECT_EQ(instance->getName().toStdString(), std::string(64, 'n'));
    EXPECT_EQ(instance->getVersion().toStdString(), std::string(64, 'v'));
    EXPECT_EQ(instance->getCategory().toStdString(), std::string(128, 's'));
}

TEST_F(Vst3Identity, TextsOfRecordsAreUtf8) {
    createWith("Fx|Hüllkurve");
    EXPECT_EQ(instance->getCategory().toStdString(), "Hüllkurve");
}

// Categories.

TEST_F(Vst3Identity, TheFirstSubcategoryIsDroppedAndTheOthersAreJoined) {
    EXPECT_EQ(categoryOf("Fx|Delay|Stereo"), "Delay / Stereo");
}

TEST_F(Vst3Identity, AnOnlySubcategoryIsTheCategory) {
    EXPECT_EQ(categoryOf("Fx"), "Fx");
}

TEST_F(Vst3Identity, AnEmptySubcategoryIsAnEmptyCategoryAndLeavesTheTypeToTheBuses) {
    addNoteInput();
    component.addBus(Vst::kAudio, Vst::kOutput, 2);
    EXPECT_THAT(deviceTypesOf(""), ElementsAre(1));
    EXPECT_EQ(instance->getCategory().toStdString(), "");
    EXPECT_EQ(written, "");
}

TEST_F(Vst3Identity, WhereNothingFollowsTheFirstSubcategoryTheWholeTextIsTheCategory) {
    EXPECT_EQ(categoryOf("Fx|"), "Fx|");
}

// Device types by name.

TEST_F(Vst3Identity, AnInstrumentIsOfType1AndItsCategoryTheRest) {
    EXPECT_THAT(deviceTypesOf("Instrument|Synth"), ElementsAre(1));
    EXPECT_EQ(instance->getCategory().toStdString(), "Synth");
    EXPECT_EQ(written, "Instrument") << "the first subcategory, without a line end";
}

TEST_F(Vst3Identity, AnEffectIsOfType0) {
    addNoteInput();
    component.addBus(Vst::kAudio, Vst::kOutput, 2);
    EXPECT_THAT(deviceTypesOf("Fx"), ElementsAre(0)) << "whatever its buses say";
    EXPECT_EQ(instance->getCategory().toStdString(), "Fx");
    EXPECT_EQ(written, "Fx");
}

TEST_F(Vst3Identity, CaseDoesNotMatterInTheName) {
    component.addBus(Vst::kAudio, Vst::kInput, 2);
    component.addBus(Vst::kAudio, Vst::kOutput, 2);
    EXPECT_THAT(deviceTypesOf("iNSTRUMENT"), ElementsAre(1));
    EXPECT_EQ(written, "iNSTRUMENT");
}

TEST_F(Vst3Identity, ALowerCaseEffectIsOfType0) {
    addNoteInput();
    component.addBus(Vst::kAudio, Vst::kOutput, 2);
    EXPECT_THAT(deviceTypesOf("fx|Delay|Stereo"), ElementsAre(0));
    EXPECT_EQ(instance->getCategory().toStdString(), "Delay / Stereo");
}

TEST_F(Vst3Identity, AnotherNameIsWrittenAndLeavesTheTypeToTheBuses) {
    addNoteInput();
    component.addBus(Vst::kAudio, Vst::kOutput, 2);
    EXPECT_THAT(deviceTypesOf("Spatial|Fx"), ElementsAre(1));
    EXPECT_EQ(instance->getCategory().toStdString(), "Fx");
    EXPECT_EQ(written, "Spatial");
}

TEST_F(Vst3Identity, ALongerNameThatBeginsAlikeIsAnother) {
    component.addBus(Vst::kAudio, Vst::kInput, 2);
    component.addBus(Vst::kAudio, Vst::kOutput, 2);
    EXPECT_THAT(deviceTypesOf("Instruments"), ElementsAre(0));
}

// Device types by buses.

TEST_F(Vst3Identity, NotesInAndAudioOutAreType1BeforeAllElse) {
    addStereo();
    addNoteInput();
    addNoteOutput();
    EXPECT_THAT(deviceTypesOf(""), ElementsAre(1));
}

TEST_F(Vst3Identity, AudioInAndAudioOutAreType0) {
    addStereo();
    addNoteOutput();
    EXPECT_THAT(deviceTypesOf(""), ElementsAre(0));
}

TEST_F(Vst3Identity, NotesInAndNotesOutAreType2) {
    component.addBus(Vst::kAudio, Vst::kInput, 2);
    addNoteInput();
    addNoteOutput();
    EXPECT_THAT(deviceTypesOf(""), ElementsAre(2));
}

TEST_F(Vst3Identity, AudioInAndNotesOutAreType3) {
    component.addBus(Vst::kAudio, Vst::kInput, 2);
    addNoteOutput();
    EXPECT_THAT(deviceTypesOf(""), ElementsAre(3));
}

TEST_F(Vst3Identity, AudioOutAloneIsType0) {
    component.addBus(Vst::kAudio, Vst::kOutput, 2);
    EXPECT_THAT(deviceTypesOf(""), ElementsAre(0));
}

TEST_F(Vst3Identity, NoBusesAreType0) {
    EXPECT_THAT(deviceTypesOf(""), ElementsAre(0));
}

TEST_F(Vst3Identity, AuxiliaryBusesDoNotCount) {
    component.addBus(Vst::kEvent, Vst::kInput, 16, Vst::kAux);
    component.addBus(Vst::kAudio, Vst::kInput, 2);
    component.addBus(Vst::kAudio, Vst::kOutput, 2, Vst::kAux);
    component.addBus(Vst::kEvent, Vst::kOutput, 16);
    EXPECT_THAT(deviceTypesOf(""), ElementsAre(3));
}

TEST_F(Vst3Identity, AnAuxiliaryBusBeforeAMainOneDoesNotHideIt) {
    component.addBus(Vst::kEvent, Vst::kInput, 16, Vst::kAux);
    component.addBus(Vst::kEvent, Vst::kInput, 16);
    component.addBus(Vst::kAudio, Vst::kOutput, 2);
    EXPECT_THAT(deviceTypesOf(""), ElementsAre(1));
}

TEST_F(Vst3Identity, BusesThatCannotBeReadDoNotCount) {
    addStereo();
    addNoteInput();
    addNoteOutput();
    component.onGetBusInfo = [](Vst::MediaType type, Vst::BusDirection, int32_t) -> tresult {
        return type == Vst::kAudio ? kResultFalse : kResultOk;
    };
    EXPECT_THAT(deviceTypesOf(""), ElementsAre(2));
}
