// If these fail, the application that starts the program gets another answer than the one it knows, or a
// typing mistake does something instead of explaining itself.

#include "support/ChildProgram.h"

#include <algorithm>
#include <fstream>

using namespace test_support;

namespace {

constexpr const char* usage = "\n"
                              "Usage:\n"
                              "  plugin-host <action> <vstpath>\n"
                              "\n"
                              "  <action>  is one of list|info|info-file|test|test-local|host\n"
                              "  <vstpath> is either ...\n"
                              "  ... the path to a VST directory for the action debug and list.\n"
                              "  ... the path to a VST file for the actions info and host.\n"
                              "\n"
                              "Examples:\n"
                              "  plugin-host debug /path/to/vstdir\n"
                              "  plugin-host list /path/to/vstdir\n"
                              "  plugin-host info /path/to/vstfile\n"
                              "  plugin-host info-file /path/to/info-file /path/to/vstfile\n"
                              "  plugin-host host inputpipe outputpipe\n"
                              "\n";
const std::string missingFile = std::string("Error: file does not exists.\n") + usage;
const std::string unknownAction =
    std::string("plugin-host: unknown action; allowed values are [debug|list|info|host].\n") + usage;

constexpr int failed = 255;

void expectRefusal(const ProgramResult& result, const std::string& text) {
    EXPECT_EQ(result.output, text);
    EXPECT_EQ(result.error, "");
    EXPECT_EQ(result.status, failed);
}

const ChildProgram::Environment noDisplay{{"DISPLAY", ":9999"}};

} // namespace

TEST(CommandLine, NothingAtAllIsAUsageError) {
    expectRefusal(runProgram({}), usage);
}

TEST(CommandLine, AnActionWithoutAPathIsAUsageError) {
    for (const char* action : {"info", "list", "host", "test", "info-file", "debug", ""})
        expectRefusal(runProgram({action}), usage);
}

TEST(CommandLine, AMissingFileIsToldForEveryAction) {
    for (const char* action : {"list", "info", "info-file", "test", "test-local", "host"})
        expectRefusal(runProgram({action, "/nowhere/at all"}), missingFile);
}

TEST(CommandLine, AnUnknownActionWithAMissingFileReportsTheFile) {
    expectRefusal(runProgram({"debug", "/nowhere"}), missingFile);
}

TEST(CommandLine, AnInfoFileForAMissingPluginIsNotMade) {
    const TestDirectory directory;
    expectRefusal(runProgram({"info-file", directory / "report", directory / "missing.so"}), missingFile);
    EXPECT_FALSE(std::filesystem::exists(directory / "report"));
}

TEST(CommandLine, ABrokenSymbolicLinkIsAMissingFile) {
    const TestDirectory directory;
    std::filesystem::create_symlink("/nowhere", directory / "link.so");
    expectRefusal(runProgram({"list", directory / "link.so"}), missingFile);
}

TEST(CommandLine, DebugIsAnUnknownActionThoughTheMessageListsIt) {
    expectRefusal(runProgram({"debug", "/tmp"}), unknownAction);
}

TEST(CommandLine, ActionsAreCaseSensitiveAndWhole) {
    for (const char* action : {"List", "INFO", "inf", "info-files", "test-", " list", "-list", ""})
        expectRefusal(runProgram({action, "/tmp"}), unknownAction);
}

TEST(CommandLine, AHostWithThreeNumbersIsAMissingFileWhereNoFileHasTheLastName) {
    const TestDirectory directory;
    expectRefusal(runProgram({"host", "44100", "256", "7"}, {}, directory.path), missingFile);
}

TEST(CommandLine, AHostWithThreeNumbersIsAnUnknownActionWhereAFileHasTheLastName) {
    const TestDirectory directory;
    std::ofstream(directory / "7") << "";
    expectRefusal(runProgram({"host", "44100", "256", "7"}, {}, directory.path), unknownAction);
}

TEST(CommandLine, AHostWithFiveNumbersIsNoHost) {
    expectRefusal(runProgram({"host", "44100", "256", "7", "0", "/tmp"}), unknownAction);
    expectRefusal(runProgram({"host", "44100", "256", "7", "0", "/nowhere"}), missingFile);
}

TEST(CommandLine, OnlyTheHostActionTakesNumbers) {
    expectRefusal(runProgram({"HOST", "44100", "256", "7", "/tmp"}), unknownAction);
}

TEST(CommandLine, AHostArgumentThatIsNoIntegerEndsTheProcessAbnormally) {
    for (int place = 1; place <= 4; ++place) {
        std::vector<std::string> arguments{"host", "44100", "256", "7", "0"};
        arguments[static_cast<size_t>(place)] = "12x";
        const ProgramResult result = runProgram(arguments, noDisplay);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.status, abortedStatus) << "argument " << place;
    }
}

TEST(CommandLine, AHostWithFourIntegersGoesToTheDisplay) {
    const ProgramResult result = runProgram({"host", "44100", "256", "7", "0"}, noDisplay);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.error, "Could not open display\n");
    EXPECT_EQ(result.status, 1);
}

TEST(CommandLine, AHostWhosePipesCannotBeMadeEndsAbnormally) {
    const std::string user = "plugin-host-test-no-pipes-" + std::to_string(getpid());
    const std::string inTheWay = "/tmp/pipes-" + user;
    std::ofstream(inTheWay) << "a file where the directory should be";
    const ProgramResult result = runProgram({"host", "44100", "256", "7", "0"}, {{"USER", user}});
    std::filesystem::remove(inTheWay);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.status, abortedStatus);
}

TEST(CommandLine, TheSelfTestDoesNotWaitForAHostThatEndsAtOnce) {
    const ProgramResult result = runProgram({"test", EXAMPLE_PLUGIN_DIRECTORY "/echo.so"}, {{"DISPLAY", ""}});
    EXPECT_NE(result.error.find("Could not open display\n"), std::string::npos) << result.error;
    EXPECT_NE(result.output.find("Could not start plug-in host: "), std::string::npos) << result.output;
    EXPECT_EQ(result.status, 1);
}

TEST(CommandLine, TheSelfTestOfWhatIsNoPluginFails) {
    for (const char* action : {"test", "test-local"}) {
        const ProgramResult result = runProgram({action, "/tmp"});
        EXPECT_NE(result.output.find("\n/tmp:      Could not test plug-in: "), std::string::npos)
            << result.output;
        EXPECT_EQ(result.status, 1);
    }
}
