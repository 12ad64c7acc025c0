// If these fail, an application starts the wrong host for a plug-in, tells its users of a wrong reason, or
// hangs or fails as it looks at what lies in a folder of plug-ins.

#include "plugin/PluginFile.h"

#include "support/FailureText.h"
#include "support/TestDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <sys/fsuid.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace test_support;

namespace {

namespace fs = std::filesystem;

/// A number of `size` bytes, lowest first.
std::string little(uint64_t value, size_t size) {
    std::string bytes;
    for (size_t i = 0; i < size; ++i, value >>= 8)
        bytes += static_cast<char>(value & 0xFF);
    return bytes;
}

/// What the tests change in a library.
struct Fields {
    uint16_t type = 3; // shared object
    uint16_t machine = 0;
    uint64_t tablePlace = 0;
    uint16_t entrySize = 0;
    uint16_t entries = 1;
    uint64_t segmentPlace = 0;
    uint64_t segmentSize = 200; // of the whole file
    uint32_t segmentType = 1;   // to be loaded
};

/// A file of 200 bytes: identification, header, and a table of one segment right behind.
std::string library32(Fields fields = {}) {
    std::string file("\x7F"
                     "ELF\x01\x01\x01\0\0\0\0\0\0\0\0\0",
                     16);
    file += little(fields.type, 2) + little(fields.machine != 0 ? fields.machine : 3, 2) + little(1, 4);
    file += little(0, 4) + little(fields.tablePlace != 0 ? fields.tablePlace : 52, 4) + little(0, 4) +
            little(0, 4);
    file +=
        little(52, 2) + little(fields.entrySize != 0 ? fields.entrySize : 32, 2) + little(fields.entries, 2);
    file += std::string(6, '\0');
    file += little(fields.segmentType, 4) + little(fields.segmentPlace, 4) + little(0, 4) + little(0, 4);
    file += little(fields.segmentSize, 4) + little(4096, 4) + little(5, 4) + little(4096, 4);
    file.resize(200);
    return file;
}

std::string library64(Fields fields = {}) {
    std::string file("\x7F"
                     "ELF\x02\x01\x01\0\0\0\0\0\0\0\0\0",
                     16);
    file += little(fields.type, 2) + little(fields.machine != 0 ? fields.machine : 62, 2) + little(1, 4);
    file += little(0, 8) + little(fields.tablePlace != 0 ? fields.tablePlace : 64, 8) + little(0, 8) +
            little(0, 4);
    file +=
        little(64, 2) + little(fields.entrySize != 0 ? fields.entrySize : 56, 2) + little(fields.entries, 2);
    file += std::string(6, '\0');
    file += little(fields.segmentType, 4) + little(5, 4) + little(fields.segmentPlace, 8) + little(0, 8) +
            little(0, 8);
    file += little(fields.segmentSize, 8) + little(4096, 8) + little(4096, 8);
    file.resize(200);
    return file;
}

/// Gives this thread another user's rights to files for a scope, if it has root's; nothing stops root.
class OtherFileUser {
public:
    OtherFileUser() { setfsuid(geteuid() == 0 ? 65534 : geteuid()); }
    ~OtherFileUser() { setfsuid(geteuid()); }
    OtherFileUser(const OtherFileUser&) = delete;
    OtherFileUser& operator=(const OtherFileUser&) = delete;
};

class PluginFileTest : public testing::Test {
protected:
    std::string write(const std::string& name, const std::string& bytes) {
        const std::string path = directory / name;
        fs::create_directories(fs::path(path).parent_path());
        std::ofstream(path, std::ios::binary) << bytes;
        return path;
    }

    std::string writeInBundle(const std::string& folder, const std::string& bytes) {
        return write("Foo.vst3/Contents/" + folder + "/Foo.so", bytes);
    }

    PluginFile inspectBundle() { return inspectPluginFile(bundle.c_str()); }

    /// Of a file that no host can load, without its path.
    std::string problemOf(const std::string& bytes) {
        const std::string path = write("problem.so", bytes);
        const PluginFile found = inspectPluginFile(path.c_str());
        EXPECT_TRUE(found.library32.isEmpty());
        EXPECT_TRUE(found.library64.isEmpty());
        const std::string problem = found.problem.toStdString();
        EXPECT_EQ(problem.substr(0, path.size() + 1), path + " ");
        return problem.substr(std::min(path.size() + 1, problem.size()));
    }

    static void expectLibraries(const PluginFile& found, const std::string& library32,
                                const std::string& library64) {
        EXPECT_EQ(found.library32.toStdString(), library32);
        EXPECT_EQ(found.library64.toStdString(), library64);
        EXPECT_EQ(found.getLibrary(HostWidth::bits32), found.library32);
        EXPECT_EQ(found.getLibrary(HostWidth::bits64), found.library64);
        if (!library32.empty() || !library64.empty()) {
            EXPECT_EQ(found.problem.toStdString(), "");
        }
    }

    TestDirectory directory;
    const std::string bundle = directory / "Foo.vst3";
};

} // namespace

TEST_F(PluginFileTest, TheHeaderOfALibrarySaysForWhichHostItIs) {
    const std::string first = write("first.so", library32());
    expectLibraries(inspectPluginFile(first.c_str()), first, "");
    const std::string second = write("second.so", library64());
    expectLibraries(inspectPluginFile(second.c_str()), "", second);
}

TEST_F(PluginFileTest, ARealPluginIsForAHostLikeThisProcess) {
    const std::string path = EXAMPLE_PLUGIN_DIRECTORY "/echo.so";
    const PluginFile found = inspectPluginFile(path.c_str());
    EXPECT_EQ(found.getLibrary(ownWidth).toStdString(), path);
    EXPECT_TRUE(
        found.getLibrary(ownWidth == HostWidth::bits32 ? HostWidth::bits64 : HostWidth::bits32).isEmpty());
}

TEST_F(PluginFileTest, TheFormatIsThatOfThePathsEnd) {
    for (const char* name : {"a.vst3", "avst3", "vst3"})
        EXPECT_EQ(inspectPluginFile(write(name, library32()).c_str()).format, PluginFormat::vst3) << name;
    for (const char* name : {"a.so", "a.VST3", "a.vst3.so", "st3"})
        EXPECT_EQ(inspectPluginFile(write(name, library32()).c_str()).format, PluginFormat::vst2) << name;
}

TEST_F(PluginFileTest, ASymbolicLinkIsFollowedAndNamed) {
    write("library", library64());
    fs::create_symlink("library", directory / "link.vst3");
    expectLibraries(inspectPluginFile((directory / "link.vst3").c_str()), "", directory / "link.vst3");
    const std::string real = writeInBundle("x86_64-linux", library64());
    fs::create_directory_symlink(bundle, directory / "Bar.vst3");
    fs::create_symlink("Foo.so", fs::path(real).parent_path() / "Bar.so");
    expectLibraries(inspectPluginFile((directory / "Bar.vst3").c_str()), "",
                    directory / "Bar.vst3/Contents/x86_64-linux/Bar.so");
}

TEST_F(PluginFileTest, ABundleMayHaveALibraryForEachHost) {
    const std::string first = writeInBundle("i386-linux", library32());
    const std::string second = writeInBundle("x86_64-linux", library64());
    expectLibraries(inspectBundle(), first, second);
    EXPECT_EQ(inspectBundle().format, PluginFormat::vst3);
}

TEST_F(PluginFileTest, AThirtyTwoBitHostLooksIntoThreeFoldersInTheirOrder) {
    const std::string third = writeInBundle("x86_64-linux", library32());
    expectLibraries(inspectBundle(), third, "");
    const std::string second = writeInBundle("i686-linux", library32());
    expectLibraries(inspectBundle(), second, "");
    const std::string first = writeInBundle("i386-linux", library32());
    expectLibraries(inspectBundle(), first, "");
}

TEST_F(PluginFileTest, ALibraryOfTheOtherWidthHidesALaterFolderAsItDoesInAHost) {
    const std::string wrong = writeInBundle("i386-linux", library64());
    const std::string missing = bundle + "/Contents/x86_64-linux/Foo.so";
    expectLibraries(inspectBundle(), "", "");
    EXPECT_EQ(inspectBundle().problem.toStdString(),
              wrong + " is for 64-bit hosts; " + missing + " can't be read: No such file or directory");
    writeInBundle("i686-linux", library32());
    writeInBundle("x86_64-linux", library32());
    expectLibraries(inspectBundle(), "", "");
    writeInBundle("x86_64-linux", library64());
    expectLibraries(inspectBundle(), "", missing);
}

TEST_F(PluginFileTest, ABundleWithoutALibraryIsAProblemAndNoFailure) {
    fs::create_directory(bundle);
    EXPECT_EQ(inspectBundle().problem.toStdString(),
              bundle + "/Contents/x86_64-linux/Foo.so can't be read: No such file or directory");
    fs::create_directories(bundle + "/Contents/i386-linux/Foo.so");
    fs::create_directories(bundle + "/Contents/x86_64-linux/Foo.so");
    EXPECT_EQ(inspectBundle().problem.toStdString(), bundle + "/Contents/x86_64-linux/Foo.so is no file");
}

TEST_F(PluginFileTest, ALibraryOfAnotherMachineIsNotForThisOne) {
    const std::string expected = "is not for this kind of machine";
    EXPECT_EQ(problemOf(library64({.machine = 183})), expected) << "AArch64";
    EXPECT_EQ(problemOf(library32({.machine = 40})), expected) << "ARM";
    EXPECT_EQ(problemOf(library32({.machine = 62})), expected) << "x32";
    EXPECT_EQ(problemOf(library64({.machine = 3})), expected);
    std::string bigEndian = library64();
    bigEndian[5] = 2;
    EXPECT_EQ(problemOf(bigEndian), expected);
}

TEST_F(PluginFileTest, WhatIsNoSharedLibraryIsNamedSo) {
    const std::string expected = "is no shared library";
    EXPECT_EQ(problemOf(""), expected);
    EXPECT_EQ(problemOf("\x7F"
                        "ELF"),
              expected);
    EXPECT_EQ(problemOf("Just a text, and long enough for a header of either kind, which it isn't.\n"),
              expected);
    EXPECT_EQ(problemOf("/* GNU ld script */\nINPUT ( libreal.so.1 )\n"), expected);
    EXPECT_EQ(problemOf(library32({.type = 2})), expected) << "a program";
    EXPECT_EQ(problemOf(library64({.type = 1})), expected) << "an object file";
    for (const size_t place : {0U, 3U, 4U, 6U}) {
        std::string file = library32();
        file[place] = 9;
        EXPECT_EQ(problemOf(file), expected) << "byte " << place;
    }
    EXPECT_EQ(problemOf(library32({.entrySize = 56})), expected);
    EXPECT_EQ(problemOf(library64({.entrySize = 32})), expected);
}

TEST_F(PluginFileTest, ALibraryThatEndsTooEarlyIsCutOff) {
    const std::string expected = "is cut off";
    for (const size_t size : {16U, 51U, 52U, 83U, 84U, 199U})
        EXPECT_EQ(problemOf(library32().substr(0, size)), expected) << size;
    for (const size_t size : {16U, 63U, 64U, 119U, 120U, 199U})
        EXPECT_EQ(problemOf(library64().substr(0, size)), expected) << size;
    EXPECT_EQ(problemOf(library32({.segmentSize = 201})), expected);
    EXPECT_EQ(problemOf(library64({.segmentSize = 0xFFFFFFFFFFFFFFFF})), expected);
    EXPECT_EQ(problemOf(library32({.segmentPlace = 1})), expected);
    EXPECT_EQ(problemOf(library64({.segmentPlace = 0xFFFFFFFFFFFFF000, .segmentSize = 0x1010})), expected);
}

TEST_F(PluginFileTest, ATableOutsideOfTheFileIsCutOff) {
    const std::string expected = "is cut off";
    EXPECT_EQ(problemOf(library32({.tablePlace = 169})), expected);
    EXPECT_EQ(problemOf(library32({.tablePlace = 0xFFFFFFFF})), expected);
    EXPECT_EQ(problemOf(library64({.tablePlace = 0xFFFFFFFFFFFFFFF0})), expected);
    EXPECT_EQ(problemOf(library64({.tablePlace = 0x7FFFFFFFFFFFFFFF})), expected);
    EXPECT_EQ(problemOf(library32({.entries = 0xFFFF})), expected);
}

TEST_F(PluginFileTest, ASegmentThatIsNotLoadedMayLieAnywhere) {
    const std::string path = write("notes.so", library32({.segmentSize = 5000, .segmentType = 4}));
    expectLibraries(inspectPluginFile(path.c_str()), path, "");
}

TEST_F(PluginFileTest, AFileThatMayNotBeReadIsAProblem) {
    const std::string path = write("secret.so", library32());
    fs::permissions(path, fs::perms::none);
    fs::permissions(directory.path, fs::perms::all);
    PluginFile found;
    {
        const OtherFileUser other;
        found = inspectPluginFile(path.c_str());
    }
    EXPECT_EQ(found.problem.toStdString(), path + " can't be read: Permission denied");
}

TEST_F(PluginFileTest, AMissingPathIsAFailureThatNamesIt) {
    EXPECT_EQ(failureText<IOException>([] { inspectPluginFile("/nowhere/missing.vst3"); }),
              "Could not inspect plug-in \"/nowhere/missing.vst3\": No such file or directory");
    EXPECT_EQ(failureText<IOException>([] { inspectPluginFile("/dev/null/x.so"); }),
              "Could not inspect plug-in \"/dev/null/x.so\": Not a directory");
    fs::create_symlink("nothing", directory / "broken.so");
    EXPECT_EQ(failureText<IOException>([&] { inspectPluginFile((directory / "broken.so").c_str()); }),
              "Could not inspect plug-in \"" + (directory / "broken.so") + "\": No such file or directory");
}

TEST_F(PluginFileTest, AFolderThatIsNoBundleIsAFailure) {
    for (const char* name : {"folder", "Foo.VST3", "vst3"}) {
        fs::create_directory(directory / name);
        EXPECT_EQ(failureText<IOException>([&] { inspectPluginFile((directory / name).c_str()); }),
                  "Could not inspect plug-in \"" + (directory / name) +
                      "\": It is neither a file nor a bundle: Is a directory");
    }
}

TEST_F(PluginFileTest, AFifoOrADeviceIsAFailureAtOnce) {
    for (const char* name : {"fifo.so", "fifo.vst3"}) {
        const std::string path = directory / name;
        ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
        EXPECT_EQ(failureText<IOException>([&] { inspectPluginFile(path.c_str()); }),
                  "Could not inspect plug-in \"" + path + "\": It is neither a file nor a bundle");
    }
    EXPECT_EQ(failureText<IOException>([] { inspectPluginFile("/dev/zero"); }),
              "Could not inspect plug-in \"/dev/zero\": It is neither a file nor a bundle");
}

TEST_F(PluginFileTest, AFifoInABundleIsAProblemAtOnce) {
    const std::string folder = bundle + "/Contents/x86_64-linux";
    fs::create_directories(folder);
    ASSERT_EQ(mkfifo((folder + "/Foo.so").c_str(), 0600), 0);
    EXPECT_EQ(inspectBundle().problem.toStdString(), folder + "/Foo.so is no file");
}
