// The command line of the live program. If these fail, a preset goes to another plug-in than its user meant,
// or a mistake plays something else.

#include "Options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using std::chrono::microseconds;

Options read(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "plugin-host-live");
    std::vector<char*> pointers;
    for (std::string& argument : arguments)
        pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    return readOptions(static_cast<int>(arguments.size()), pointers.data());
}

std::string complaint(const std::vector<std::string>& arguments) {
    try {
        read(arguments);
    } catch (const UsageError& error) {
        return error.what();
    }
    return "none";
}

} // namespace

TEST(LiveOptions, AreOffUnlessTheyAreGiven) {
    const Options options = read({"/a.so"});
    EXPECT_FALSE(options.midi || options.editor || options.pipeline || options.deadline || options.showHelp);
    const Options all = read({"--midi", "--editor", "--pipeline", "--deadline", "1.5", "/a.so"});
    EXPECT_TRUE(all.midi && all.editor && all.pipeline);
    EXPECT_EQ(all.deadline, microseconds(1500));
}

TEST(LiveOptions, GiveAPresetAndAnIdentifierToThePluginBehindThem) {
    const Options options = read({"/a.so", "--preset", "/p.fxb", "--identifier=7", "/b.so", "/c.vst3/"});
    ASSERT_EQ(options.plugins.size(), 3u);
    EXPECT_EQ(options.plugins[0].preset + options.plugins[0].identifier, "");
    EXPECT_EQ(options.plugins[1].preset, "/p.fxb");
    EXPECT_EQ(options.plugins[1].identifier, "7");
    EXPECT_EQ(options.plugins[1].path, "/b.so");
    EXPECT_EQ(options.plugins[2].preset, "");
    EXPECT_EQ(options.plugins[2].path, "/c.vst3");
}

TEST(LiveOptions, GiveThemToTheOnlyPluginFromBehindToo) {
    EXPECT_EQ(read({"/a.so", "--preset", "/p.fxb"}).plugins[0].preset, "/p.fxb");
    EXPECT_EQ(complaint({"/a.so", "/b.so", "--preset", "/p.fxb"}),
              "--preset stands before the plug-in that it belongs to");
}

TEST(LiveOptions, TakeWhatIsBehindTwoDashesForPlugins) {
    EXPECT_EQ(read({"--", "/--midi"}).plugins[0].path, "/--midi");
}

TEST(LiveOptions, RefuseWhatTheyDoNotUnderstand) {
    EXPECT_EQ(complaint({}), "No plug-in is named");
    EXPECT_EQ(complaint({"--midi"}), "No plug-in is named");
    EXPECT_EQ(complaint({"--loud", "/a.so"}), "Unknown option: --loud");
    EXPECT_EQ(complaint({"/a.so", "--preset"}), "--preset needs an argument");
    EXPECT_EQ(complaint({"--preset", "/p", "--preset", "/q", "/a.so"}),
              "--preset is given twice for one plug-in");
    EXPECT_EQ(complaint({"--preset", "/p", "/a.so", "--preset", "/q"}),
              "--preset is given twice for one plug-in");
    EXPECT_EQ(complaint({"--identifier", "", "/a.so"}), "--identifier is empty");
    for (const std::string deadline : {"", "0", "-1", "2ms", "nan", "inf", "60001"})
        EXPECT_EQ(complaint({"--deadline", deadline, "/a.so"}),
                  "--deadline takes milliseconds, above 0 and up to 60000: " + deadline);
}

TEST(LiveOptions, AskForHelpAndVersionWithoutAPlugin) {
    EXPECT_TRUE(read({"--help"}).showHelp);
    EXPECT_TRUE(read({"--version"}).showVersion);
}
