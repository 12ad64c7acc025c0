// If these fail, a user's plug-ins are missing from the list, stand in it twice, or a circle of links keeps a
// scan busy for ever.

#include "client/PluginFiles.h"

#include "ReportTest.h"

#include <sys/syscall.h>
#include <thread>

using namespace test_support;

namespace {

class PluginFilesTest : public testing::Test {
protected:
    std::string file(const std::string& name) const {
        const std::string path = directory / name;
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        writeText(path, name);
        return path;
    }
    void link(const std::string& target, const std::string& name) const {
        std::filesystem::create_directories(std::filesystem::path(directory / name).parent_path());
        ASSERT_EQ(symlink(target.c_str(), (directory / name).c_str()), 0);
    }

    /// Paths below the directory, with the failures.
    std::vector<std::string> find(const std::vector<std::string>& names) const {
        std::vector<std::string> roots;
        for (const std::string& name : names)
            roots.push_back(name.empty() ? directory.path : directory / name);
        std::vector<std::string> found;
        for (const FoundPluginFile& each : findPluginFiles(roots, cancellation))
            found.push_back(each.path.substr(directory.path.size() + 1) +
                            (each.failure.empty() ? "" : ": " + each.failure));
        return found;
    }

    using Names = std::vector<std::string>;

    const TestDirectory directory;
    const Cancellation cancellation;
};

} // namespace

TEST_F(PluginFilesTest, FilesOfAllFoldersAreFoundInOrder) {
    for (const char* name : {"b/two.so", "b/one.so", "a.so", "c/d/e/deep.so", "c/module.vst3", "z.so"})
        file(name);
    EXPECT_EQ(find({""}), (Names{"a.so", "b/one.so", "b/two.so", "c/d/e/deep.so", "c/module.vst3", "z.so"}));
}

TEST_F(PluginFilesTest, OtherFilesAreLeftOut) {
    for (const char* name : {"readme.txt", "x.so.1", "x.SO", "xso", "folder.so/inside.txt"})
        file(name);
    ASSERT_EQ(mkfifo((directory / "fifo.so").c_str(), 0600), 0);
    EXPECT_EQ(find({""}), Names());
}

TEST_F(PluginFilesTest, ABundleIsOneFile) {
    file("echo.vst3/Contents/x86_64-linux/echo.so");
    file("folder.so/inside.so");
    EXPECT_EQ(find({""}), (Names{"echo.vst3", "folder.so/inside.so"}));
}

TEST_F(PluginFilesTest, ARootMayBeAFileOrABundle) {
    file("echo.vst3/Contents/x86_64-linux/echo.so");
    file("one.so");
    file("readme.txt");
    EXPECT_EQ(find({"one.so", "echo.vst3", "readme.txt"}), (Names{"one.so", "echo.vst3"}));
}

TEST_F(PluginFilesTest, LinksAreFollowedAndACircleEnds) {
    file("a/one.so");
    file("elsewhere/two.so");
    link("..", "a/up");
    link(directory / "elsewhere", "a/over");
    link(directory / "a", "a/self");
    EXPECT_EQ(find({"a"}), (Names{"a/one.so", "a/over/two.so"}));
}

TEST_F(PluginFilesTest, AFileCountsOnceByItsRealPath) {
    file("a/one.so");
    link("one.so", "a/same.so");
    link(directory / "a/one.so", "b/again.so");
    EXPECT_EQ(find({"a", "a", "b", "a/one.so"}), Names{"a/one.so"});
}

TEST_F(PluginFilesTest, WhatCannotBeReadIsAnEntryWithItsReason) {
    link("nowhere", "broken.so");
    link("loop.so", "loop.so");
    EXPECT_EQ(find({"", "missing"}),
              (Names{"broken.so: No such file or directory", "loop.so: Too many levels of symbolic links",
                     "missing: No such file or directory"}));
}

TEST_F(PluginFilesTest, AFolderThatCannotBeReadIsAnEntryWithItsReason) {
    file("a/one.so");
    file("closed/hidden.so");
    file("z/two.so");
    chmod((directory / "closed").c_str(), 0);
    chmod(directory.path.c_str(), 0755);
    std::thread([&] {
        // This thread alone becomes one that may not read everything.
        constexpr unsigned nobody = 65534;
#ifdef SYS_setresuid32
        syscall(SYS_setresuid32, nobody, nobody, nobody);
#else
        syscall(SYS_setresuid, nobody, nobody, nobody);
#endif
        EXPECT_EQ(find({""}), (Names{"a/one.so", "closed: Permission denied", "z/two.so"}));
    }).join();
    chmod((directory / "closed").c_str(), 0700);
}

TEST_F(PluginFilesTest, BrokenLinksOfOtherNamesAreLeftOut) {
    link("nowhere", "broken");
    link("nowhere", "broken.txt");
    EXPECT_EQ(find({""}), Names());
}

TEST_F(PluginFilesTest, CancellingEndsTheWalk) {
    file("a/one.so");
    cancellation.cancel();
    EXPECT_EQ(find({""}), Names());
}
