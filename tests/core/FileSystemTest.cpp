// Files: plug-ins and presets are found by path, and what can't be had is told by path.

#include "core/FileSystem.h"

#include "support/FailureText.h"

#include "core/Exception.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <latch>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace base::core;
using namespace test_support;

namespace {

class FileSystemTest : public testing::Test {
protected:
    FileSystemTest() {
        char pattern[] = "/tmp/plugin-host-files-XXXXXX";
        if (mkdtemp(pattern) == nullptr)
            ADD_FAILURE() << "no directory to test in";
        root = pattern;
    }
    ~FileSystemTest() override {
        std::error_code ignored;
        std::filesystem::remove_all(root, ignored);
    }

    std::string path(const std::string& name) const { return root + "/" + name; }
    String text(const std::string& name) const { return path(name).c_str(); }
    void makeFile(const std::string& name, const std::string& content) const {
        std::ofstream(path(name)) << content;
    }
    mode_t modeOf(const std::string& name) const {
        struct stat status {};
        EXPECT_EQ(stat(path(name).c_str(), &status), 0);
        return status.st_mode & 07777;
    }
    std::string normalized(const char* given) const { return files.normalize(given).toStdString(); }

    std::string root;
    FileSystem& files = LocalFileSystem::get();
};

TEST_F(FileSystemTest, DeletingAFileThatDoesNotExistDoesNothing) {
    files.deleteFile(text("nothing"));
    EXPECT_FALSE(files.exists(text("nothing")));
}

TEST_F(FileSystemTest, CreatingDirectoriesWhoseParentsExistMakesOnlyTheLast) {
    std::filesystem::create_directory(path("a"));
    std::filesystem::permissions(path("a"), std::filesystem::perms{0700});
    makeFile("a/file", "kept");
    files.createDirectories(text("a/b"));
    EXPECT_TRUE(std::filesystem::is_directory(path("a/b")));
    EXPECT_EQ(modeOf("a"), 0700u);
    EXPECT_TRUE(std::filesystem::exists(path("a/file")));
}

TEST_F(FileSystemTest, ADirectoryHasTheMode0776LessTheUmask) {
    const mode_t former = umask(0);
    files.createDirectory(text("open"));
    umask(022);
    files.createDirectory(text("usual"));
    umask(077);
    files.createDirectory(text("own"));
    umask(former);
    EXPECT_EQ(modeOf("open"), 0776u);
    EXPECT_EQ(modeOf("usual"), 0754u);
    EXPECT_EQ(modeOf("own"), 0700u);
}

TEST_F(FileSystemTest, MissingParentsAreMadeWithTheSameMode) {
    const mode_t former = umask(0);
    files.createDirectories(text("a/b/c"));
    umask(former);
    EXPECT_EQ(modeOf("a"), 0776u);
    EXPECT_EQ(modeOf("a/b"), 0776u);
    EXPECT_EQ(modeOf("a/b/c"), 0776u);
}

TEST_F(FileSystemTest, CreatingDirectoriesThatExistDoesNothing) {
    files.createDirectories(root.c_str());
    files.createDirectories("/");
    files.createDirectories(String());
    EXPECT_TRUE(std::filesystem::is_directory(root));
}

TEST_F(FileSystemTest, DoubledAndTrailingSeparatorsDoNotDisturbTheMakingOfDirectories) {
    files.createDirectories(text("a//b/"));
    EXPECT_TRUE(std::filesystem::is_directory(path("a/b")));
}

TEST_F(FileSystemTest, TwoThreadsMayMakeTheSameDirectoriesAtOnce) {
    constexpr int rounds = 50;
    std::atomic<int> failures{0};
    for (int round = 0; round < rounds; ++round) {
        const String directory = text("r" + std::to_string(round) + "/a/b");
        std::latch ready(2);
        const auto make = [&] {
            ready.arrive_and_wait();
            try {
                files.createDirectories(directory);
            } catch (const IOException&) {
                ++failures;
            }
        };
        std::thread other(make);
        make();
        other.join();
        EXPECT_TRUE(files.isDirectory(directory));
    }
    EXPECT_EQ(failures, 0);
}

TEST_F(FileSystemTest, RelativeDirectoriesAreMadeInTheCurrentDirectory) {
    const int former = open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(chdir(root.c_str()), 0);
    files.createDirectories("a/b");
    EXPECT_EQ(fchdir(former), 0);
    close(former);
    EXPECT_TRUE(std::filesystem::is_directory(path("a/b")));
}

TEST_F(FileSystemTest, ADirectoryThatCannotBeMadeIsAFailureThatNamesIt) {
    EXPECT_EQ(failureText<IOException>([&] { files.createDirectory(root.c_str()); }),
              "Could not create directory " + root + ": File exists");
    EXPECT_EQ(failureText<IOException>([&] { files.createDirectory(text("a/b")); }),
              "Could not create directory " + path("a/b") + ": No such file or directory");
    makeFile("file", "");
    EXPECT_EQ(failureText<IOException>([&] { files.createDirectories(text("file/a")); }),
              "Could not create directory " + path("file") + ": File exists");
}

TEST_F(FileSystemTest, AnEmptyDirectoryIsDeleted) {
    files.createDirectory(text("a"));
    files.deleteDirectory(text("a"));
    EXPECT_FALSE(std::filesystem::exists(path("a")));
}

TEST_F(FileSystemTest, ADirectoryThatCannotBeDeletedIsAFailureThatNamesIt) {
    files.createDirectories(text("a/b"));
    EXPECT_EQ(failureText<IOException>([&] { files.deleteDirectory(text("a")); }),
              "Could not delete directory " + path("a") + ": Directory not empty");
    EXPECT_EQ(failureText<IOException>([&] { files.deleteDirectory(text("c")); }),
              "Could not delete directory " + path("c") + ": No such file or directory");
}

TEST_F(FileSystemTest, FilesAndDirectoriesAreToldApart) {
    makeFile("file", "x");
    ASSERT_EQ(mkfifo(path("fifo").c_str(), 0600), 0);
    EXPECT_TRUE(files.exists(text("file")));
    EXPECT_TRUE(files.isFile(text("file")));
    EXPECT_FALSE(files.isDirectory(text("file")));
    EXPECT_TRUE(files.exists(root.c_str()));
    EXPECT_FALSE(files.isFile(root.c_str()));
    EXPECT_TRUE(files.isDirectory(root.c_str()));
    EXPECT_TRUE(files.exists(text("fifo")));
    EXPECT_FALSE(files.isFile(text("fifo")));
    EXPECT_FALSE(files.exists(text("nothing")));
    EXPECT_FALSE(files.isFile(text("nothing")));
    EXPECT_FALSE(files.isDirectory(text("nothing")));
}

TEST_F(FileSystemTest, LinksAreFollowed) {
    makeFile("file", "x");
    std::filesystem::create_symlink(path("file"), path("link"));
    std::filesystem::create_symlink(path("nothing"), path("dangling"));
    EXPECT_TRUE(files.isFile(text("link")));
    EXPECT_FALSE(files.exists(text("dangling")));
}

TEST_F(FileSystemTest, AFileIsDeleted) {
    makeFile("file", "x");
    files.deleteFile(text("file"));
    EXPECT_FALSE(std::filesystem::exists(path("file")));
}

TEST_F(FileSystemTest, TheSizeOfAFileIsInBytes) {
    makeFile("file", "12345");
    EXPECT_EQ(files.getFileSize(text("file")), 5);
    std::filesystem::resize_file(path("file"), 0x100000005); // more than 32 bits hold
    EXPECT_EQ(files.getFileSize(text("file")), 0x100000005);
    EXPECT_TRUE(files.isFile(text("file")));
}

TEST_F(FileSystemTest, TheSizeOfWhatIsNotThereIsAFailureThatNamesIt) {
    EXPECT_EQ(failureText<IOException>([&] { files.getFileSize(text("nothing")); }),
              "Could not determine size of file " + path("nothing") + ": No such file or directory");
}

TEST_F(FileSystemTest, AListLeavesOutTheDirectoryItselfAndItsParent) {
    makeFile("b.so", "");
    makeFile(".hidden", "");
    makeFile("caf\xC3\xA9", "");
    std::filesystem::create_directory(path("directory"));
    std::vector<std::string> names;
    for (const String& name : files.listFiles(root.c_str()))
        names.push_back(name.toStdString());
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{".hidden", "b.so", "caf\xC3\xA9", "directory"}));
}

TEST_F(FileSystemTest, AListOfWhatIsNoDirectoryIsAFailure) {
    EXPECT_EQ(failureText<IOException>([&] { files.listFiles(text("nothing")); }),
              "listFiles failed, opendir returned nullptr");
}

TEST_F(FileSystemTest, TheCurrentDirectoryIsAbsolute) {
    const int former = open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(chdir(root.c_str()), 0);
    EXPECT_EQ(files.currentDirectory().toStdString(), root);
    EXPECT_EQ(normalized("x"), root + "/x");
    EXPECT_EQ(normalized("./a/../b"), root + "/b");
    EXPECT_EQ(fchdir(former), 0);
    close(former);
}

TEST_F(FileSystemTest, ACurrentDirectoryThatIsGoneIsAFailure) {
    const int former = open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    files.createDirectory(text("gone"));
    ASSERT_EQ(chdir(path("gone").c_str()), 0);
    files.deleteDirectory(text("gone"));
    EXPECT_EQ(failureText<IOException>([&] { files.currentDirectory(); }),
              "Could not determine current working directory: No such file or directory");
    EXPECT_EQ(fchdir(former), 0);
    close(former);
}

TEST_F(FileSystemTest, ANormalPathHasNoDotParts) {
    EXPECT_EQ(normalized("/a/./b/../c"), "/a/c");
    EXPECT_EQ(normalized("/a/b/.."), "/a");
    EXPECT_EQ(normalized("/a/b/."), "/a/b");
    EXPECT_EQ(normalized("/a/b/c"), "/a/b/c");
    EXPECT_EQ(normalized("/../a"), "/a");
    EXPECT_EQ(normalized("/a/.."), "/");
    EXPECT_EQ(normalized("/"), "/");
    // Only whole parts count.
    EXPECT_EQ(normalized("/a/..b/.c/d."), "/a/..b/.c/d.");
}

TEST_F(FileSystemTest, APathIsAbsoluteByItsFirstSeparator) {
    EXPECT_TRUE(files.isAbsolutePath("/a"));
    EXPECT_TRUE(files.isAbsolutePath("/"));
    EXPECT_FALSE(files.isAbsolutePath("a/b"));
    EXPECT_FALSE(files.isAbsolutePath("./a"));
    EXPECT_FALSE(files.isAbsolutePath(String()));
}

TEST_F(FileSystemTest, TheParentIsWhatLiesBeforeTheLastSeparator) {
    EXPECT_EQ(files.getParent("/a/b/c").toStdString(), "/a/b");
    EXPECT_EQ(files.getParent("/a").toStdString(), "/");
    EXPECT_EQ(files.getParent("a/b").toStdString(), "a");
    EXPECT_EQ(files.getParent("a").toStdString(), "");
}

TEST_F(FileSystemTest, JoiningPutsOneSeparatorBetween) {
    EXPECT_EQ(files.join("/a", "b").toStdString(), "/a/b");
    EXPECT_EQ(files.join("/a/", "b").toStdString(), "/a/b");
    EXPECT_EQ(files.join("/", "b").toStdString(), "/b");
}

TEST_F(FileSystemTest, ThereIsOneLocalFileSystem) {
    EXPECT_EQ(&LocalFileSystem::get(), &LocalFileSystem::get());
    EXPECT_EQ(FileSystem::separator, U'/');
}

TEST_F(FileSystemTest, AFileThatCannotBeOpenedIsAFailureThatNamesIt) {
    EXPECT_EQ(failureText<IOException>([&] { files.openForReading(text("nothing")); }),
              "Could not open file \"" + path("nothing") + "\" for reading: No such file or directory");
    EXPECT_EQ(failureText<IOException>([&] { files.openForWriting(text("no/thing"), false); }),
              "Could not open file \"" + path("no/thing") + "\" for writing: No such file or directory");
    EXPECT_EQ(failureText<IOException>([&] { files.openForWriting(root.c_str(), true); }),
              "Could not open file \"" + root + "\" for writing: Is a directory");
}

} // namespace
