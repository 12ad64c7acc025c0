// If these fail, the client shows wrong names, parameters or categories, or a key press means another key to
// the plug-in.

#include "vst2/Vst2Questions.h"

using namespace test_support;

namespace {

using Types = std::vector<int32_t>;

} // namespace

TEST_F(Vst2Questions, EachCategoryHasItsText) {
    constexpr const char* texts[] = {"Unknown",     "Effect",      "Synth",          "Analysis",
                                     "Mastering",   "Spacializer", "Delay / Reverb", "Surround",
                                     "Restoration", "Offline",     "Shell",          "Generator"};
    for (int32_t category = 0; category < 12; ++category) {
        effect.answer(effGetPlugCategory, category);
        EXPECT_EQ(instance->getCategory().toStdString(), texts[category]);
    }
    for (const int32_t category : {-1, 12, 1000}) {
        effect.answer(effGetPlugCategory, category);
        EXPECT_EQ(instance->getCategory(), "Other");
    }
}

TEST_F(Vst2Questions, NameAndVendorAreTheEffectsTexts) {
    effect.answerText(effGetEffectName, "Fl\xC3\xBCgel");
    effect.answerText(effGetVendorString, "Somebody");
    EXPECT_EQ(instance->getName(), "Fl\xC3\xBCgel");
    EXPECT_EQ(instance->getVendor(), "Somebody");
}

TEST_F(Vst2Questions, AnEffectThatWritesNothingHasAnEmptyName) {
    effect.answer(effGetEffectName, 1);
    EXPECT_TRUE(instance->getName().isEmpty());
    EXPECT_TRUE(instance->getVendor().isEmpty());
}

TEST_F(Vst2Questions, ANameMayFillTheBufferWithoutATerminator) {
    effect.answerText(effGetEffectName, std::string(128, 'n'));
    EXPECT_EQ(instance->getName().toStdString(), std::string(128, 'n'));
}

TEST_F(Vst2Questions, ANameThatIsNoUtf8IsAFailure) {
    effect.answerText(effGetEffectName, "Fl\xFCgel");
    EXPECT_THROW(instance->getName(), IOException);
}

TEST_F(Vst2Questions, TheIdentifierIsTheUniqueIdInHexadecimalWithoutPadding) {
    effect.effect.uniqueID = 0x0000ABCD;
    EXPECT_EQ(instance->getIdentifier(), "abcd");
    effect.effect.uniqueID = -1;
    EXPECT_EQ(instance->getIdentifier(), "ffffffff");
    effect.effect.uniqueID = 0;
    EXPECT_EQ(instance->getIdentifier(), "0");
}

TEST_F(Vst2Questions, TheVersionIsSignedDecimal) {
    effect.answer(effGetVendorVersion, 1203);
    EXPECT_EQ(instance->getVersion(), "1203");
    effect.answer(effGetVendorVersion, -5);
    EXPECT_EQ(instance->getVersion(), "-5");
}

TEST_F(Vst2Questions, CountsAndLatencyAreThoseOfTheEffect) {
    effect.effect.numInputs = 3;
    effect.effect.numOutputs = 4;
    effect.effect.numParams = 5;
    effect.effect.numPrograms = 6;
    effect.effect.initialDelay = 77;
    EXPECT_EQ(instance->getInputChannelCount(), 3);
    EXPECT_EQ(instance->getOutputChannelCount(), 4);
    EXPECT_EQ(instance->getParameterCount(), 5);
    EXPECT_EQ(instance->getProgramCount(), 6);
    EXPECT_EQ(instance->getLatency(), 77);
}

TEST_F(Vst2Questions, AudioFollowsTheChannels) {
    EXPECT_FALSE(instance->hasAudioInput());
    EXPECT_FALSE(instance->hasAudioOutput());
    effect.effect.numInputs = 1;
    EXPECT_TRUE(instance->hasAudioInput());
    effect.effect.numOutputs = 1;
    EXPECT_TRUE(instance->hasAudioOutput());
}

TEST_F(Vst2Questions, AnAbilityCountsOnlyIfTheAnswerIsExactlyOne) {
    for (const VstIntPtr answer : {-1, 0, 2}) {
        effect.answerCanDo("receiveVstMidiEvent", answer);
        effect.answerCanDo("sendVstMidiEvent", answer);
        effect.answerCanDo("receiveVstSysexEvent", answer);
        const Ref<Vst2PluginInstance> other(new Vst2PluginInstance(host.get(), 1, false, nullptr, 0));
        other->attach(&effect.effect);
        other->initialize();
        EXPECT_FALSE(other->hasNoteInput());
        EXPECT_FALSE(other->hasNoteOutput());
        EXPECT_FALSE(other->hasSysexInput());
    }
    effect.effect.resvd1 = reinterpret_cast<VstIntPtr>(instance.get());
}

TEST_F(Vst2Questions, EachAbilityIsAFlagOfItsOwn) {
    effect.answerCanDo("receiveVstMidiEvent", 1);
    instance->initialize();
    EXPECT_TRUE(instance->hasNoteInput());
    EXPECT_FALSE(instance->hasNoteOutput());
    EXPECT_FALSE(instance->hasSysexInput());
}

TEST_F(Vst2Questions, NoteOutputAndSysexInputAreAskedAtInitialize) {
    effect.answerCanDo("sendVstMidiEvent", 1);
    effect.answerCanDo("receiveVstSysexEvent", 1);
    EXPECT_FALSE(instance->hasNoteOutput());
    instance->initialize();
    EXPECT_FALSE(instance->hasNoteInput());
    EXPECT_TRUE(instance->hasNoteOutput());
    EXPECT_TRUE(instance->hasSysexInput());
}

TEST_F(Vst2Questions, AnInstrumentTakesNotesWhateverItSaysOfMidi) {
    effect.effect.flags |= effFlagsIsSynth;
    instance->initialize();
    EXPECT_TRUE(instance->hasNoteInput());
}

TEST_F(Vst2Questions, MpeIsAnyAnswerAboveZero) {
    effect.answerCanDo("MPE", 2);
    EXPECT_TRUE(instance->supportsMpe());
    effect.answerCanDo("MPE", 0);
    EXPECT_FALSE(instance->supportsMpe());
    effect.answerCanDo("MPE", -1);
    EXPECT_FALSE(instance->supportsMpe());
}

TEST_F(Vst2Questions, DpiScalingIsExactlyOne) {
    effect.answerCanDo("supportsViewDpiScaling", 1);
    EXPECT_TRUE(instance->supportsViewDpiScaling());
    effect.answerCanDo("supportsViewDpiScaling", 2);
    EXPECT_FALSE(instance->supportsViewDpiScaling());
}

TEST_F(Vst2Questions, ControllersAreNeverMapped) {
    EXPECT_FALSE(instance->hasMidiControllerMapping());
}

TEST_F(Vst2Questions, APluginWithoutAudioAndNotesIsStillAPlainEffect) {
    instance->initialize();
    EXPECT_EQ(instance->getDeviceTypes(), Types{0});
}

TEST_F(Vst2Questions, DeviceTypesComeInTheirFixedOrder) {
    effect.effect.flags |= effFlagsIsSynth;
    effect.effect.numInputs = 2;
    effect.effect.numOutputs = 2;
    effect.answerCanDo("receiveVstMidiEvent", 1);
    effect.answerCanDo("sendVstMidiEvent", 1);
    instance->initialize();
    EXPECT_EQ(instance->getDeviceTypes(), (Types{1, 0, 2, 3}));
}

TEST_F(Vst2Questions, DeviceTypesFollowTheAbilities) {
    effect.effect.numInputs = 2;
    effect.answerCanDo("sendVstMidiEvent", 1);
    instance->initialize();
    EXPECT_EQ(instance->getDeviceTypes(), Types{3});
    effect.effect.numInputs = 0;
    EXPECT_EQ(instance->getDeviceTypes(), Types{0});
    effect.effect.flags |= effFlagsIsSynth;
    EXPECT_EQ(instance->getDeviceTypes(), Types{1});
}

TEST_F(Vst2Questions, ProgramsAreAskedByIndex) {
    effect.answer(effGetProgram, 4);
    EXPECT_EQ(instance->getCurrentProgram(), 4);
    instance->setCurrentProgram(9);
    EXPECT_EQ(effect.calls, (std::vector<DispatcherCall>{{.opcode = effGetProgram},
                                                         {.opcode = effSetProgram, .value = 9}}));
}

TEST_F(Vst2Questions, AProgramNameStartsFromAZeroedBufferAndTheAnswerIsIgnored) {
    effect.answer(effGetProgramNameIndexed, [](const DispatcherCall& call, void* ptr) -> VstIntPtr {
        EXPECT_EQ(call.index, 3);
        EXPECT_EQ(call.value, 0);
        EXPECT_EQ(std::string(static_cast<char*>(ptr), 256), std::string(256, '\0'));
        std::memcpy(ptr, "Warm", 4);
        return 0;
    });
    char buffer[256];
    std::memset(buffer, 'x', sizeof buffer);
    instance->getProgramName(3, buffer, sizeof buffer);
    EXPECT_STREQ(buffer, "Warm");
}

TEST_F(Vst2Questions, DisplayAndLabelAreTheEffectsOwn) {
    effect.answerText(effGetParamDisplay, "-6.0");
    effect.answerText(effGetParamLabel, "dB");
    char display[256] = {};
    char label[256] = {};
    instance->getParameterDisplay(4, display, sizeof display);
    instance->getParameterLabel(5, label, sizeof label);
    EXPECT_STREQ(display, "-6.0");
    EXPECT_STREQ(label, "dB");
    EXPECT_EQ(effect.calls, (std::vector<DispatcherCall>{{.opcode = effGetParamDisplay, .index = 4},
                                                         {.opcode = effGetParamLabel, .index = 5}}));
}

TEST_F(Vst2Questions, AParametersValueComesFromTheEffectsFunction) {
    effect.parameters[3] = 0.375F;
    EXPECT_EQ(instance->getParameterValue(3), 0.375F);
}

TEST_F(Vst2Questions, ThePropertiesNameWinsOverThePlainName) {
    effect.answerText(effGetParamName, "Plain");
    EXPECT_EQ(parameterName(1), "Plain");
    VstParameterProperties properties{};
    std::strcpy(properties.label, "Described");
    answerProperties(properties);
    EXPECT_EQ(parameterName(1), "Described");
    answerProperties(properties, 2);
    EXPECT_EQ(parameterName(1), "Plain");
    answerProperties({});
    EXPECT_EQ(parameterName(1), "Plain");
}

TEST_F(Vst2Questions, APropertiesNameWithoutATerminatorEndsWithItsField) {
    VstParameterProperties properties{};
    std::memset(properties.label, 'p', sizeof properties.label);
    properties.flags = 0x71717171; // what lies behind the label
    answerProperties(properties);
    EXPECT_EQ(parameterName(0), std::string(64, 'p'));
}

TEST_F(Vst2Questions, APropertiesNameThatIsLongerThanTheBufferIsCut) {
    VstParameterProperties properties{};
    std::strcpy(properties.label, "Described");
    answerProperties(properties);
    std::string buffer(12, '#');
    instance->getParameterName(0, buffer.data(), 4);
    EXPECT_EQ(buffer, "Desc########");
}

TEST_F(Vst2Questions, WithoutPropertiesAParameterHasItsIndexAsId) {
    effect.answer(effCanBeAutomated, 1);
    const ParameterProperties properties = propertiesOf(6);
    EXPECT_TRUE(properties.canBeAutomated);
    EXPECT_EQ(properties.id, 6);
    EXPECT_FALSE(properties.isSwitch);
    EXPECT_FALSE(properties.usesIntegerRange);
    EXPECT_TRUE(properties.category.isEmpty());
    effect.answer(effCanBeAutomated, 0);
    EXPECT_FALSE(propertiesOf(6).canBeAutomated);
    effect.answer(effCanBeAutomated, -1);
    EXPECT_TRUE(propertiesOf(6).canBeAutomated);
}

TEST_F(Vst2Questions, ARangeIsCopiedWhateverTheFlagsSay) {
    VstParameterProperties answer{};
    answer.minInteger = -3;
    answer.maxInteger = 8;
    answer.displayIndex = 12;
    std::strcpy(answer.categoryLabel, "Unmarked");
    answerProperties(answer);
    const ParameterProperties properties = propertiesOf(2);
    EXPECT_EQ(properties.id, 2);
    EXPECT_EQ(properties.minInteger, -3);
    EXPECT_EQ(properties.maxInteger, 8);
    EXPECT_FALSE(properties.usesIntegerRange);
    EXPECT_FALSE(properties.isSwitch);
    EXPECT_TRUE(properties.category.isEmpty());
}

TEST_F(Vst2Questions, EachPropertyFlagDecidesItsOwnField) {
    VstParameterProperties answer{};
    answer.displayIndex = -2;
    std::memset(answer.categoryLabel, 'c', sizeof answer.categoryLabel);
    answer.flags = 1 << 0;
    answerProperties(answer);
    EXPECT_TRUE(propertiesOf(2).isSwitch);
    EXPECT_FALSE(propertiesOf(2).usesIntegerRange);
    answer.flags = 1 << 1;
    answerProperties(answer);
    EXPECT_FALSE(propertiesOf(2).isSwitch);
    EXPECT_TRUE(propertiesOf(2).usesIntegerRange);
    answer.flags = 1 << 4;
    answerProperties(answer);
    EXPECT_EQ(propertiesOf(2).id, -2);
    answer.flags = 1 << 5;
    answerProperties(answer);
    EXPECT_EQ(propertiesOf(2).id, 2);
    EXPECT_EQ(propertiesOf(2).category.toStdString(), std::string(24, 'c'));
}

TEST_F(Vst2Questions, ANamedKeyHasItsName) {
    effect.answer(effGetProgram, 5);
    answerKeyName("Snare", 1);
    EXPECT_EQ(instance->getNoteName(38), "Snare");
    EXPECT_EQ(askedKey.thisKeyNumber, 38);
    EXPECT_EQ(askedKey.thisProgramIndex, 5);
    EXPECT_EQ(effect.calls.back(), (DispatcherCall{.opcode = effGetMidiKeyName}));
}

TEST_F(Vst2Questions, AnAnswerOfZeroMeansNoName) {
    answerKeyName("Snare", 0);
    EXPECT_TRUE(instance->getNoteName(38).isEmpty());
}

TEST_F(Vst2Questions, ThreeDashesAreNoNameWhateverTheAnswer) {
    answerKeyName("---", 1);
    EXPECT_TRUE(instance->getNoteName(38).isEmpty());
    answerKeyName("----", 1);
    EXPECT_EQ(instance->getNoteName(38), "----");
}

TEST_F(Vst2Questions, AKeyNameWithoutATerminatorLosesItsLastByte) {
    answerKeyName(std::string(64, 'k'), 1);
    EXPECT_EQ(instance->getNoteName(38).toStdString(), std::string(63, 'k'));
}

TEST_F(Vst2Questions, ANegativeProgramIsAskedForAsTheFirst) {
    answerKeyName("Snare", 1);
    for (const VstIntPtr program : {-1, -100, 0}) {
        effect.answer(effGetProgram, program);
        instance->getNoteName(1);
        EXPECT_EQ(askedKey.thisProgramIndex, 0);
    }
}

TEST_F(Vst2Questions, TheEditorIsAFlag) {
    EXPECT_FALSE(instance->hasEditor());
    effect.effect.flags = effFlagsHasEditor;
    EXPECT_TRUE(instance->hasEditor());
    int32_t width = 1;
    int32_t height = 2;
    EXPECT_FALSE(instance->canResizeEditor());
    EXPECT_FALSE(instance->checkEditorSize(width, height));
}

TEST_F(Vst2Questions, TheEditorsMouseAndFocusAndSizeReachNobody) {
    int32_t width = 1;
    int32_t height = 2;
    instance->editorMouseWheel(1);
    instance->editorFocusChanged(true);
    instance->editorSetSize(width, height);
    EXPECT_TRUE(effect.calls.empty());
}

TEST_F(Vst2Questions, ModifiersOneAndThreeChangePlaces) {
    constexpr struct {
        int32_t given;
        float passed;
    } rows[] = {{0, 0}, {1, 1},   {2, 8},   {3, 9},  {4, 0},  {5, 1},   {6, 8},   {7, 9},  {8, 2},
                {9, 3}, {10, 10}, {11, 11}, {12, 2}, {13, 3}, {14, 10}, {15, 11}, {16, 0}, {-1, 11}};
    for (const auto& row : rows) {
        effect.calls.clear();
        EXPECT_FALSE(instance->editorKeyDown(65, 7, row.given));
        EXPECT_FALSE(instance->editorKeyUp(0xFFFF, 7, row.given));
        EXPECT_EQ(effect.calls, (std::vector<DispatcherCall>{
                                    {.opcode = effEditKeyDown, .index = 65, .opt = row.passed},
                                    {.opcode = effEditKeyUp, .index = 65535, .opt = row.passed},
                                }))
            << "modifiers " << row.given;
    }
}

TEST_F(Vst2Questions, AKeyIsTakenIfTheAnswerIsNotZero) {
    effect.answer(effEditKeyDown, -1);
    effect.answer(effEditKeyUp, 2);
    EXPECT_TRUE(instance->editorKeyDown(1, 0, 0));
    EXPECT_TRUE(instance->editorKeyUp(1, 0, 0));
}
