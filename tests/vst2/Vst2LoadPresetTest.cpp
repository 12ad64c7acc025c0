// If these fail, a musician's sounds don't come back from a preset file, come back as others, or a file takes
// down the host.

#include "support/CapturedOutput.h"
#include "vst2/Vst2PresetTest.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <malloc.h>
#include <new>
#include <random>
#include <unistd.h>

using namespace test_support;
using testing::ElementsAre;
using testing::IsEmpty;
using namespace vst2Values;

namespace {

using Vst2LoadPreset = Vst2PresetTest;

const std::string prefix = "Error loading vst2 bank/preset: ";
const std::string bankInfo = "bank 01 00 00 00 74 73 65 54 07 00 00 00 ";

} // namespace

TEST_F(Vst2LoadPreset, AProgramOfValuesSetsTheParametersAndNotTheName) {
    load("sound.fxp", program("Bright", half + quarter));
    EXPECT_THAT(lines, ElementsAre("begin", "parameter 0 0.500", "parameter 1 0.250", "end"));
}

TEST_F(Vst2LoadPreset, AProgramOfMoreValuesThanTheEffectHasAppliesThoseThatItHas) {
    load("sound.fxp", program("Bright", half + quarter + one, 3));
    EXPECT_THAT(lines, ElementsAre("begin", "parameter 0 0.500", "parameter 1 0.250", "end"));
}

TEST_F(Vst2LoadPreset, AProgramAsAChunkIsHandedOverAsAProgram) {
    useChunks();
    load("sound.fxp", chunkProgram("00 00 00 03 'abc'"));
    EXPECT_THAT(lines, ElementsAre("begin", "chunk 1: " + golden("'abc'"), "end"));
}

TEST_F(Vst2LoadPreset, ABankOfProgramsSetsEachOfThemAndThenTheCurrentOne) {
    load("sounds.fxb", bankOfThree());
    EXPECT_THAT(lines, ElementsAre("begin", bankInfo + "03 00 00 00 ", "begin", "program 0", "name One",
                                   "parameter 0 0.500", "parameter 1 0.250", "program 1", "name Two",
                                   "parameter 0 1.000", "parameter 1 0.500", "program 2", "name Three",
                                   "parameter 0 0.250", "parameter 1 0.250", "program 1", "end"));
}

TEST_F(Vst2LoadPreset, ABankOfVersionOneHasNoCurrentProgram) {
    load("sounds.fxb", bankHead("FxBk", 1, "01") + program("One", half + quarter));
    EXPECT_THAT(lines, ElementsAre("begin", bankInfo + "01 00 00 00 ", "begin", "program 0", "name One",
                                   "parameter 0 0.500", "parameter 1 0.250", "end"));
}

TEST_F(Vst2LoadPreset, ABankOfFiveProgramsSetsTheThreeOfTheEffectAndLeavesTheRestUnread) {
    std::string bank = bankHead("FxBk", 5);
    for (const char* name : {"One", "Two", "Three"})
        bank += program(name, half + quarter);
    load("sounds.fxb", bank + "not a program");
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "parameter 0 0.500"), 3);
    EXPECT_EQ(lines.back(), "end");
}

TEST_F(Vst2LoadPreset, ExtraParametersOfABanksProgramAreReadAndDropped) {
    load("sounds.fxb",
         bankHead("FxBk", 2) + program("One", half + quarter + one, 3) + program("Two", quarter + quarter));
    EXPECT_THAT(lines, testing::Contains("name Two"));
    EXPECT_THAT(lines, testing::Not(testing::Contains("parameter 2 1.000")));
}

TEST_F(Vst2LoadPreset, ABankAsAChunkIsHandedOverAsABankAndThenTheCurrentProgramIsSet) {
    useChunks();
    load("sounds.fxb", chunkBank());
    EXPECT_THAT(lines, ElementsAre("begin", bankInfo + "03 00 00 00 ", "chunk 0: " + golden("'xy'"),
                                   "program 1", "end"));
}

TEST_F(Vst2LoadPreset, AnEmptyChunkOfABankIsNotHandedOver) {
    useChunks();
    load("sounds.fxb", bankHead("FBCh", 3, "01") + bytesOf("00 00 00 00"));
    EXPECT_THAT(lines, ElementsAre("begin", bankInfo + "03 00 00 00 ", "end"));
}

TEST_F(Vst2LoadPreset, AFileThatHoldsABankLoadsAsABankWhateverItsEnding) {
    useChunks();
    load("sound.fxp", bankHead("FBCh", 3) + bytesOf("00 00 00 01 'z'"));
    EXPECT_THAT(lines, testing::Contains("chunk 0: " + golden("'z'")));
}

TEST_F(Vst2LoadPreset, ALittleEndianBankIsTold) {
    load("old.fxb", littleEndianBank());
    EXPECT_THAT(lines, ElementsAre("begin", bankInfo + "01 00 00 00 ", "begin", "program 0", "name Small",
                                   "parameter 0 0.500", "parameter 1 0.250", "program 0", "end"));
}

TEST_F(Vst2LoadPreset, ANameOfTwentyEightBytesHasNoTerminatorOfItsOwn) {
    load("sounds.fxb", bankHead("FxBk", 1) + program("ABCDEFGHIJKLMNOPQRSTUVWXYZ12", half + half));
    EXPECT_THAT(lines, testing::Contains("name ABCDEFGHIJKLMNOPQRSTUVWXYZ12"));
}

TEST_F(Vst2LoadPreset, TheTwoIdsOfOnePluginCountAsTheSame) {
    effect.effect.uniqueID = 0x70727355;
    std::string file = program("Bright", half + quarter);
    file.replace(16, 4, bytesOf("75 68 50 57"));
    load("sound.fxp", file);
    EXPECT_THAT(lines, testing::Contains("parameter 0 0.500"));
    effect.effect.uniqueID = 0x75685057;
    file.replace(16, 4, bytesOf("70 72 73 55"));
    EXPECT_EQ(failureOf("other.fxp", file), "none");
}

TEST_F(Vst2LoadPreset, ATextGoesToThePluginUnchangedWithoutALineOfItsScale) {
    load("sound.h2p", "#AM=1\nCutoff=2\nScale=3\n");
    EXPECT_THAT(lines, ElementsAre("chunk 1: " + hexOf("#AM=1\nCutoff=2\nScale=3\n")));
}

TEST_F(Vst2LoadPreset, TheLineOfATextsScaleIsBlanked) {
    load("sound.h2p", scaledText());
    EXPECT_THAT(lines, ElementsAre("chunk 1: " + hexOf("#AM=1\n          \nCutoff=2\n")));
}

TEST_F(Vst2LoadPreset, ALineOfTheScaleAtTheEndIsBlankedToTheEnd) {
    load("sound.h2p", "#AM=1\nGScale=150");
    EXPECT_THAT(lines, ElementsAre("chunk 1: " + hexOf("#AM=1\n          ")));
}

TEST_F(Vst2LoadPreset, ATextHasAZeroBehindItsEnd) {
    effect.answer(effSetChunk, [this](const DispatcherCall& call, void* ptr) -> VstIntPtr {
        lines.push_back(std::to_string(static_cast<const char*>(ptr)[call.value]));
        return 1;
    });
    load("sound.h2p", "text");
    EXPECT_THAT(lines, ElementsAre("0"));
}

TEST_F(Vst2LoadPreset, TheChunkOfARiffFileIsHandedOverAsWhatItSaysItIs) {
    load("sound.nksf", riffFile(riffProgram));
    load("bank.nksf", riffFile(riffBank));
    // An odd chunk has its pad byte with it.
    EXPECT_THAT(lines, ElementsAre("chunk 1: " + golden("'xyz' 00"), "chunk 0: " + golden("'xy'")));
}

TEST_F(Vst2LoadPreset, AChunkOfARiffFileThatIsFourBytesLongIsAnEmptyOne) {
    load("sound.nksf", bytesOf("'RIFF' 10 00 00 00 'NIKS' 'PCHK' 04 00 00 00 01 00 00 00"));
    EXPECT_THAT(lines, ElementsAre("chunk 1: "));
}

TEST_F(Vst2LoadPreset, AFileWithAnyOtherEndingIsHandedOverWholeAsAProgram) {
    for (const char* name : {"sound.FXP", "sound.bin", "sound"}) {
        lines.clear();
        load(name, "CcnK anything");
        EXPECT_THAT(lines, ElementsAre("chunk 1: " + hexOf("CcnK anything"))) << name;
    }
}

TEST_F(Vst2LoadPreset, AnEmptyFileIsAnEmptyChunk) {
    effect.answer(effSetChunk, [this](const DispatcherCall& call, void* ptr) -> VstIntPtr {
        lines.push_back(std::to_string(call.value) + (ptr != nullptr ? " bytes" : " bytes of nowhere"));
        return 1;
    });
    load("sound.bin", "");
    EXPECT_THAT(lines, ElementsAre("0 bytes"));
}

TEST_F(Vst2LoadPreset, TheClientHearsOfALoadOnce) {
    announce();
    load("sound.fxp", program("Bright", half + quarter));
    EXPECT_EQ(handler->notifications.size(), 1u);
}

TEST_F(Vst2LoadPreset, APluginThatReportsTheLoadItselfIsHeardAndNotRepeated) {
    announce();
    effect.answer(effSetChunk, [this](const DispatcherCall&, void*) {
        ask(audioMasterUpdateDisplay);
        return VstIntPtr{1};
    });
    load("sound.bin", "anything");
    EXPECT_EQ(handler->notifications.size(), 1u);
}

TEST_F(Vst2LoadPreset, WhatThePluginReportsWhileABankIsReadIsSwallowed) {
    announce();
    effect.onSetParameter = [this](VstInt32 index, float value) {
        EXPECT_TRUE(instance->notificationsMuted);
        ask(audioMasterAutomate, index, 0, nullptr, value);
    };
    load("sound.fxp", program("Bright", half + quarter));
    EXPECT_FALSE(instance->notificationsMuted);
    EXPECT_EQ(handler->notifications.size(), 1u) << "the load itself";
}

TEST_F(Vst2LoadPreset, AFailureLetsNotificationsOutAgainAndIsNoLoad) {
    announce();
    EXPECT_NE(failureOf("sound.fxp", "none"), "none");
    EXPECT_FALSE(instance->notificationsMuted);
    EXPECT_THAT(handler->notifications, IsEmpty());
}

TEST_F(Vst2LoadPreset, FailuresOfAProgramOrABankHaveTheseWords) {
    EXPECT_EQ(failureOf("a.fxp", bytesOf("'CcnJ' 00 00 00 00")), prefix + "Invalid format id: 1130589770");
    EXPECT_EQ(failureOf("a.fxp", chunkProgram("00 00 00 00")), prefix + "Invalid format id: 1179665256");
    EXPECT_EQ(failureOf("a.fxb", bankHead("FBCh", 1)), prefix + "Invalid format id: 1178747752");
    std::string other = program("Bright", half + quarter);
    other[16] = 'O';
    EXPECT_EQ(failureOf("a.fxp", other), prefix + "Incorrect device id in program");
    std::string otherBank = bankHead("FxBk", 1);
    otherBank[16] = 'O';
    EXPECT_EQ(failureOf("a.fxb", otherBank), prefix + "Incorrect unique id");
    EXPECT_EQ(failureOf("a.fxb", bankHead("FxBk", 2) + program("One", half + quarter) + "CcnKxxxxFPCh"),
              prefix + "Incorrect program format id for progam 1");
    EXPECT_EQ(failureOf("a.fxb", bankHead("FxBk", 1) + other), prefix + "Incorrect unique id for program 0");
    EXPECT_EQ(failureOf("a.fxb", bankHead("FxBk", 1)), prefix + "End of stream");
    EXPECT_EQ(failureOf("a.fxb", ""), prefix + "End of stream");
    bankAnswer = -1;
    EXPECT_EQ(failureOf("a.fxb", bankHead("FxBk", 1)), prefix + "Vst-plugin refused to load bank");
}

TEST_F(Vst2LoadPreset, FailuresOfChunksHaveTheseWords) {
    useChunks();
    EXPECT_EQ(failureOf("a.fxp", program("Bright", half)), prefix + "Invalid format id: 1182286699");
    EXPECT_EQ(failureOf("a.fxb", bankHead("FxBk", 1)), prefix + "Invalid format id: 1182286443");
    EXPECT_EQ(failureOf("a.fxb", bankHead("FBCh", 1) + bytesOf("FF FF FF FF")),
              prefix + "Data size is negative");
    EXPECT_EQ(failureOf("a.fxb", bankHead("FBCh", 1) + bytesOf("7F FF FF FF 'abc'")),
              prefix + "End of stream");
    EXPECT_EQ(failureOf("a.fxp", chunkProgram("00 00 00 04 'abc'")), prefix + "End of stream");
    EXPECT_THAT(lines, testing::Not(testing::Contains(testing::StartsWith("chunk"))));
}

TEST_F(Vst2LoadPreset, FailuresOfARiffFileHaveTheseWordsAlone) {
    const std::string missing = "No plugin data chunk found in NKSF file";
    EXPECT_EQ(failureOf("a.nksf", ""), missing);
    EXPECT_EQ(failureOf("a.nksf", bytesOf("'RIFF' 04 00 00 00 'NIKS'")), missing);
    EXPECT_EQ(failureOf("a.nksf", bytesOf("'RIFF' 04 00 00 00 'NIKS' 'NISI' 02 00 00 00 'ab'")), missing);
    EXPECT_EQ(failureOf("a.nksf", bytesOf("'RIFF' 04 00 00 00 'NIKS' 'NISI' FF FF FF 7F 'ab'")), missing);
    EXPECT_EQ(failureOf("a.nksf", bytesOf("'RIFF' 04 00 00 00 'NIKS' 'PCHK' 02 00 00 00 'ab'")),
              "PCHK chunk must be at least 4 bytes long");
    EXPECT_EQ(failureOf("a.nksf", bytesOf("'RIFF' 04 00 00 00 'NIKS' 'PCHK' 04 00 00 00 02 00 00 00")),
              "Expected 0 or 1 for if bank or preset");
    EXPECT_EQ(failureOf("a.nksf", bytesOf("'RIFF' 04 00 00 00 'NIKS' 'PCHK' 08 00 00 00 01 00 00 00 'ab'")),
              "End of stream");
    EXPECT_THAT(lines, IsEmpty());
}

TEST_F(Vst2LoadPreset, AFileThatIsNotThereFailsInTheSystemsWords) {
    const std::string bank = messageOf([&] { instance->loadPreset((folder / "none.fxb").c_str()); });
    EXPECT_THAT(bank, testing::StartsWith(prefix));
    EXPECT_THAT(bank, testing::HasSubstr("No such file or directory"));
    const std::string text = messageOf([&] { instance->loadPreset((folder / "none.h2p").c_str()); });
    EXPECT_THAT(text, testing::Not(testing::StartsWith(prefix)));
    EXPECT_THAT(text, testing::HasSubstr("No such file or directory"));
}

// Sparse, so that it takes no space.
TEST_F(Vst2LoadPreset, AFileOfTwoGibibytesOrMoreIsRefusedBeforeAnythingIsAllocated) {
    constexpr int64_t gibibyte = int64_t{1} << 30;
    for (const int64_t size :
         {2 * gibibyte - 1, 2 * gibibyte, 3 * gibibyte, 4 * gibibyte - 1, 4 * gibibyte + 60}) {
        for (const auto& [name, start] : {std::pair<std::string, std::string>{"a.fxp", prefix},
                                          {"a.fxb", prefix},
                                          {"a.h2p", ""},
                                          {"a.nksf", ""},
                                          {"a.bin", ""}}) {
            const std::string path = write(name, program("Bright", half + quarter));
            ASSERT_EQ(truncate64(path.c_str(), size), 0);
            EXPECT_EQ(messageOf([&] { instance->loadPreset(path.c_str()); }),
                      start + "File is too large for a preset: " + path)
                << size;
        }
    }
    EXPECT_THAT(lines, IsEmpty());
}

TEST_F(Vst2LoadPreset, MemoryThatIsNotThereIsAFailureInTheWordsOfItsForm) {
    const auto none = [](const DispatcherCall&, void*) -> VstIntPtr { throw std::bad_alloc(); };
    effect.answer(effSetChunk, none);
    for (const char* name : {"a.h2p", "a.bin"})
        EXPECT_EQ(failureOf(name, "text"), "Out of memory for " + (folder / name));
    EXPECT_EQ(failureOf("a.nksf", riffFile(riffBank)), "Out of memory for " + (folder / "a.nksf"));
    useChunks();
    for (const char* name : {"a.fxp", "a.fxb"})
        EXPECT_EQ(failureOf(name, chunkBank()), prefix + "Out of memory for " + (folder / name));
}

TEST_F(Vst2LoadPreset, AChunkHasMemoryOfItsOwnAsFromMalloc) {
    constexpr uintptr_t alignment = alignof(std::max_align_t);
    int chunks = 0;
    effect.answer(effSetChunk, [&](const DispatcherCall& call, void* ptr) -> VstIntPtr {
        EXPECT_EQ(reinterpret_cast<uintptr_t>(ptr) % alignment, 0U) << call.index;
        EXPECT_GE(malloc_usable_size(ptr), static_cast<size_t>(call.value)); // a block, and not a part of one
        ++chunks;
        return 1;
    });
    load("a.nksf", riffFile(riffProgram));
    useChunks();
    load("a.fxp", chunkProgram("00 00 00 03 'abc'"));
    load("a.fxb", chunkBank());
    EXPECT_EQ(chunks, 3);
}

TEST_F(Vst2LoadPreset, ANameIsHandedOverByteForByteAlsoWithHalfACharacterAtItsEnd) {
    const std::string stem(25, 'n');
    for (const std::string& name :
         {stem + "n\xC3\xA9", stem + "nn\xC3", stem + "n\xE2\x82", stem + "nn\xE9"}) {
        lines.clear();
        load("a.fxb", bankHead("FxBk", 1) + program(name, half + quarter));
        EXPECT_EQ(lines.at(4), "name " + name) << hexOf(name);
    }
}

TEST_F(Vst2LoadPreset, ATextThatCannotBeToldAfterALoadIsALineOfTheLogAndNoFailure) {
    announce();
    effect.answerText(effGetParamName, "caf\xE9");
    for (const auto& [name, bytes] :
         {std::pair<std::string, std::string>{"a.fxp", program("Bright", half + quarter)},
          {"a.bin", "anything"}}) {
        const CapturedOutput errors(STDERR_FILENO);
        EXPECT_EQ(failureOf(name, bytes), "none");
        const std::string text = errors.text();
        EXPECT_THAT(text,
                    testing::StartsWith("Couldn't tell the client of all parameters of plugin instance 7: "));
        EXPECT_EQ(occurrences(text, "\n"), 1U);
        EXPECT_FALSE(instance->notificationsMuted);
    }
    EXPECT_THAT(handler->notifications, IsEmpty());
    EXPECT_THROW(const PluginInstanceState state(*instance), IOException) << "what an UpdateIORequest meets";
    EXPECT_FALSE(instance->notificationsMuted);
}

TEST_F(Vst2LoadPreset, FilesThatHaveBeenCutOrGarbledEndNormally) {
    std::mt19937 random(20); // the same garbling each time
    useChunks();
    const std::string bank =
        bankHead("FxBk", 2) + program("One", half + quarter) + program("Two", half + half);
    int garbled = 0;
    for (const auto& [name, file] : {std::pair<std::string, std::string>{"a.fxb", chunkBank()},
                                     {"a.nksf", riffFile(riffBank)},
                                     {"b.fxb", bank},
                                     {"c.fxb", littleEndianBank()}}) {
        if (name == "b.fxb")
            effect.effect.flags &= ~effFlagsProgramChunks;
        for (int i = 0; i < 150; ++i, ++garbled) {
            std::string bytes = file;
            for (int changes = 0; changes < 3; ++changes)
                bytes[random() % bytes.size()] = static_cast<char>(random());
            bytes.resize(random() % (bytes.size() + 1));
            failureOf(name, bytes);
            EXPECT_FALSE(instance->notificationsMuted);
        }
    }
    EXPECT_EQ(garbled, 600);
}
