// Plug-ins whose host has died under the live program. If these fail, a musician on a stage has a dead
// instrument for the rest of the evening, or one that comes back with another sound.

#include "live/LiveTest.h"
#include "support/RealDeaths.h"

#include <csignal>
#include <fstream>
#include <utility>

using namespace test_support;
using testing::HasSubstr;

namespace {

size_t count(const std::string& text, const std::string& words) {
    size_t found = 0;
    for (size_t at = text.find(words); at != std::string::npos; at = text.find(words, at + 1))
        ++found;
    return found;
}

} // namespace

using RevivalTest = LiveTest;

TEST_F(RevivalTest, AHostThatWasKilledComesBackAndPlays) {
    startServer();
    gateHosts(2);
    startUpsideDownTwice();
    kill(hosts().at(0), SIGKILL);
    EXPECT_TRUE(hears(-0.5F));
    EXPECT_TRUE(live->waitForError("plugin-host-live: Upside Down is bypassed: ")) << live->error;
    openGate();
    EXPECT_TRUE(live->waitForError("plugin-host-live: Upside Down is back\n")) << live->error;
    EXPECT_TRUE(hears(0.5F));
    EXPECT_EQ(hosts().size(), 2U);
    EXPECT_EQ(endLive(), 0);
}

TEST_F(RevivalTest, AnInstrumentSoundsAgainWithTheSoundOfItsPreset) {
    startServer();
    startLive({"--preset", "sound.fxb", examplePlugin("tone.so")});
    EXPECT_EQ(endLive(), 0) << live->error;
    std::string sound = readBytes("sound.fxb");
    ASSERT_GE(sound.size(), 8U);
    // The last parameter, big-endian: 0.25.
    sound.replace(sound.size() - 4, 4, std::string("\x3e\x80\x00\x00", 4));
    std::ofstream(directory / "sound.fxb", std::ios::binary) << sound;
    peer.reset();
    peer = std::make_unique<JackPeer>();
    startLive({"--midi", "--preset", "sound.fxb", examplePlugin("tone.so")});
    ASSERT_TRUE(connect("peer:midi_send", "plugin-host-live:midi_input"));
    const std::vector<float> before = playNote();
    kill(hosts().at(0), SIGKILL);
    EXPECT_TRUE(live->waitForError("plugin-host-live: Tone is back\n")) << live->error;
    EXPECT_EQ(playNote(), before);
    EXPECT_EQ(endLive(), 0) << live->error;
    EXPECT_EQ(readBytes("sound.fxb"), sound);
}

TEST_F(RevivalTest, OneThatCrashesInItsBlocksComesBackThreeTimes) {
    const RealDeaths realDeaths;
    startServer();
    startLive({TEST_PLUGIN_DIRECTORY "/crashes-in-process.vst3"});
    connectInputs();
    peer->sent = 0.5F;
    EXPECT_TRUE(live->waitForError(" stays bypassed: ")) << live->error;
    EXPECT_TRUE(hears(0.5F));
    EXPECT_EQ(endLive(), 0) << live->error;
    EXPECT_EQ(count(live->error, " is bypassed: "), 4U) << live->error;
    EXPECT_EQ(count(live->error, " is back\n"), 3U) << live->error;
    EXPECT_EQ(count(live->error, " stays bypassed: "), 1U) << live->error;
}

TEST_F(RevivalTest, OneThatCannotComeBackSaysWhy) {
    startServer();
    gateHosts(2);
    startUpsideDownTwice();
    std::filesystem::remove(program);
    kill(hosts().at(0), SIGKILL);
    EXPECT_TRUE(live->waitForError("plugin-host-live: Upside Down stays bypassed: ")) << live->error;
    EXPECT_TRUE(live->waitForError(program)) << live->error;
    EXPECT_TRUE(hears(-0.5F));
    EXPECT_EQ(endLive(), 0);
}
