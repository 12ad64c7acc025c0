// If these fail, the application doesn't find the plug-ins that are there, or offers files that are none.

#include "support/ChildProgram.h"

#include <algorithm>
#include <fstream>
#include <sstream>

using namespace test_support;

namespace {

class PluginList : public testing::Test {
protected:
    void makeFile(const std::string& name) {
        const std::string path = directory / name;
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        std::ofstream(path) << "no plug-in";
    }

    // The listed lines; a directory's order is the system's own, so they are sorted.
    std::vector<std::string> list(const std::string& path, const std::string& workingDirectory = "/") {
        const ProgramResult result = runProgram({"list", path}, {}, workingDirectory);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.error, "");
        return sortedLines(result.output);
    }

    static std::vector<std::string> sortedLines(const std::string& text) {
        std::vector<std::string> lines;
        std::istringstream stream(text);
        for (std::string line; std::getline(stream, line);)
            lines.push_back(line);
        std::sort(lines.begin(), lines.end());
        return lines;
    }

    /// The root user reads every folder, unless that capability is dropped.
    static ProgramResult runWithoutPrivileges(std::vector<std::string> arguments) {
        if (geteuid() != 0)
            return runProgram(arguments);
        arguments.insert(arguments.begin(),
                         {"--bounding-set=-dac_override,-dac_read_search", PLUGIN_HOST_EXECUTABLE});
        return runProgram(arguments, {}, "/", "/usr/bin/setpriv");
    }

    TestDirectory directory;
};

using Lines = std::vector<std::string>;

} // namespace

TEST_F(PluginList, AFileIsListedByItsName) {
    makeFile("file.so");
    const ProgramResult result = runProgram({"list", directory / "file.so"});
    EXPECT_EQ(result.output, directory / "file.so" + "\n");
    EXPECT_EQ(result.status, 0);
}

TEST_F(PluginList, AFileOfAnotherKindIsPassedOverInSilence) {
    makeFile("file.txt");
    const ProgramResult result = runProgram({"list", directory / "file.txt"});
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.error, "");
    EXPECT_EQ(result.status, 0);
}

TEST_F(PluginList, OnlyTheLastOfSeveralPathsIsListed) {
    for (const char* name : {"a", "b", "c"})
        makeFile(name + std::string("/plugin.so"));
    const ProgramResult result = runProgram({"list", "a", "b", "c"}, {}, directory.path);
    EXPECT_EQ(result.output, directory / "c/plugin.so" + "\n");
    EXPECT_EQ(result.status, 0);
}

TEST_F(PluginList, PathsBeforeTheLastNeedNotExist) {
    makeFile("c/plugin.so");
    const ProgramResult result = runProgram({"list", "nowhere", "c"}, {}, directory.path);
    EXPECT_EQ(result.output, directory / "c/plugin.so" + "\n");
}

TEST_F(PluginList, ADirectoryIsListedWithAllBelowIt) {
    for (const char* name : {"one.so", "two.so", "deep/er/three.so", "readme.txt"})
        makeFile(name);
    std::filesystem::create_directory(directory / "empty");
    EXPECT_EQ(list(directory.path),
              (Lines{directory / "deep/er/three.so", directory / "one.so", directory / "two.so"}));
}

TEST_F(PluginList, AnEmptyDirectoryListsNothing) {
    EXPECT_EQ(list(directory.path), Lines{});
}

TEST_F(PluginList, TheEndOfTheNameDecidesInItsCase) {
    for (const char* name : {"a.SO", "b.So", "c.so.1", "dso", "e.so~", "f.so"})
        makeFile(name);
    EXPECT_EQ(list(directory.path), Lines{directory / "f.so"});
}

TEST_F(PluginList, AFileThatIsNamedLikeTheEndingAloneIsListed) {
    makeFile(".so");
    makeFile(".hidden.so");
    EXPECT_EQ(list(directory.path), (Lines{directory / ".hidden.so", directory / ".so"}));
}

TEST_F(PluginList, ADirectoryThatIsNamedLikeAPluginIsWalkedAndNotListed) {
    makeFile("folder.so/inner.so");
    EXPECT_EQ(list(directory.path), Lines{directory / "folder.so/inner.so"});
}

TEST_F(PluginList, ABundleShowsTheFileInside) {
    makeFile("Foo.vst3/Contents/x86_64-linux/Foo.so");
    makeFile("Foo.vst3/Contents/Info.plist");
    EXPECT_EQ(list(directory.path), Lines{directory / "Foo.vst3/Contents/x86_64-linux/Foo.so"});
}

TEST_F(PluginList, SymbolicLinksAreFollowedToDirectoriesAndFiles) {
    makeFile("real/plugin.so");
    std::filesystem::create_directory(directory / "list");
    std::filesystem::create_directory_symlink(directory / "real", directory / "list/folder");
    std::filesystem::create_symlink(directory / "real/plugin.so", directory / "list/other.so");
    std::filesystem::create_symlink(directory / "real/plugin.so", directory / "list/other.txt");
    EXPECT_EQ(list(directory / "list"),
              (Lines{directory / "list/folder/plugin.so", directory / "list/other.so"}));
}

TEST_F(PluginList, ABrokenSymbolicLinkInADirectoryIsListedByItsName) {
    std::filesystem::create_symlink("/nowhere", directory / "broken.so");
    EXPECT_EQ(list(directory.path), Lines{directory / "broken.so"});
}

TEST_F(PluginList, ARelativePathIsListedInItsAbsoluteForm) {
    makeFile("below/plugin.so");
    EXPECT_EQ(list(".", directory.path), Lines{directory / "below/plugin.so"});
    EXPECT_EQ(list("below/../below/./plugin.so", directory.path), Lines{directory / "below/plugin.so"});
    EXPECT_EQ(list(directory.path + "//below/"), Lines{directory / "below/plugin.so"});
}

TEST_F(PluginList, NamesBeyondAsciiAreListedAsTheyAre) {
    makeFile("Fl\xC3\xBCgel \xF0\x9F\x8E\xB9.so");
    EXPECT_EQ(list(directory.path), Lines{directory / "Fl\xC3\xBCgel \xF0\x9F\x8E\xB9.so"});
}

TEST_F(PluginList, NeitherAPluginNorADisplayIsNeeded) {
    makeFile("text.so");
    const ProgramResult result = runProgram({"list", directory.path}, {{"DISPLAY", ""}});
    EXPECT_EQ(result.output, directory / "text.so" + "\n");
    EXPECT_EQ(result.status, 0);
}

TEST_F(PluginList, ANameThatIsNoTextIsOneLineOfTheLogAndTheRestIsListed) {
    makeFile("a.so");
    makeFile("M\xFCller.so");
    makeFile("below/M\xFCller/inner.so");
    makeFile("z.so");
    const ProgramResult result = runProgram({"list", directory.path});
    EXPECT_EQ(sortedLines(result.output), (Lines{directory / "a.so", directory / "z.so"}));
    const std::string shown = "\xEF\xBF\xBD";
    Lines expected{
        "Could not list \"M" + shown + "ller.so\" in \"" + directory.path + "\": Its name is no UTF-8",
        "Could not list \"M" + shown + "ller\" in \"" + directory / "below" + "\": Its name is no UTF-8"};
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(sortedLines(result.error), expected);
    EXPECT_EQ(result.status, 0);
}

TEST_F(PluginList, AFolderThatCannotBeReadIsOneLineOfTheLogAndTheRestIsListed) {
    makeFile("a.so");
    makeFile("locked/hidden.so");
    makeFile("z.so");
    std::filesystem::permissions(directory / "locked", std::filesystem::perms::none);
    const ProgramResult result = runWithoutPrivileges({"list", directory.path});
    EXPECT_EQ(sortedLines(result.output), (Lines{directory / "a.so", directory / "z.so"}));
    EXPECT_EQ(result.error, "Could not read folder \"" + directory / "locked" + "\": Permission denied\n");
    EXPECT_EQ(result.status, 0);
    std::filesystem::permissions(directory / "locked", std::filesystem::perms::owner_all);
}

TEST_F(PluginList, AFolderThatCannotBeEnteredIsListedByItsNamesWithALineForEach) {
    makeFile("closed/plugin.so");
    makeFile("z.so");
    std::filesystem::permissions(directory / "closed", std::filesystem::perms::owner_read);
    const ProgramResult result = runWithoutPrivileges({"list", directory.path});
    EXPECT_EQ(sortedLines(result.output), (Lines{directory / "closed/plugin.so", directory / "z.so"}));
    EXPECT_EQ(result.error,
              "Could not look at \"" + directory / "closed/plugin.so" + "\": Permission denied\n");
    EXPECT_EQ(result.status, 0);
    std::filesystem::permissions(directory / "closed", std::filesystem::perms::owner_all);
}

TEST_F(PluginList, ACircleOfSymbolicLinksEndsWhereTheSystemRefusesIt) {
    makeFile("a.so");
    std::filesystem::create_directory_symlink(directory.path, directory / "circle");
    const ProgramResult result = runProgram({"list", directory.path});
    const Lines lines = sortedLines(result.output);
    EXPECT_EQ(lines.front(), directory / "a.so");
    EXPECT_EQ(lines.back().find(directory / "circle/"), 0u);
    EXPECT_EQ(sortedLines(result.error).size(), 1u) << result.error;
    EXPECT_NE(result.error.find("\": Too many levels of symbolic links\n"), std::string::npos)
        << result.error;
    EXPECT_EQ(result.status, 0);
}

TEST_F(PluginList, APathThatIsNoTextIsRefusedInWords) {
    const ProgramResult result = runProgram({"list", directory / "M\xFCller"});
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.error,
              "Could not use the path \"" + directory / "M\xEF\xBF\xBDller" + "\": Invalid UTF8 encoding\n");
    EXPECT_EQ(result.status, 255);
}
