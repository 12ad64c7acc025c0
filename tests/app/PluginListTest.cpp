// If these fail, the application doesn't find the plug-ins that are there, or offers files that are none.

#include "app/ChildProgram.h"

#include <algorithm>
#include <fstream>
#include <sstream>

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
        std::vector<std::string> lines;
        std::istringstream text(result.output);
        for (std::string line; std::getline(text, line);)
            lines.push_back(line);
        std::sort(lines.begin(), lines.end());
        return lines;
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
