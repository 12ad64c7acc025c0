// If these fail, the application doesn't see VST 3 plug-ins where its users have them: in bundles, and in
// files that are a module as they stand.

#include "app/ReportText.h"
#include "support/ChildProgram.h"

#include <gmock/gmock.h>

using namespace test_support;

namespace fs = std::filesystem;

namespace {

constexpr const char* echoIdentifier = "4578616D706C6520576F726B45636830";

std::string examplePath(const std::string& file) {
    return EXAMPLE_PLUGIN_DIRECTORY "/" + file;
}

std::string testPath(const std::string& name) {
    return TEST_PLUGIN_DIRECTORY "/" + name + ".vst3";
}

/// A record of a stereo effect. `deviceTypes` are as the stream has them that the record is written to.
std::string effectRecord(const std::string& name, const std::string& identifier, const std::string& category,
                         const std::string& deviceTypes = "Fxaudio_to_audio") {
    return "PLUGIN:\nVendor:Example Works\nName:" + name + "\nAPI:VST 3\nIdentifier:" + identifier +
           "\nVersion:1.0.0\nCategory:" + category +
           "\n"
           "Is64Bit:yes\n"
           "HasAudioInput:yes\n"
           "HasNoteInput:no\n"
           "HasAudioOutput:yes\n"
           "HasNoteOutput:no\n"
           "AudioInBusCount:1\n"
           "AudioOutBusCount:1\n"
           "AudioInChannelCount:2\n"
           "AudioOutChannelCount:2\n"
           "DeviceTypes:" +
           deviceTypes + "\n\n";
}

const std::string echoRecord = effectRecord("Echo", echoIdentifier, "Delay");

constexpr const char* toneRecord = "PLUGIN:\n"
                                   "Vendor:Example Works\n"
                                   "Name:Tone\n"
                                   "API:VST 3\n"
                                   "Identifier:4578616D706C6520576F726B546F6E30\n"
                                   "Version:1.0.0\n"
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
                                   "DeviceTypes:Instrumentnote_to_audio\n"
                                   "\n";

/// A bundle whose only library lies in `folder`.
std::string makeBundle(const TestDirectory& directory, const std::string& bundle, const std::string& folder,
                       const std::string& library) {
    const fs::path libraries = fs::path(directory / bundle) / "Contents" / folder;
    fs::create_directories(libraries);
    fs::create_symlink(examplePath("echo.vst3"), libraries / library);
    return directory / bundle;
}

void expectReport(const std::string& path, const std::string& text) {
    const ProgramResult result = runProgram({"info", path});
    EXPECT_EQ(result.output, header(path) + text);
    EXPECT_EQ(result.status, 0);
}

void expectNotFound(const std::string& path, const std::string& library) {
    const ProgramResult result = runProgram({"info", path});
    const std::string start =
        header(path) + "Exception Thrown:Failed to load VST plug-in " + library + ": " + library + ": ";
    EXPECT_EQ(result.output.substr(0, start.size()), start);
    EXPECT_EQ(result.status, 255);
}

} // namespace

TEST(Vst3Report, AnInstrumentIsReportedInFull) {
    expectReport(examplePath("tone.vst3"), toneRecord);
}

TEST(Vst3Report, AModuleHasARecordForEachOfItsClasses) {
    expectReport(examplePath("trio.vst3"),
                 effectRecord("Louder", "4578616D706C6520576F726B54724C6F", "Fx") +
                     effectRecord("Upside Down", "4578616D706C6520576F726B54725570", "Fx") +
                     effectRecord("Swap Sides", "4578616D706C6520576F726B54725377", "Fx"));
}

TEST(Vst3Report, AFileWhoseNameEndsInTheFormatsNameIsAModule) {
    const TestDirectory directory;
    fs::create_symlink(examplePath("echo.vst3"), directory / "myvst3");
    expectReport(directory / "myvst3", echoRecord);
}

TEST(Vst3Report, ABundleIsReportedAsItsLibrary) {
    const TestDirectory directory;
    expectReport(makeBundle(directory, "Any Name.vst3", "x86_64-linux", "Any Name.so"), echoRecord);
}

TEST(Vst3Report, FiveCharactersOfABundlesNameAreCutWhateverTheyAre) {
    const TestDirectory directory;
    expectReport(makeBundle(directory, "abcvst3", "x86_64-linux", "ab.so"), echoRecord);
}

TEST(Vst3Report, ALibraryInAnyOtherFolderOfABundleIsNotFound) {
    const TestDirectory directory;
    const std::string bundle = makeBundle(directory, "Echo.vst3", "i686-linux", "Echo.so");
    expectNotFound(bundle, bundle + "/Contents/x86_64-linux/Echo.so");
}

TEST(Vst3Report, ABundleWithTooShortANameIsOpenedAsItStands) {
    const TestDirectory directory;
    const std::string bundle = makeBundle(directory, "vst3", "x86_64-linux", ".so");
    expectNotFound(bundle, bundle);
}

TEST(Vst3Report, CapitalLettersNameTheOtherFormat) {
    const TestDirectory directory;
    fs::create_symlink(examplePath("echo.so"), directory / "Echo.VST3");
    const ProgramResult result = runProgram({"info", directory / "Echo.VST3"});
    EXPECT_NE(result.output.find("\nAPI:VST 2.4\n"), std::string::npos) << result.output;
    EXPECT_EQ(result.status, 0);
}

TEST(Vst3Report, AModuleWithoutTheFormatsNameIsNoPlugin) {
    const TestDirectory directory;
    fs::create_symlink(examplePath("echo.vst3"), directory / "Echo.so");
    const ProgramResult result = runProgram({"info", directory / "Echo.so"});
    EXPECT_EQ(result.output,
              header(directory / "Echo.so") + "Exception Thrown:Plugin main function not found\n");
    EXPECT_EQ(result.status, 255);
}

// The words of a class for what it is go to the standard output stream, and only there.
TEST(Vst3Report, TheFileHasTheDeviceTypesAlone) {
    const TestDirectory directory;
    const ProgramResult result = runProgram({"info-file", directory / "report", examplePath("echo.vst3")});
    EXPECT_EQ(readFile(directory / "report"),
              header(examplePath("echo.vst3")) +
                  effectRecord("Echo", echoIdentifier, "Delay", "audio_to_audio"));
    EXPECT_EQ(result.output, "Fx");
    EXPECT_EQ(result.error, std::string(echoIdentifier) + "\n");
    EXPECT_EQ(result.status, 0);
}

TEST(Vst3Report, AModuleWithoutAClassIsAHeaderAlone) {
    for (const char* name : {"exports-nothing", "gives-no-factory", "offers-third-factory"})
        expectReport(testPath(name), "");
}

TEST(Vst3Report, AClassThatIsListedTwiceIsReportedTwice) {
    const std::string record =
        effectRecord("Later", "11111111111111111111111111111111", "Later", "Fxaudio_to_audio");
    expectReport(testPath("two-classes-with-one-id"), record + record);
}

TEST(Vst3Report, AModuleOfTheFirstDaysHasNoVersionAndNoCategory) {
    const ProgramResult result = runProgram({"info", testPath("without-second-factory")});
    EXPECT_THAT(result.output, testing::HasSubstr("\nVersion:\nCategory:\nIs64Bit:yes\n"));
    EXPECT_THAT(result.output, testing::EndsWith("\nDeviceTypes:audio_to_audio\n\n"));
    EXPECT_EQ(result.status, 0);
}

TEST(Vst3Report, AModuleThatRefusesToBeLoadedEndsTheReport) {
    const std::string path = testPath("entry-returns-false");
    const ProgramResult result = runProgram({"info", path});
    EXPECT_EQ(result.output, header(path) + "Exception Thrown:Failed to initialized VST plug-in " + path +
                                 ": ModuleInit() returned false\n");
    EXPECT_EQ(result.error, "");
    EXPECT_EQ(result.status, 255);
}

TEST(Vst3Report, AClassThatFailsInItsRecordIsCutShortAndOneThatCannotComeUpEndsTheReport) {
    const std::string path = testPath("fails-at-its-buses");
    const ProgramResult result = runProgram({"info", path});
    const std::string failure = "Exception Thrown:\"Vst3PluginInstance::";
    EXPECT_THAT(result.output,
                testing::StartsWith(header(path) +
                                    "PLUGIN:\nVendor:Example Works\nName:Knows No Output\nAPI:VST 3\n"
                                    "Identifier:00000000000000000000000000000001\nVersion:1.0.0\n"
                                    "Category:\nIs64Bit:yes\nHasAudioInput:yes\nHasNoteInput:no\n"
                                    "HasAudioOutput:yes\nHasNoteOutput:no\nAudioInBusCount:1\n" +
                                    failure + "getBus(...)\" returned error code: 1 (kResultFalse)\n in "));
    EXPECT_THAT(result.output,
                testing::HasSubstr(
                    "\n\n" + effectRecord("Works", "00000000000000000000000000000002", "Delay") + failure +
                    "activateBussesOfType(...)\" returned error code: 3 "
                    "(kNotImplemented)\n in "));
    EXPECT_THAT(result.output, testing::Not(testing::HasSubstr("Is Never Tried")));
    EXPECT_EQ(result.error, "00000000000000000000000000000001\n00000000000000000000000000000002\n"
                            "00000000000000000000000000000003\n");
    EXPECT_EQ(result.status, 255);
}
