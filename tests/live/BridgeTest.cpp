// The way to another machine, over the loopback between two servers. If these fail, a musician who renders on
// a second machine hears nothing of it, or gaps.

#include "live/LiveTest.h"

#include <cmath>
#include <cstdio>

using namespace test_support;

namespace {

constexpr int bridgePeriod = 256;
constexpr double bridgeRate = 48000;

/// This machine, and the other one: addresses of the loopback.
class BridgeTest : public LiveTest {
protected:
    using LiveTest::startServer;

    ChildProgram::Environment otherEnvironment() const {
        ChildProgram::Environment variables = environment();
        variables["JACK_DEFAULT_SERVER"] = serverName + "-other";
        return variables;
    }

    void startOtherServer() {
        const auto isUp = [&] { return runOnOther("jack_lsp", {}); };
        require(startServer(otherServer, serverName + "-other", bridgePeriod, isUp), "no second server");
    }

    bool runOnOther(const std::string& program, const std::vector<std::string>& arguments) const {
        return runProgram(arguments, otherEnvironment(), directory.path, "/usr/bin/" + program).status == 0;
    }

    bool connectOnOther(const std::string& from, const std::string& to) const {
        return eventually([&] { return runOnOther("jack_connect", {from, to}); }, longBound);
    }

    std::optional<OwnProgram> otherServer;
};

bool isInstalled(const std::string& program) {
    return std::filesystem::exists("/usr/bin/" + program);
}

} // namespace

TEST_F(BridgeTest, AudioGoesToTheOtherMachineThroughAPluginAndBack) {
    if (!isInstalled("zita-j2n") || !isInstalled("jack_connect")) {
        std::printf("not run: the bridge to another machine, for which zita-njbridge is missing\n");
        GTEST_SKIP();
    }
    startServer(bridgePeriod);
    startOtherServer();
    ChildProgram here({"127.0.0.1", "127.0.0.2"}, environment(), directory.path, BRIDGE_SCRIPT);
    ChildProgram there({"127.0.0.2", "127.0.0.1"}, otherEnvironment(), directory.path, BRIDGE_SCRIPT);
    live.emplace(std::vector<std::string>{"--identifier", upsideDown, examplePlugin("trio.so")},
                 otherEnvironment(), directory.path, LIVE_EXECUTABLE);
    if (!connectOnOther("zita-n2j:out_1", "plugin-host-live:input_1")) {
        there.waitForError("\n");
        FAIL() << "no receiver there: " << there.error;
    }
    require(connectOnOther("plugin-host-live:output_1", "zita-j2n:in_1"), "no sender there");
    ASSERT_TRUE(connect("peer:send_1", "zita-j2n:in_1"));
    ASSERT_TRUE(connect("zita-n2j:out_1", "peer:receive_1"));
    const auto hearsAbout = [&](float level) {
        return eventually([&] { return std::abs(peer->left - level) < 0.01F; }, longBound);
    };
    peer->sent = 0.5F;
    ASSERT_TRUE(hearsAbout(-0.5F));
    peer->sent = 0;
    // For long enough that a lost block isn't taken for it.
    ASSERT_TRUE(eventually([&] {
        peer->record(12000, {});
        return eventually([&] { return peer->hasRecorded(); }) &&
               std::ranges::all_of(peer->getRecording(),
                                   [](float sample) { return std::abs(sample) < 0.01F; });
    }));

    peer->record(96000, {});
    peer->sent = 0.5F;
    ASSERT_TRUE(eventually([&] { return peer->hasRecorded(); }));
    const std::vector<float>& recording = peer->getRecording();
    const auto isLoud = [](float sample) { return sample < -0.25F; };
    const auto first = std::find_if(recording.begin(), recording.end(), isLoud);
    ASSERT_NE(first, recording.end());
    const auto frames = static_cast<double>(first - recording.begin());
    const auto lost = std::count_if(first, recording.end(), [&](float sample) { return !isLoud(sample); });
    std::printf("bridge: %.1f ms there and back, %.1f of %.1f blocks lost\n", frames / bridgeRate * 1000,
                static_cast<double>(lost) / bridgePeriod,
                static_cast<double>(recording.end() - first) / bridgePeriod);
    // Two periods each way at least.
    EXPECT_GT(frames / bridgeRate, 0.010);
    EXPECT_EQ(endLive(), 0);
    for (ChildProgram* bridge : {&here, &there}) {
        bridge->signal(SIGTERM);
        bridge->waitForEnd();
        EXPECT_EQ(bridge->status(), 0) << bridge->error;
    }
}

TEST_F(BridgeTest, AMistakeInItsUseIsTheUsage) {
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{}, {"127.0.0.1"}, {"-c", "two", "a", "b"}, {"a", "b", "port"}}) {
        const ProgramResult result = runProgram(arguments, {}, directory.path, BRIDGE_SCRIPT);
        EXPECT_EQ(result.status, 2);
        EXPECT_THAT(result.error,
                    testing::EndsWith("Usage: live-bridge [-c CHANNELS] [-b MS] HERE THERE [PORT]\n"));
    }
}
