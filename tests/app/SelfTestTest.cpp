// If these fail, the self-test leaves out a part of a plug-in's session, or tells something else than what it
// has done, and whoever reads its output looks for the fault in the wrong place.

#include "app/SelfTestRun.h"
#include "support/FileBytes.h"

#include <sstream>

using namespace test_support;

namespace {

constexpr const char* engineLine = "Running test audio engine\n";

const std::string intro = "\n\n--------------------------------------------------------------------\n"
                          "Testing plugin ";
const std::string creation = "Creating plug-in instance\n"
                             "Successfully created plug-in instance\n"
                             "Create plugin instance reply\n"
                             "Instance id: 1\n";
const std::string opening = "Opening plug-in GUI\n"
                            "Plugin GUI is open\n";
const std::string closing = "Closing plug-in GUI\n"
                            "Plugin GUI is closed\n";
const std::string ending = "Destroying plug-in instance\n"
                           "Plugin instance destroyed\n";

/// The lines of the script itself: those that other threads print may stand anywhere among them.
std::string scriptOf(const std::string& output) {
    std::istringstream lines(output);
    std::string script;
    for (std::string line; std::getline(lines, line);) {
        line += '\n';
        if (line != engineLine && !line.starts_with("Plug-in window "))
            script += line;
    }
    return script;
}

/// An output in which `text` stands, once, with something in its place.
std::string replaceOnce(std::string output, const std::string& text, const std::string& replacement) {
    const size_t place = output.find(text);
    EXPECT_NE(place, std::string::npos) << text;
    EXPECT_EQ(output.find(text, place + 1), std::string::npos) << text;
    return place != std::string::npos ? output.replace(place, text.size(), replacement) : output;
}

std::string passingVerdict(const std::string& file) {
    return file +
           " passed!\n"
           "Passed plugins:\n"
           "    " +
           file +
           "\n"
           "\n"
           "\n"
           "Failed plugins:\n"
           "\n"
           "\n"
           "Passed : 1 Failed: 0\n";
}

/// Both actions of the command line, which tell the same.
class SelfTestActionTest : public testing::TestWithParam<const char*> {
protected:
    void expectSession(const std::string& file, const std::string& session) {
        const ProgramResult result = runProgram({GetParam(), file});
        EXPECT_EQ(scriptOf(result.output), intro + file + "\n" + creation + session + passingVerdict(file));
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.error.find("died"), std::string::npos) << result.error;
        // The engine starts once the plug-in is there.
        const size_t engine = result.output.find(engineLine);
        EXPECT_GT(engine, result.output.find("\nPrograms:\n"));
        EXPECT_LT(engine, result.output.find("Destroying plug-in instance\n"));
        EXPECT_EQ(engine, result.output.rfind(engineLine));
    }

    PluginsUnderTest plugins;
};

INSTANTIATE_TEST_SUITE_P(Actions, SelfTestActionTest, testing::Values("test", "test-local"),
                         [](const auto& suite) {
                             return std::string(suite.param) == "test" ? "Sandboxed" : "Local";
                         });

} // namespace

TEST_P(SelfTestActionTest, TakesAVst2EffectThroughItsSession) {
    expectSession(plugins.addExample("echo.so"), "Audio in channels: 2\n"
                                                 "Audio out channels: 2\n"
                                                 "Has GUI: true\n"
                                                 "\n"
                                                 "Parameters:\n"
                                                 "    Delay: 250 ms\n"
                                                 "    Feedback: 50 %\n"
                                                 "    Mix: 40 %\n"
                                                 "\n"
                                                 "Programs:\n" +
                                                     opening + "Saving preset\n" + closing + ending);
    EXPECT_TRUE(readFile(plugins / "echo-test.fxb").starts_with("CcnK"));
}

// A 0 for an identifier would be no class of the module, and no channels.
TEST_P(SelfTestActionTest, TakesTheOnlyClassOfAVst3ModuleThroughItsSession) {
    expectSession(plugins.addExample("tone.vst3"), "Audio in channels: 0\n"
                                                   "Audio out channels: 2\n"
                                                   "Has GUI: true\n"
                                                   "\n"
                                                   "Parameters:\n"
                                                   "    Volume: 50 %\n"
                                                   "    Release: 300 ms\n"
                                                   "    Bend: 0.50 \n"
                                                   "\n"
                                                   "Programs:\n" +
                                                       opening + "Saving preset\n" + closing + ending);
    EXPECT_TRUE(readFile(plugins / "tone-test.fxb").starts_with("VST3"));
}

TEST_P(SelfTestActionTest, SetsEachProgramBetweenThePresetAndTheEndOfTheGui) {
    expectSession(plugins.addNamed("programs-and-editor.so"), "Audio in channels: 2\n"
                                                              "Audio out channels: 2\n"
                                                              "Has GUI: true\n"
                                                              "\n"
                                                              "Parameters:\n"
                                                              "    Only: 0.00 \n"
                                                              "\n"
                                                              "Programs:\n"
                                                              "    Program 0\n"
                                                              "    Program 1\n"
                                                              "    Program 2\n" +
                                                                  opening +
                                                                  "Saving preset\n"
                                                                  "Setting current program number 0\n"
                                                                  "Setting current program number 1\n"
                                                                  "Setting current program number 2\n" +
                                                                  closing + ending);
    EXPECT_EQ(readFile(plugins / "programs-and-editor.so.calls"), "create 0\n"
                                                                  "open editor\n"
                                                                  "save\n"
                                                                  "program 0\n"
                                                                  "program 1\n"
                                                                  "program 2\n"
                                                                  "close editor\n"
                                                                  "close after 2645760 frames\n");
}

TEST_P(SelfTestActionTest, LoadsThePresetThatLiesBesideThePluginOnceTheOtherIsSaved) {
    const std::string plugin = plugins.addNamed("behaves.so");
    ASSERT_EQ(runProgram({GetParam(), plugin}).status, 0);
    std::filesystem::rename(plugins / "behaves-test.fxb", plugins / "behaves.fxb");
    std::filesystem::remove(plugin + ".calls");
    ASSERT_EQ(runProgram({GetParam(), plugin}).status, 0);
    EXPECT_EQ(readFile(plugin + ".calls"), "create 0\n"
                                           "save\n"
                                           "load the state\n"
                                           "program 0\n" // the bank's current one
                                           "program 0\n"
                                           "program 1\n"
                                           "program 2\n"
                                           "close after 2645760 frames\n");
}

TEST_P(SelfTestActionTest, APresetThatCannotBeReadFailsThePlugin) {
    const std::string plugin = plugins.addNamed("behaves.so");
    writeFile(plugins / "behaves.fxb", "nonsense");
    const ProgramResult result = runProgram({GetParam(), plugin});
    EXPECT_EQ(verdictOf(result),
              verdict({}, {{plugin, "Could not test plug-in: Error loading vst2 bank/preset: "
                                    "Invalid format id: 1852796531"}}));
    EXPECT_EQ(result.status, 1);
}

TEST(SelfTest, TestsAListInWhichInstrumentsShellsAndBothFormatsFollowEachOther) {
    PluginsUnderTest plugins;
    const std::vector<std::string> files{plugins.addExample("tone.so"), plugins.addExample("echo.vst3"),
                                         plugins.addExample("trio.so")};
    const ProgramResult result = runSelfTest(files);
    EXPECT_EQ(verdictOf(result), verdict(files, {}));
    EXPECT_EQ(result.status, 0);
}

TEST(SelfTest, PresetsAreNamedAfterTheFileWhateverDotsItsDirectoryHas) {
    PluginsUnderTest plugins;
    const std::string plugin = plugins.addNamed("version 1.2/behaves");
    EXPECT_EQ(verdictOf(runSelfTest({plugin}, ownProcess)), verdict({plugin}, {}));
    EXPECT_TRUE(std::filesystem::exists(plugins / "version 1.2/behaves-test.fxb"));
}

TEST(SelfTest, APresetThatCannotBeSavedFailsThePlugin) {
    PluginsUnderTest plugins;
    const std::string plugin = plugins.addExample("echo.vst3");
    std::filesystem::create_directory(plugins / "echo-test.fxb");
    EXPECT_EQ(verdictOf(runSelfTest({plugin})),
              verdict({}, {{plugin, "Could not test plug-in: Error opening VST3 preset for writing: " +
                                        (plugins / "echo-test.fxb")}}));
}

// Without an identifier there is nothing to choose among several classes by, and nothing to save then.
TEST(SelfTest, AVst3ModuleOfSeveralClassesFails) {
    PluginsUnderTest plugins;
    const std::string plugin = plugins.addExample("trio.vst3");
    EXPECT_EQ(verdictOf(runSelfTest({plugin})),
              verdict({}, {{plugin, "Could not test plug-in: Error saving VST3 preset: " +
                                        (plugins / "trio-test.fxb")}}));
}

TEST(SelfTest, APluginWithoutAGuiSkipsItsOpeningAndItsClosingOnly) {
    PluginsUnderTest plugins;
    const std::string with = plugins.addNamed("behaves-with-editor.so");
    const std::string without = plugins.addNamed("behaves.so");
    std::string output = scriptOf(runSelfTest({with}).output);
    output = replaceOnce(output, opening, "");
    output = replaceOnce(output, closing, "");
    output = replaceOnce(output, "Has GUI: true", "Has GUI: false");
    for (size_t place; (place = output.find("-with-editor")) != std::string::npos;)
        output.erase(place, std::string("-with-editor").size());
    EXPECT_EQ(scriptOf(runSelfTest({without}).output), output);
}

TEST(SelfTest, TheVerdictListsThePluginsInTheirOrderWithReasonsAndCounts) {
    PluginsUnderTest plugins;
    const std::string refusing = plugins.add("exports-no-entry-point.so");
    const std::string behaving = plugins.addNamed("behaves.so");
    const std::string overrunning = plugins.add("writes-beyond-its-output.so");
    const ProgramResult result = runSelfTest({refusing, behaving, overrunning, refusing});
    EXPECT_EQ(verdictOf(result),
              "Passed plugins:\n"
              "    " +
                  behaving +
                  "\n"
                  "\n"
                  "\n"
                  "Failed plugins:\n" +
                  refusing + ":      Could not test plug-in: Plugin main function not found\n" + overrunning +
                  ":      Could not test plug-in: Error rendering audio :Error rendering "
                  "audio: Plugin wrote outside of the supplied buffers.\n" +
                  refusing +
                  ":      Could not test plug-in: Plugin main function not found\n"
                  "\n"
                  "\n"
                  "Passed : 1 Failed: 3\n");
    EXPECT_EQ(result.status, 1);
}

TEST(SelfTest, WithoutAnyPluginNothingHasFailed) {
    const ProgramResult result = runSelfTest({});
    EXPECT_EQ(result.output, "Passed plugins:\n\n\nFailed plugins:\n\n\nPassed : 0 Failed: 0\n");
    EXPECT_EQ(result.status, 0);
}
