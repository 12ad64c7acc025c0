// If these fail, a preset sounds different from what was saved, or a file that isn't one spoils the sound or
// ends the program.

#include "vst3-processing/Vst3PresetTest.h"

#include <public.sdk/source/common/memorystream.h>
#include <public.sdk/source/vst/vstpresetfile.h>

#include <random>

using namespace test_support;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Vst3LoadPreset : public Vst3PresetTest {
protected:
    Vst3LoadPreset() {
        component.state.bytes = "before";
        controller.state.bytes = "before";
    }

    void expectLoaded() {
        EXPECT_THAT(component.state.given, ElementsAre("component!"));
        EXPECT_THAT(controller.componentState.given, ElementsAre("component!"));
        EXPECT_THAT(controller.state.given, ElementsAre("ctrl"));
    }

    /// Loads and expects that the plug-in hears of nothing.
    void expectNothingOf(const std::string& bytes) {
        load(bytes);
        EXPECT_THAT(calls, IsEmpty());
    }

    /// All that a plug-in was given has to be a piece of the file.
    void expectPiecesOf(const std::string& bytes) {
        for (KeptState* state : {&component.state, &controller.componentState, &controller.state}) {
            for (const std::string& given : state->given)
                EXPECT_NE(bytes.find(given), std::string::npos);
            state->given.clear();
        }
    }

    /// What the component is given of a window of a file with the chunks "component!ctrl".
    std::string windowOf(int64_t offset, int64_t size) {
        component.state.given.clear();
        load(presetFile({.chunks = "component!ctrl", .entries = {{"Comp", offset, size}}}));
        return component.state.given.at(0);
    }

    static std::string replaced(std::string bytes, size_t offset, const std::string& by) {
        return bytes.replace(offset, by.size(), by);
    }

    static constexpr size_t listOffsetPlace = 40;
    static constexpr size_t countPlace = 66; // in a good preset
};

} // namespace

TEST_F(Vst3LoadPreset, StatesGoToTheComponentThenToTheControllerThenItsOwn) {
    createForPresets();
    load(goodPreset());
    expectLoaded();
    EXPECT_THAT(calls,
                ElementsAre("component setState", "controller setComponentState", "controller setState"));
}

TEST_F(Vst3LoadPreset, WhatWasSavedIsLoadedAgain) {
    component.state.bytes = "component!";
    controller.state.bytes = "ctrl";
    createForPresets();
    save();
    component.state.bytes = controller.state.bytes = "changed";
    loadFrom(path);
    expectLoaded();
    EXPECT_EQ(component.state.bytes, "component!");
    EXPECT_EQ(controller.state.bytes, "ctrl");
}

TEST_F(Vst3LoadPreset, AControllerInsideOfTheComponentIsLoadedAsOneOfItsOwn) {
    component.controllerClass = FUID();
    component.inside = &controller;
    createForPresets();
    load(goodPreset());
    expectLoaded();
}

TEST_F(Vst3LoadPreset, WithoutAControllerOnlyTheComponentIsLoaded) {
    component.controllerClass = FUID();
    createForPresets();
    load(goodPreset());
    EXPECT_THAT(calls, ElementsAre("component setState"));
}

TEST_F(Vst3LoadPreset, LowerCaseDigitsNameTheSameClass) {
    createForPresets();
    load(presetFile({.classText = "00112233445566778899aabbccddeeff",
                     .chunks = "component!ctrl",
                     .entries = {{"Comp", 48, 10}, {"Cont", 58, 4}}}));
    expectLoaded();
}

TEST_F(Vst3LoadPreset, TheVersionIsNotLookedAt) {
    createForPresets();
    load(presetFile(
        {.chunks = "component!ctrl", .entries = {{"Comp", 48, 10}, {"Cont", 58, 4}}, .version = 77}));
    expectLoaded();
}

TEST_F(Vst3LoadPreset, WithoutAStateOfItsOwnTheControllerHearsOfTheComponentsAlone) {
    createForPresets();
    load(presetFile({.chunks = "component!", .entries = {{"Comp", 48, 10}}}));
    EXPECT_THAT(calls, ElementsAre("component setState", "controller setComponentState"));
}

TEST_F(Vst3LoadPreset, AFileWithTheControllersStateAloneLoadsNothing) {
    createForPresets();
    expectNothingOf(presetFile({.chunks = "ctrl", .entries = {{"Cont", 48, 4}}}));
}

TEST_F(Vst3LoadPreset, OtherChunksAreSkipped) {
    createForPresets();
    load(presetFile({.chunks = "???component!ctrlxml",
                     .entries = {{"What", 48, 3},
                                 {"Prog", 48, 3},
                                 {"Comp", 51, 10},
                                 {"comp", 48, 3},
                                 {"Cont", 61, 4},
                                 {"Info", 65, 3}}}));
    expectLoaded();
}

TEST_F(Vst3LoadPreset, OfSeveralStatesTheFirstCounts) {
    createForPresets();
    load(presetFile({.chunks = "component!ctrlother",
                     .entries = {{"Comp", 48, 10}, {"Comp", 62, 5}, {"Cont", 58, 4}, {"Cont", 62, 5}}}));
    expectLoaded();
}

TEST_F(Vst3LoadPreset, ChunksMayLieInAnyOrder) {
    createForPresets();
    load(presetFile({.chunks = "ctrlcomponent!", .entries = {{"Cont", 48, 4}, {"Comp", 52, 10}}}));
    expectLoaded();
}

TEST_F(Vst3LoadPreset, OfAListOf200EntriesTheFirst128AreRead) {
    createForPresets();
    PresetParts parts{.chunks = "component!ctrl", .entries = std::vector<PresetEntry>(200, {"What", 48, 3})};
    parts.entries[127] = {"Comp", 48, 10};
    parts.entries[128] = {"Cont", 58, 4};
    load(presetFile(parts));
    EXPECT_THAT(component.state.given, ElementsAre("component!"));
    EXPECT_THAT(controller.state.given, IsEmpty()) << "the 129th";
    parts.entries[127] = {"What", 48, 3};
    parts.entries[128] = {"Comp", 48, 10};
    load(presetFile(parts));
    EXPECT_EQ(component.state.given.size(), 1u);
}

TEST_F(Vst3LoadPreset, APresetOfAnotherClassChangesNothing) {
    createForPresets();
    expectNothingOf(presetFile({.classText = "00112233445566778899AABBCCDDEEFE",
                                .chunks = "component!",
                                .entries = {{"Comp", 48, 10}}}));
}

TEST_F(Vst3LoadPreset, ATextThatIsNoClassIdIsAnotherClass) {
    createForPresets();
    for (const std::string& text : {std::string(32, '\0'), std::string(32, '0'), std::string(32, 'z'),
                                    "00112233445566778899AABBCCDDEEF" + std::string(1, '\0')})
        expectNothingOf(
            presetFile({.classText = text, .chunks = "component!", .entries = {{"Comp", 48, 10}}}));
}

TEST_F(Vst3LoadPreset, AComponentThatRefusesEndsTheLoading) {
    component.state.setAnswer = kResultFalse;
    createForPresets();
    load(goodPreset());
    EXPECT_THAT(calls, ElementsAre("component setState"));
    EXPECT_EQ(component.state.bytes, "before");
}

TEST_F(Vst3LoadPreset, AComponentThatKeepsNoStateDoesNotEndTheLoading) {
    component.state.setAnswer = kNotImplemented;
    createForPresets();
    load(goodPreset());
    expectLoaded();
}

TEST_F(Vst3LoadPreset, AControllerThatRefusesTheComponentsStateEndsTheLoading) {
    controller.componentState.setAnswer = kInvalidArgument;
    createForPresets();
    load(goodPreset());
    EXPECT_THAT(calls, ElementsAre("component setState", "controller setComponentState"));
    EXPECT_EQ(controller.state.bytes, "before");
}

TEST_F(Vst3LoadPreset, AControllerThatIgnoresTheComponentsStateDoesNotEndTheLoading) {
    controller.componentState.setAnswer = kNotImplemented;
    createForPresets();
    load(goodPreset());
    expectLoaded();
}

TEST_F(Vst3LoadPreset, WhatTheControllerAnswersToItsOwnStateIsIgnored) {
    controller.state.setAnswer = Steinberg::kInternalError;
    createForPresets();
    load(goodPreset());
    expectLoaded();
}

TEST_F(Vst3LoadPreset, LoadingTellsTheClientNothingAndLeavesTheProcessingAsItIs) {
    startProcessing();
    controller.componentState.given.clear();
    announce();
    load(goodPreset());
    expectLoaded();
    EXPECT_EQ(instance->getProcessingState(), ProcessingState::processing);
    EXPECT_THAT(handler->notifications, IsEmpty());
}

TEST_F(Vst3LoadPreset, AFileThatIsNotThereIsTold) {
    createForPresets();
    const std::string missing = folder / "missing.vstpreset";
    EXPECT_EQ(failureOf([&] { loadFrom(missing); }), "Error opening VST3 preset for reading: " + missing);
    EXPECT_EQ(failureOf([&] { loadFrom(""); }), "Error opening VST3 preset for reading: ");
    EXPECT_THAT(calls, IsEmpty());
}

TEST_F(Vst3LoadPreset, AFolderOpensAndIsNoPreset) {
    createForPresets();
    loadFrom(folder / "");
    EXPECT_THAT(calls, IsEmpty());
}

TEST_F(Vst3LoadPreset, APathIsUtf8) {
    createForPresets();
    const std::string file = folder / "Größe €.vstpreset";
    writeFile(file, goodPreset());
    loadFrom(file);
    expectLoaded();
}

TEST_F(Vst3LoadPreset, AFileOfTheSdksOwnWriterIsLoadedWhateverElseIsInIt) {
    createForPresets();
    std::string componentBytes = "component!";
    std::string controllerBytes = "ctrl";
    const IPtr<Steinberg::IBStream> componentState =
        Steinberg::owned(new Steinberg::MemoryStream(componentBytes.data(), 10));
    const IPtr<Steinberg::IBStream> controllerState =
        Steinberg::owned(new Steinberg::MemoryStream(controllerBytes.data(), 4));
    {
        const IPtr<Steinberg::IBStream> file = Steinberg::owned(Vst::FileStream::open(path.c_str(), "wb"));
        ASSERT_TRUE(Vst::PresetFile::savePreset(file, RecordingFactory::componentClass, componentState,
                                                controllerState, "<MetaInfo/>"));
    }
    ASSERT_NE(readFile(path).find("<MetaInfo/>"), std::string::npos);
    loadFrom(path);
    expectLoaded();
}

// Files that are broken.

TEST_F(Vst3LoadPreset, AFileThatEndsAnywhereIsReadAsFarAsItsListGoes) {
    createForPresets();
    const std::string whole = goodPreset();
    const size_t firstEntryEnd = countPlace + 4 + 20;
    for (size_t length = 0; length < whole.size(); ++length) {
        calls.clear();
        load(whole.substr(0, length));
        EXPECT_EQ(calls.size(), length < firstEntryEnd ? 0u : 2u) << length;
    }
    EXPECT_THAT(controller.state.given, IsEmpty());
}

TEST_F(Vst3LoadPreset, AnotherMarkAtTheStartIsNoPreset) {
    createForPresets();
    for (size_t place = 0; place < 4; ++place)
        expectNothingOf(replaced(goodPreset(), place, "x"));
}

TEST_F(Vst3LoadPreset, AListThatIsNotWhereItShouldBeIsNoPreset) {
    createForPresets();
    for (const int64_t offset : {int64_t{0}, int64_t{-1}, INT64_MIN, INT64_MAX, int64_t{8}, int64_t{40},
                                 int64_t{61}, int64_t{63}, int64_t{1000}, int64_t{INT32_MAX},
                                 int64_t{INT32_MIN}, (int64_t{1} << 32) + 62, -(int64_t{1} << 32) + 62})
        expectNothingOf(replaced(goodPreset(), listOffsetPlace, int64Bytes(offset)));
}

TEST_F(Vst3LoadPreset, AListWithoutEntriesIsNoPreset) {
    createForPresets();
    for (const int32_t count : {0, -1, INT32_MIN})
        expectNothingOf(replaced(goodPreset(), countPlace, int32Bytes(count)));
}

TEST_F(Vst3LoadPreset, AListThatEndsBeforeItsCountIsReadAsFarAsItGoes) {
    createForPresets();
    for (const int32_t count : {3, 128, 200, INT32_MAX}) {
        calls.clear();
        load(replaced(goodPreset(), countPlace, int32Bytes(count)));
        EXPECT_EQ(calls.size(), 3u) << count;
    }
}

TEST_F(Vst3LoadPreset, AWindowEndsWithItsSizeOrWithTheFile) {
    createForPresets();
    const std::string file = presetFile({.chunks = "component!ctrl", .entries = {{"Comp", 58, 10000}}});
    EXPECT_EQ(windowOf(48, 3), "com");
    EXPECT_EQ(windowOf(58, 4), "ctrl");
    EXPECT_EQ(windowOf(58, 10000), file.substr(58));
    EXPECT_EQ(windowOf(0, 4), "VST3");
}

TEST_F(Vst3LoadPreset, AWindowOutsideOfTheFileIsEmpty) {
    createForPresets();
    EXPECT_EQ(windowOf(1000, 10), "");
    EXPECT_EQ(windowOf(INT32_MAX, 10), "");
    EXPECT_EQ(windowOf(-1, 10), "");
    EXPECT_EQ(windowOf(INT32_MIN, 10), "");
    EXPECT_EQ(windowOf(48, 0), "");
    EXPECT_EQ(windowOf(48, -1), "");
    EXPECT_EQ(windowOf(48, INT64_MIN), "");
}

TEST_F(Vst3LoadPreset, AComponentThatLooksAtItsStateStaysAsItWasWithABrokenOne) {
    component.state.wholeSize = 10;
    createForPresets();
    for (const PresetEntry& entry :
         {PresetEntry{"Comp", 1000, 10}, PresetEntry{"Comp", -1, 10}, PresetEntry{"Comp", 48, -10},
          PresetEntry{"Comp", 48, 9}, PresetEntry{"Comp", INT64_MIN, INT64_MIN},
          PresetEntry{"Comp", INT64_MAX, INT64_MAX}}) {
        calls.clear();
        load(presetFile({.chunks = "component!", .entries = {entry}}));
        EXPECT_EQ(component.state.bytes, "before");
        EXPECT_THAT(calls, ElementsAre("component setState"));
    }
}

TEST_F(Vst3LoadPreset, WhateverAFileSaysAPluginIsGivenPiecesOfItAndNothingElse) {
    createForPresets();
    constexpr int64_t extremes[] = {INT64_MIN, INT64_MAX, INT32_MIN, INT32_MAX, -1, 0, int64_t{1} << 32, 48};
    std::mt19937 random(20240607); // The same files in every run.
    size_t loaded = 0;
    for (int32_t round = 0; round < 3000; ++round) {
        std::string bytes = goodPreset();
        for (uint32_t change = random() % 4; change < 4; ++change) {
            const size_t place = random() % bytes.size();
            switch (random() % 4) {
            case 0:
                bytes[place] = static_cast<char>(random());
                break;
            case 1:
                bytes.resize(place);
                break;
            case 2:
                bytes.insert(place, std::string(random() % 50, static_cast<char>(random())));
                break;
            default:
                bytes.replace(place, 8, int64Bytes(extremes[random() % std::size(extremes)]));
                break;
            }
            if (bytes.empty())
                break;
        }
        load(bytes);
        loaded += component.state.given.size();
        expectPiecesOf(bytes);
    }
    EXPECT_GT(loaded, 100u) << "too few of the files were presets at all";
}
