// If these fail, the application reads a report wrongly and shows plug-ins under wrong names, in wrong places
// or not at all.

#include "app/ReportText.h"
#include "support/ChildProgram.h"

#include <algorithm>
#include <fstream>

using namespace test_support;

namespace {

std::string examplePath(const std::string& name) {
    return EXAMPLE_PLUGIN_DIRECTORY "/" + name + ".so";
}

std::string testPath(const std::string& name) {
    return TEST_PLUGIN_DIRECTORY "/" + name + ".so";
}

// A record of a stereo effect of the tests.
std::string effectRecord(const std::string& name, const std::string& identifier,
                         const std::string& version = "1") {
    return "PLUGIN:\nVendor:Example Works\nName:" + name + "\nAPI:VST 2.4\nIdentifier:" + identifier +
           "\nVersion:" + version +
           "\nCategory:Effect\n"
           "Is64Bit:yes\n"
           "HasAudioInput:yes\n"
           "HasNoteInput:no\n"
           "HasAudioOutput:yes\n"
           "HasNoteOutput:no\n"
           "AudioInBusCount:1\n"
           "AudioOutBusCount:1\n"
           "AudioInChannelCount:2\n"
           "AudioOutChannelCount:2\n"
           "DeviceTypes:audio_to_audio\n"
           "\n";
}

constexpr const char* echoRecord = "PLUGIN:\n"
                                   "Vendor:Example Works\n"
                                   "Name:Echo\n"
                                   "API:VST 2.4\n"
                                   "Identifier:45636830\n"
                                   "Version:1\n"
                                   "Category:Delay / Reverb\n"
                                   "Is64Bit:yes\n"
                                   "HasAudioInput:yes\n"
                                   "HasNoteInput:no\n"
                                   "HasAudioOutput:yes\n"
                                   "HasNoteOutput:no\n"
                                   "AudioInBusCount:1\n"
                                   "AudioOutBusCount:1\n"
                                   "AudioInChannelCount:2\n"
                                   "AudioOutChannelCount:2\n"
                                   "DeviceTypes:audio_to_audio\n"
                                   "\n";

constexpr const char* toneRecord = "PLUGIN:\n"
                                   "Vendor:Example Works\n"
                                   "Name:Tone\n"
                                   "API:VST 2.4\n"
                                   "Identifier:546f6e30\n"
                                   "Version:1\n"
                                   "Category:Synth\n"
                                   "Is64Bit:yes\n"
                                   "HasAudioInput:no\n"
                                   "HasNoteInput:yes\n"
                                   "HasAudioOutput:yes\n"
                                   "HasNoteOutput:no\n"
                                   "AudioInBusCount:0\n"
                                   "AudioOutBusCount:1\n"
                                   "AudioInChannelCount:0\n"
                                   "AudioOutChannelCount:2\n"
                                   "DeviceTypes:note_to_audio\n"
                                   "\n";

// `info` on a test plug-in: the text behind the header, and the status.
void expectReport(const std::string& path, const std::string& text, int status) {
    const ProgramResult result = runProgram({"info", path});
    EXPECT_EQ(result.output, header(path) + text);
    EXPECT_EQ(result.error, "");
    EXPECT_EQ(result.status, status);
}

} // namespace

TEST(PluginReport, AnEffectIsReportedInFull) {
    expectReport(examplePath("echo"), echoRecord, 0);
}

TEST(PluginReport, AnInstrumentIsReportedInFull) {
    expectReport(examplePath("tone"), toneRecord, 0);
}

TEST(PluginReport, AShellHasARecordForEachOfItsPlugins) {
    expectReport(examplePath("trio"),
                 effectRecord("Louder", "54724c6f") + effectRecord("Upside Down", "54725570") +
                     effectRecord("Swap Sides", "54725377"),
                 0);
}

TEST(PluginReport, ANegativeIdOfAShellFindsItsPlugin) {
    expectReport(
        testPath("shell-of-three"),
        effectRecord("First", "3e9") + effectRecord("Second", "fffffc16") + effectRecord("Third", "3eb"), 0);
}

TEST(PluginReport, BusesAreCountedAsTheClientSeesThem) {
    const ProgramResult result = runProgram({"info", testPath("pins-and-properties")});
    EXPECT_NE(result.output.find("AudioInBusCount:2\nAudioOutBusCount:2\n"
                                 "AudioInChannelCount:3\nAudioOutChannelCount:4\n"),
              std::string::npos)
        << result.output;
    EXPECT_EQ(result.status, 0);
}

TEST(PluginReport, TheFileHasTheTextOfTheStandardOutput) {
    const TestDirectory directory;
    for (const std::string& path : {examplePath("echo"), examplePath("tone"), examplePath("trio"),
                                    testPath("gives-no-effect"), testPath("name-is-no-text")}) {
        const ProgramResult printed = runProgram({"info", path});
        const ProgramResult written = runProgram({"info-file", directory / "report", path});
        EXPECT_EQ(readFile(directory / "report"), printed.output);
        EXPECT_EQ(written.output, "");
        EXPECT_EQ(written.status, printed.status);
    }
}

TEST(PluginReport, TheFileIsReplaced) {
    const TestDirectory directory;
    std::ofstream(directory / "report") << std::string(10000, 'x');
    EXPECT_EQ(runProgram({"info-file", directory / "report", examplePath("echo")}).status, 0);
    EXPECT_EQ(readFile(directory / "report"), header(examplePath("echo")) + echoRecord);
}

TEST(PluginReport, TheFilesNameIsTheThirdWordWhateverStandsBetween) {
    const TestDirectory directory;
    EXPECT_EQ(runProgram({"info-file", "report", "ignored", examplePath("echo")}, {}, directory.path).status,
              0);
    EXPECT_EQ(readFile(directory / "report"), header(examplePath("echo")) + echoRecord);
}

TEST(PluginReport, APluginFileThatIsAlsoTheReportIsOverwritten) {
    const TestDirectory directory;
    const std::string path = directory / "plugin.so";
    std::filesystem::copy_file(examplePath("echo"), path);
    const ProgramResult result = runProgram({"info-file", path});
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.status, 255);
    const std::string start = header(path) + "Exception Thrown:Failed to load VST plug-in " + path + ": ";
    EXPECT_EQ(readFile(path).substr(0, start.size()), start);
}

TEST(PluginReport, ThePathIsReportedInItsNormalForm) {
    const ProgramResult result =
        runProgram({"info", "./../example-plugins//echo.so"}, {}, EXAMPLE_PLUGIN_DIRECTORY);
    EXPECT_EQ(result.output, header(examplePath("echo")) + echoRecord);
}

TEST(PluginReport, APathBeyondAsciiIsReportedAsItIs) {
    const TestDirectory directory;
    const std::string path = directory / "Fl\xC3\xBCgel \xF0\x9F\x8E\xB9.so";
    std::filesystem::copy_file(examplePath("echo"), path);
    expectReport(path, echoRecord, 0);
}

TEST(PluginReport, AFileThatIsNoPluginEndsTheReport) {
    const TestDirectory directory;
    std::ofstream(directory / "text.so") << "text";
    const std::string path = directory / "text.so";
    expectReport(path,
                 "Exception Thrown:Failed to load VST plug-in " + path + ": " + path + ": file too short\n",
                 255);
}

TEST(PluginReport, AFileWithoutAnEntryPointEndsTheReport) {
    expectReport(testPath("exports-no-entry-point"), "Exception Thrown:Plugin main function not found\n",
                 255);
}

TEST(PluginReport, AFileThatGivesNoEffectEndsTheReport) {
    expectReport(testPath("gives-no-effect"), "Exception Thrown:createAEffectInstance returned NULL\n", 255);
}

TEST(PluginReport, AFileThatGivesABadMagicEndsTheReport) {
    expectReport(testPath("gives-bad-magic"), "Exception Thrown:createAEffectInstance returned NULL\n", 255);
}

TEST(PluginReport, AnEmptyShellEndsTheReport) {
    expectReport(testPath("empty-shell"), "Exception Thrown:Shell plug-in is empty\n", 255);
}

TEST(PluginReport, AShellWhoseSecondPluginFailsLeavesTheFirstRecordWhole) {
    expectReport(testPath("shell-with-broken-second"),
                 effectRecord("Works", "7d1") + "Exception Thrown:createAEffectInstance returned NULL.\n",
                 255);
}

TEST(PluginReport, ATextThatCannotBeReadCutsItsRecordShort) {
    const ProgramResult result = runProgram({"info", testPath("name-is-no-text")});
    const std::string start =
        header(testPath("name-is-no-text")) + "PLUGIN:\nVendor:Example Works\nException Thrown:";
    EXPECT_EQ(result.output.substr(0, start.size()), start);
    EXPECT_EQ(result.output.substr(result.output.size() - 2), "\n\n");
    EXPECT_EQ(std::count(result.output.begin(), result.output.end(), '\n'), 6);
    EXPECT_EQ(result.status, 1);
}

TEST(PluginReport, ARecordThatIsCutShortByAnythingElseIsClosedWithoutAWord) {
    expectReport(testPath("throws-int-at-version"),
                 "PLUGIN:\nVendor:Example Works\nName:Throws\nAPI:VST 2.4\nIdentifier:1\n\n", 1);
}

TEST(PluginReport, AStandardExceptionEndsTheReportInWordsOfItsOwn) {
    expectReport(testPath("throws-standard-exception-at-open"), "Exception thrown: no licence file\n", 253);
}

TEST(PluginReport, SomethingThatIsNoExceptionEndsTheReport) {
    expectReport(testPath("throws-int-at-open"), "Unknown exception thrown.\n", 254);
}

TEST(PluginReport, WithoutAnXServerThereIsTheHeaderAlone) {
    const ProgramResult result = runProgram({"info", examplePath("echo")}, {{"DISPLAY", ":9999"}});
    EXPECT_EQ(result.output, header(examplePath("echo")));
    EXPECT_EQ(result.error, "Could not open display\n");
    EXPECT_EQ(result.status, 1);
}

TEST(PluginReport, WithoutADisplayVariableThereIsTheHeaderAlone) {
    const TestDirectory directory;
    const ProgramResult result =
        runProgram({"info-file", directory / "report", examplePath("echo")}, {{"DISPLAY", ""}});
    EXPECT_EQ(readFile(directory / "report"), header(examplePath("echo")));
    EXPECT_EQ(result.error, "Could not open display\n");
    EXPECT_EQ(result.status, 1);
}
