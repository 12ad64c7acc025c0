// If these fail, what a musician saves can't be loaded by this or any other program.

#include "vst2/Vst2PresetTest.h"

#include <gmock/gmock.h>

using namespace test_support;
using testing::ElementsAre;

namespace {

class Vst2SavePreset : public Vst2PresetTest {
protected:
    Vst2SavePreset() {
        effect.answer(effGetProgram, 2);
        effect.answer(effGetProgramNameIndexed, [](const DispatcherCall& call, void* ptr) -> VstIntPtr {
            std::snprintf(static_cast<char*>(ptr), 64, "Program %d", call.index);
            return 1;
        });
        effect.parameters = {{0, 0.5F}, {1, 0.25F}};
    }

    std::string save(const std::string& name = "sounds.fxb") {
        const std::string path = folder / name;
        instance->savePreset(path.c_str());
        return readFile(path);
    }

    void giveChunk(void* data, VstIntPtr size) {
        useChunks();
        effect.answer(effGetChunk, [=](const DispatcherCall& call, void* ptr) {
            EXPECT_EQ(call.index, 0) << "a bank";
            *static_cast<void**>(ptr) = data;
            return size;
        });
    }
};

std::string savedProgram(const std::string& name) {
    std::string padded = name;
    padded.resize(28, '\0');
    return bytesOf("'CcnK' 00 00 00 38 'FxCk' 00 00 00 02 'Test' 00 00 00 07 00 00 00 02") + padded +
           bytesOf("3F 00 00 00 3E 80 00 00");
}

} // namespace

TEST_F(Vst2SavePreset, ABankOfProgramsHasTheseBytes) {
    const std::string expected = bytesOf("'CcnK' 00 00 01 58 'FxBk' 00 00 00 02 'Test' 00 00 00 07"
                                         "00 00 00 03 00 00 00 02") +
                                 std::string(124, '\0') + savedProgram("Program 0") +
                                 savedProgram("Program 1") + savedProgram("Program 2");
    EXPECT_EQ(hexOf(save()), hexOf(expected));
    EXPECT_THAT(lines, ElementsAre("begin", "program 0", "program 1", "program 2", "program 2", "end"));
}

TEST_F(Vst2SavePreset, ABankAsAChunkHasTheseBytes) {
    char data[] = "xyz";
    giveChunk(data, 3);
    const std::string expected = bytesOf("'CcnK' 00 00 00 9B 'FBCh' 00 00 00 02 'Test' 00 00 00 07"
                                         "00 00 00 03 00 00 00 02") +
                                 std::string(124, '\0') + bytesOf("00 00 00 03 'xyz'");
    EXPECT_EQ(hexOf(save()), hexOf(expected));
    EXPECT_THAT(lines, testing::IsEmpty()) << "nothing is walked through";
}

TEST_F(Vst2SavePreset, AnEmptyChunkHasItsSizeAlone) {
    char data[] = "";
    giveChunk(data, 0);
    const std::string bank = save();
    EXPECT_EQ(hexOf(bank.substr(0, 12)), golden("'CcnK' 00 00 00 98 'FBCh'"));
    EXPECT_EQ(hexOf(bank.substr(156)), golden("00 00 00 00"));
}

TEST_F(Vst2SavePreset, APluginThatGivesNoChunkIsSavedAsPrograms) {
    giveChunk(nullptr, 0);
    EXPECT_EQ(save().substr(8, 4), "FxBk");
}

TEST_F(Vst2SavePreset, ASingleProgramIsNotWalkedTo) {
    effect.effect.numPrograms = 1;
    EXPECT_EQ(hexOf(save().substr(156)), hexOf(savedProgram("Program 0")));
    EXPECT_THAT(lines, testing::IsEmpty());
}

TEST_F(Vst2SavePreset, APluginWithoutProgramsGetsAHeaderAlone) {
    effect.effect.numPrograms = 0;
    EXPECT_EQ(save().size(), 156u);
}

TEST_F(Vst2SavePreset, ANameIsCutAtTwentyEightBytes) {
    effect.effect.numPrograms = 1;
    effect.answerText(effGetProgramNameIndexed, "ABCDEFGHIJKLMNOPQRSTUVWXYZ1234567890");
    EXPECT_EQ(save().substr(184, 28), "ABCDEFGHIJKLMNOPQRSTUVWXYZ12");
}

TEST_F(Vst2SavePreset, ABankIsWrittenUnderAnyName) {
    EXPECT_EQ(save("sound.fxp").substr(8, 4), "FxBk");
    EXPECT_EQ(save("sound").substr(8, 4), "FxBk");
}

TEST_F(Vst2SavePreset, TheSecondAnswerForAParameterIsSaved) {
    effect.effect.numPrograms = 1;
    effect.effect.getParameter = [](AEffect* self, VstInt32) {
        // Settles while it is asked for.
        self->future[0] = static_cast<char>(self->future[0] + 1);
        return self->future[0] % 2 == 0 ? 0.5F : 0.0F;
    };
    EXPECT_EQ(hexOf(save().substr(212)), golden("3F 00 00 00 3F 00 00 00"));
}

TEST_F(Vst2SavePreset, AnOlderFileIsReplacedWhole) {
    writeFile(folder / "sounds.fxb", std::string(10000, 'x'));
    EXPECT_EQ(save().size(), 156u + 3 * 64u);
}

TEST_F(Vst2SavePreset, WhatThePluginReportsMeanwhileIsSwallowed) {
    announce();
    effect.answer(effSetProgram, [this](const DispatcherCall&, void*) {
        EXPECT_TRUE(instance->notificationsMuted);
        return ask(audioMasterUpdateDisplay);
    });
    save();
    EXPECT_FALSE(instance->notificationsMuted);
    EXPECT_THAT(handler->notifications, testing::IsEmpty());
}

TEST_F(Vst2SavePreset, AFileThatCannotBeWrittenFailsWithItsPathAndTheSystemsWords) {
    const std::string path = folder / "none/sounds.fxb";
    const std::string message = messageOf([&] { instance->savePreset(path.c_str()); });
    EXPECT_THAT(message, testing::StartsWith("Error saving vst2 preset \"" + path + "\": "));
    EXPECT_THAT(message, testing::HasSubstr("No such file or directory"));
    EXPECT_FALSE(instance->notificationsMuted);
}

TEST_F(Vst2SavePreset, AFullDiskIsAFailure) {
    const std::string message = messageOf([&] { instance->savePreset("/dev/full"); });
    EXPECT_THAT(message, testing::StartsWith("Error saving vst2 preset \"/dev/full\": "));
    EXPECT_THAT(message, testing::HasSubstr("No space left on device"));
}

TEST_F(Vst2SavePreset, WhatWasSavedComesBack) {
    const std::string saved = save();
    lines.clear();
    load("again.fxb", saved);
    EXPECT_THAT(lines, ElementsAre("begin", "bank 01 00 00 00 74 73 65 54 07 00 00 00 03 00 00 00 ", "begin",
                                   "program 0", "name Program 0", "parameter 0 0.500", "parameter 1 0.250",
                                   "program 1", "name Program 1", "parameter 0 0.500", "parameter 1 0.250",
                                   "program 2", "name Program 2", "parameter 0 0.500", "parameter 1 0.250",
                                   "program 2", "end"));
}
