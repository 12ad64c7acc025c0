// What the live program does as something fails. If these fail, a crash of one plug-in silences the stage, a
// plug-in that comes back stays silent, or a user doesn't learn why nothing plays.

#include "live/LiveTest.h"

#include <csignal>

using namespace test_support;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

using FailureTest = LiveTest;

TEST_F(FailureTest, AHostThatDiesIsBypassedAndTheOthersPlayOn) {
    startServer();
    gateHosts(2);
    startUpsideDownTwice();
    ASSERT_EQ(hosts().size(), 2u);
    kill(hosts()[0], SIGKILL);
    EXPECT_TRUE(hears(-0.5F));
    EXPECT_TRUE(live->waitForError("plugin-host-live: Upside Down is bypassed: ")) << live->error;
    EXPECT_EQ(endLive(), 0);
    EXPECT_THAT(live->error, HasSubstr("signal 9"));
}

TEST_F(FailureTest, WithAllHostsDeadTheInputIsHeard) {
    startServer();
    gateHosts(2);
    startUpsideDownTwice({"--pipeline"});
    for (const pid_t host : hosts())
        kill(host, SIGKILL);
    EXPECT_TRUE(eventually([&] { return hosts().empty(); }));
    peer->sent = 0.25F;
    EXPECT_TRUE(hears(0.25F));
    EXPECT_EQ(endLive(), 0);
}

TEST_F(FailureTest, AnInstrumentWhoseHostDiesIsSilent) {
    startServer();
    gateHosts(1);
    startLive({"--midi", examplePlugin("tone.so")});
    ASSERT_TRUE(connect("peer:midi_send", "plugin-host-live:midi_input"));
    peer->record(1024, {{0, {0x90, 69, 100}}});
    ASSERT_TRUE(eventually([&] { return peer->left != 0; }));
    kill(hosts().at(0), SIGKILL);
    EXPECT_TRUE(eventually([&] { return hosts().empty(); }));
    EXPECT_TRUE(hears(0));
    EXPECT_EQ(endLive(), 0);
}

TEST_F(FailureTest, AHostThatStandsStillIsBypassedAndPlaysAgainAsItGoesOn) {
    startServer();
    startUpsideDownTwice();
    const pid_t host = hosts().at(0);
    kill(host, SIGSTOP);
    EXPECT_TRUE(hears(-0.5F));
    kill(host, SIGCONT);
    EXPECT_TRUE(hears(0.5F));
    EXPECT_EQ(endLive(), 0);
    EXPECT_THAT(live->output, testing::ContainsRegex(" [1-9][0-9]* late blocks"));
}

TEST_F(FailureTest, TheEndWaitsForThePeriodThatIsUnderWay) {
    startServer();
    startUpsideDownTwice({"--deadline", "400", "--preset", "sound.fxb"});
    // The callback hardly does anything but wait for it.
    kill(hosts().at(1), SIGSTOP);
    EXPECT_TRUE(eventually([&] { return peer->left != 0.5F; }));
    EXPECT_EQ(endLive(), 0) << live->error;
    EXPECT_TRUE(std::filesystem::exists(directory / "sound.fxb"));
}

TEST_F(FailureTest, TheEndOfTheServerIsAFailureAndSaidInALine) {
    startServer();
    startUpsideDownTwice();
    server->end(SIGTERM);
    live->waitForEnd();
    EXPECT_EQ(live->status(), 1);
    EXPECT_THAT(live->error, HasSubstr("plugin-host-live: The JACK server has ended\n"));
}

TEST_F(FailureTest, WithoutAServerNoneIsStarted) {
    const ProgramResult result = runLive({examplePlugin("echo.so")});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.error, "plugin-host-live: No JACK server of the name " + serverName +
                                " is running: start one, or use pw-jack for PipeWire\n");
    EXPECT_FALSE(JackPeer().isOpen());
}

TEST_F(FailureTest, APluginThatIsMissingIsNamed) {
    startServer();
    const ProgramResult result = runLive({"missing.so"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.error, StartsWith("plugin-host-live: "));
    EXPECT_THAT(result.error, HasSubstr("missing.so"));
    EXPECT_THAT(result.output, IsEmpty());
}

TEST_F(FailureTest, APluginWithoutOutputsIsRefused) {
    startServer();
    const ProgramResult result = runLive({TEST_PLUGIN_DIRECTORY "/without-audio-and-notes.so"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.error, HasSubstr(" has no audio outputs\n"));
}
