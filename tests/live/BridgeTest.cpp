// The way to another machine, over the loopback between two servers. If these fail, a musician who renders on
// a second machine hears nothing of it, or gaps.

#include "live/LiveTest.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <functional>
#include <optional>
#include <thread>

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

    /// The way of a level there and back, in ms; none if it doesn't come back.
    std::optional<double> measure() {
        const auto isLoud = [](float sample) { return sample < -0.25F; };
        peer->sent = 0.5F;
        if (!eventually([&] { return isLoud(peer->left); }))
            return std::nullopt;
        peer->sent = 0;
        // For long enough that a lost block isn't taken for it.
        const bool isSilent = eventually([&] {
            peer->record(12000, {});
            return eventually([&] { return peer->hasRecorded(); }) &&
                   std::ranges::none_of(peer->getRecording(), isLoud);
        });
        peer->record(96000, {});
        peer->sent = 0.5F;
        if (!isSilent || !eventually([&] { return peer->hasRecorded(); }))
            return std::nullopt;
        const std::vector<float>& recording = peer->getRecording();
        const auto first = std::ranges::find_if(recording, isLoud);
        if (first == recording.end())
            return std::nullopt;
        const double latency = static_cast<double>(first - recording.begin()) / bridgeRate * 1000;
        const auto lost = std::count_if(first, recording.end(), std::not_fn(isLoud));
        std::printf("bridge: %.1f ms there and back, %.1f of %.1f blocks lost\n", latency,
                    static_cast<double>(lost) / bridgePeriod,
                    static_cast<double>(recording.end() - first) / bridgePeriod);
        // What comes between gaps comes at any time.
        return lost < (recording.end() - first) / 2 ? std::optional(latency) : std::nullopt;
    }

    std::optional<OwnProgram> otherServer;
};

/// Whether more threads are ready than processors.
bool isBusy() {
    double average = 0;
    int ready = 0;
    std::ifstream file("/proc/loadavg");
    std::string ignored;
    file >> average >> ignored >> ignored >> ready;
    const auto processors = std::thread::hardware_concurrency();
    return average > processors || ready > static_cast<int>(processors);
}

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
    const std::optional<double> milliseconds = measure();
    // Its clients are of real time, which a machine with more to do than it has processors doesn't give.
    if (!milliseconds && isBusy())
        std::printf("not run: the bridge to another machine, for which this one is too busy\n");
    else
        EXPECT_GT(milliseconds.value_or(0), 10) << peer->left << here.error << there.error;
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
