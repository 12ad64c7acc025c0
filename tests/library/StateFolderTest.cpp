// States that a session keeps in files. If these fail, others read them, a crash leaves them for ever, or a
// session removes those of another.

#include "library/RestoreTest.h"
#include "support/FileBytes.h"

#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace test_support;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace {

namespace fs = std::filesystem;

mode_t modeOf(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

class StateFolderTest : public RestoreTest {
protected:
    void SetUp() override {
        RestoreTest::SetUp();
        folder = directory / "states";
    }

    plugin_host::session_options keepingIn(const std::string& path) {
        plugin_host::session_options result = restoring();
        result.state_directory = path;
        return result;
    }
    std::vector<std::string> names() const {
        std::vector<std::string> found;
        for (const auto& entry : fs::directory_iterator(folder))
            found.push_back(entry.path().filename());
        return found;
    }
    /// An echo whose kept state has this value.
    plugin_host::plugin& addKept(float value) {
        plugin_host::plugin& echo = addRestored(examplePlugin("echo.so"));
        setValue(echo, value);
        session->keep_states();
        return echo;
    }

    std::string folder;
};

} // namespace

TEST_F(StateFolderTest, StatesAreInFilesForThisUserAloneAndPlugInsComeBackByThem) {
    begin(1, keepingIn(folder));
    plugin_host::plugin& echo = addKept(0.25F);
    addRestored(examplePlugin("echo.vst3"));
    session->keep_states();
    EXPECT_THAT(names(), UnorderedElementsAre("session-1.lock", "session-1-1", "session-1-2"));
    EXPECT_EQ(modeOf(folder), 0700U);
    EXPECT_EQ(modeOf(folder + "/session-1-1"), 0600U);
    EXPECT_THAT(readFile(folder + "/session-1-1"), HasSubstr("Ech0"));
    killHostOf(echo);
    ASSERT_TRUE(isRestored(0));
    EXPECT_EQ(valueOf(echo), 0.25F);
}

TEST_F(StateFolderTest, FilesGoWithTheirPlugInsAndTheSession) {
    begin(1, keepingIn(folder));
    addKept(0.25F);
    plugins.clear();
    EXPECT_TRUE(eventually([&] { return names().size() == 1; })); // threads of the library let go of it
    EXPECT_THAT(names(), ElementsAre("session-1.lock"));
    addKept(0.5F);
    EXPECT_THAT(names(), UnorderedElementsAre("session-1.lock", "session-1-2"));
    plugins.clear();
    cycle.reset();
    session.reset();
    EXPECT_THAT(names(), IsEmpty());
}

TEST_F(StateFolderTest, AStateThatCantBeWrittenLeavesTheFormerOne) {
    begin(1, keepingIn(folder));
    plugin_host::plugin& echo = addRestored(examplePlugin("echo.so"));
    echo.begin();
    echo.add_change(1, 0.75F);
    echo.process(frames);
    session->keep_states();
    // Where the next one is written first.
    fs::create_directories(folder + "/session-1-1.new/in the way");
    setValue(echo, 0.5F);
    EXPECT_THROW(session->keep_states(), plugin_host::error);
    killHostOf(echo);
    ASSERT_TRUE(isRestored(0));
    // By the change since, and by the former state.
    EXPECT_EQ(valueOf(echo), 0.5F);
    EXPECT_EQ(echo.refresh().parameters[1].value, 0.75F);
    fs::remove_all(folder + "/session-1-1.new");
    session->keep_states();
    EXPECT_THAT(names(), UnorderedElementsAre("session-1.lock", "session-1-1"));
}

TEST_F(StateFolderTest, AStateThatIsGoneKeepsItsPlugInAwayWithTheReason) {
    begin(1, keepingIn(folder));
    addKept(0.25F);
    const std::string file = folder + "/session-1-1";
    fs::remove(file);
    killHostOf(plugins[0]);
    EXPECT_TRUE(log.waitFor("restored 0: Could not read \"" + file + "\": No such file or directory"));
}

TEST_F(StateFolderTest, WhatAKilledProcessHasLeftIsRemovedAndALivingOnesFilesStay) {
    fs::create_directory(folder);
    chmod(folder.c_str(), S_IRWXU);
    for (const char* left : {"session-1.lock", "session-1-1", "session-1-2.new", "session-7.lock",
                             "session-7-3", "session-2.lock", "session-2-1", "session-10-1", "notes"})
        writeFile(folder + "/" + left, "left");
    const int living = open((folder + "/session-2.lock").c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(flock(living, LOCK_EX | LOCK_NB), 0);
    begin(1, keepingIn(folder));
    EXPECT_THAT(names(), UnorderedElementsAre("session-1.lock", "session-2.lock", "session-2-1",
                                              "session-10-1", "notes"));
    plugin_host::session other(keepingIn(folder));
    EXPECT_TRUE(fs::exists(folder + "/session-3.lock"));
    close(living);
}

TEST_F(StateFolderTest, AFolderThatOthersMayEnterOrThatCantBeMadeIsAnError) {
    const auto reasonFor = [&](const std::string& path) -> std::string {
        try {
            plugin_host::session refused(keepingIn(path));
        } catch (const plugin_host::error& error) {
            return error.what();
        }
        return "none";
    };
    fs::create_directory(folder);
    chmod(folder.c_str(), S_IRWXU | S_IXGRP);
    EXPECT_THAT(reasonFor(folder), HasSubstr("Others may enter"));
    chmod(folder.c_str(), S_IRWXU);
    EXPECT_EQ(reasonFor(folder), "none");
    EXPECT_THAT(reasonFor(folder + "/a/b"), HasSubstr("No such file or directory"));
    fs::create_symlink("/nowhere", folder + "/link");
    EXPECT_THAT(reasonFor(folder + "/link"), HasSubstr("Could not open"));
}
