// Presets of the live program. If these fail, a musician loses a sound, or it is written over another
// plug-in's.

#include "live/LiveTest.h"
#include "support/FileBytes.h"

#include <csignal>
#include <cstring>

using namespace test_support;
using testing::HasSubstr;

namespace {

namespace fs = std::filesystem;

class PresetTest : public LiveTest {
protected:
    bool isSaved(const std::string& name) const {
        return eventually([&] { return fs::exists(directory / name); });
    }
};

} // namespace

TEST_F(PresetTest, ItIsSavedOnRequestAndAtTheEnd) {
    startServer();
    startLive({"--preset", "sound.fxb", examplePlugin("tone.so")});
    EXPECT_FALSE(fs::exists(directory / "sound.fxb"));
    live->signal(SIGUSR1);
    ASSERT_TRUE(isSaved("sound.fxb"));
    const std::string saved = readBytes("sound.fxb");
    fs::remove(directory / "sound.fxb");
    EXPECT_EQ(endLive(), 0) << live->error;
    EXPECT_EQ(readBytes("sound.fxb"), saved);
    EXPECT_THAT(saved, testing::StartsWith("CcnK"));
}

TEST_F(PresetTest, WhatWasSavedIsLoadedByTheNextStart) {
    startServer();
    startLive({"--preset", "sound.fxb", examplePlugin("tone.so")});
    EXPECT_EQ(endLive(), 0) << live->error;
    std::string changed = readBytes("sound.fxb");
    ASSERT_GE(changed.size(), 8u);
    // The last parameter, big-endian: 0.25.
    changed.replace(changed.size() - 4, 4, std::string("\x3e\x80\x00\x00", 4));
    std::ofstream(directory / "sound.fxb", std::ios::binary) << changed;
    peer.reset();
    peer = std::make_unique<JackPeer>();
    startLive({"--preset", "sound.fxb", examplePlugin("tone.so")});
    EXPECT_EQ(endLive(), 0) << live->error;
    EXPECT_EQ(readBytes("sound.fxb"), changed);
}

TEST_F(PresetTest, AnInterruptOfTheWholeJobLeavesTheHostsTimeToSave) {
    startServer();
    for (const int signal : {SIGINT, SIGHUP, SIGTERM}) {
        // In a session, and so a process group, of its own.
        startLiveBy("/usr/bin/setsid", {LIVE_EXECUTABLE, "--preset", "sound.fxb", examplePlugin("tone.so")});
        EXPECT_EQ(getpgid(live->getPid()), live->getPid());
        kill(-live->getPid(), signal);
        live->waitForEnd();
        EXPECT_EQ(live->status(), 0) << live->error;
        EXPECT_TRUE(fs::remove(directory / "sound.fxb")) << signal;
        peer.reset();
        peer = std::make_unique<JackPeer>();
    }
}

TEST_F(PresetTest, EachGoesToThePluginBehindIt) {
    startServer();
    startLive({"--preset", "tone.vstpreset", examplePlugin("tone.vst3"), examplePlugin("echo.so"), "--preset",
               "echo.fxb", examplePlugin("echo.so")});
    EXPECT_EQ(endLive(), 0) << live->error;
    EXPECT_THAT(readBytes("tone.vstpreset"), testing::StartsWith("VST3"));
    EXPECT_THAT(readBytes("echo.fxb"), HasSubstr("Ech0"));
    // Nothing but these, and the cache.
    EXPECT_EQ(std::distance(fs::directory_iterator(directory.path), {}), 3);
}

TEST_F(PresetTest, OneOfAnotherPluginIsRefusedAndStays) {
    startServer();
    std::ofstream(directory / "sound.fxb") << "CcnK, and nothing of use";
    const ProgramResult result = runLive({"--preset", "sound.fxb", examplePlugin("tone.so")});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(readBytes("sound.fxb"), "CcnK, and nothing of use");
}

TEST_F(PresetTest, OneThatCannotBeSavedIsAFailureAndTheFormerStays) {
    startServer();
    startLive({"--preset", "sound.fxb", examplePlugin("tone.so")});
    live->signal(SIGUSR1);
    ASSERT_TRUE(isSaved("sound.fxb"));
    const std::string saved = readBytes("sound.fxb");
    for (int life = 0; life < 4; ++life) {
        live->error.clear();
        kill(hosts().at(0), SIGKILL);
        EXPECT_TRUE(live->waitForError(life < 3 ? " is back\n" : " stays bypassed: ")) << life;
    }
    EXPECT_EQ(endLive(), 1);
    EXPECT_THAT(live->error,
                HasSubstr("plugin-host-live: Could not save " + directory.path + "/sound.fxb: "));
    EXPECT_EQ(readBytes("sound.fxb"), saved);
    EXPECT_FALSE(fs::exists(directory / "sound.fxb.new"));
}
