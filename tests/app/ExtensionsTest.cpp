// Extensions of the program's actions: if these fail, a user who switches one on for an application gets
// another report, or another verdict of the self-test, than the application gets from its host.

#include "app/ReportText.h"
#include "app/SelfTestRun.h"
#include "support/CapturedOutput.h"

#include <gmock/gmock.h>

using namespace test_support;

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::Not;

constexpr const char* variable = "TANVEX_PLUGIN_HOST_EXTENSIONS";

const std::string effect = TEST_PLUGIN_DIRECTORY "/texts-beyond-the-wire.so";
const std::string module = TEST_PLUGIN_DIRECTORY "/texts-beyond-the-wire.vst3";

constexpr const char* ownFolder = sizeof(void*) == 8 ? "x86_64-linux" : "i386-linux";

/// A library of a bundle, by a link to the echo or, for another plug-in, to the instrument.
void addLibrary(const std::string& bundle, const std::string& folder, const std::string& example) {
    const fs::path libraries = fs::path(bundle) / "Contents" / folder;
    fs::create_directories(libraries);
    fs::create_symlink(EXAMPLE_PLUGIN_DIRECTORY "/" + example, libraries / "Any.so");
}

} // namespace

TEST(TextExtension, CompletesTheReportOfAnEffect) {
    const ProgramResult result = runProgram({"info", effect}, {{variable, "text"}});
    EXPECT_THAT(result.output, HasSubstr("PLUGIN:\nVendor:Fl\xC3\xBCgel\nName:Fl\xC3\xBCgel\nAPI:VST 2.4\n"));
    EXPECT_THAT(result.output, testing::EndsWith("DeviceTypes:note_to_audio\n\n"));
    EXPECT_EQ(result.error, "");
    EXPECT_EQ(result.status, 0);
}

TEST(TextExtension, CompletesTheReportOfAModuleInAFile) {
    const TestDirectory directory;
    const ProgramResult result =
        runProgram({"info-file", directory / "report", module}, {{variable, "text"}});
    const std::string report = readFile(directory / "report");
    EXPECT_THAT(report, HasSubstr("PLUGIN:\nVendor:Fl\xC3\xBCgel\nName:Fl\xC3\xBCgel\nAPI:VST 3\n"));
    EXPECT_THAT(report, HasSubstr("\nCategory:Fl\xC3\xBCgel\n"));
    EXPECT_THAT(report, testing::EndsWith("DeviceTypes:audio_to_audio\n\n"));
    EXPECT_EQ(result.status, 0);
}

TEST(TextExtension, OffLeavesTheReportsAsTheyWere) {
    for (const std::string& path : {effect, module}) {
        for (const char* value : {"", "bundle"}) {
            const ProgramResult result = runProgram({"info", path}, {{variable, value}});
            EXPECT_EQ(result.output, header(path) + "PLUGIN:\nException Thrown:Invalid UTF8 encoding\n\n");
            EXPECT_EQ(result.status, 1);
        }
    }
}

TEST(TextExtension, LetsTheSelfTestPassInAChildAndInItsOwnProcess) {
    PluginsUnderTest plugins;
    const std::string path = plugins.add("texts-beyond-the-wire.so");
    for (const char* action : {"test", "test-local"}) {
        const ProgramResult with = runProgram({action, path}, {{variable, "text,unheard-of"}});
        EXPECT_EQ(with.status, 0) << action << with.output << with.error;
        EXPECT_EQ(occurrences(with.error, "Unknown extension in TANVEX_PLUGIN_HOST_EXTENSIONS: unheard-of\n"),
                  1U)
            << action << with.error;
    }
    EXPECT_EQ(runProgram({"test", path}).status, 1);
}

TEST(BundleExtension, PrefersTheLibraryOfTheHostsOwnArchitecture) {
    const TestDirectory directory;
    const std::string bundle = directory / "Any.vst3";
    addLibrary(bundle, ownFolder, "tone.vst3");
    if (std::string(ownFolder) != "x86_64-linux")
        addLibrary(bundle, "x86_64-linux", "echo.vst3");
    const ProgramResult with = runProgram({"info", bundle}, {{variable, "bundle"}});
    EXPECT_THAT(with.output, HasSubstr("\nName:Tone\n"));
    EXPECT_EQ(with.status, 0);
}

TEST(BundleExtension, FallsBackToTheFixedFolder) {
    const TestDirectory directory;
    const std::string bundle = directory / "Any.vst3";
    addLibrary(bundle, "x86_64-linux", "echo.vst3");
    const ProgramResult with = runProgram({"info", bundle}, {{variable, "bundle"}});
    EXPECT_THAT(with.output, HasSubstr("\nName:Echo\n"));
    EXPECT_EQ(with.output, runProgram({"info", bundle}, {{variable, ""}}).output);
}

TEST(BundleExtension, OffLeavesOtherFoldersAlone) {
    const TestDirectory directory;
    const std::string bundle = directory / "Any.vst3";
    addLibrary(bundle, "i386-linux", "tone.vst3");
    addLibrary(bundle, "x86_64-linux", "echo.vst3");
    for (const char* value : {"", "text"})
        EXPECT_THAT(runProgram({"info", bundle}, {{variable, value}}).output, HasSubstr("\nName:Echo\n"));
}

TEST(Extensions, AreNotReadByTheList) {
    const ProgramResult result = runProgram({"list", EXAMPLE_PLUGIN_DIRECTORY}, {{variable, "unheard-of"}});
    EXPECT_EQ(result.error, "");
    EXPECT_EQ(result.status, 0);
}
