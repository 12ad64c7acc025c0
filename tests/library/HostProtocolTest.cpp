// Hosts that misbehave: each answer short, long, late or of another kind ends in a status, at most one report
// of a death, and nothing that stays behind. If these fail, a broken host takes its application along.

#include "HostTest.h"

#include "support/TestDirectory.h"

#include <gmock/gmock.h>

#include <csignal>
#include <fstream>
#include <thread>

using namespace test_support;
using testing::HasSubstr;

namespace {

constexpr int32_t briefly = 300; // milliseconds
constexpr const char* path = "/p/echo.so";

// The answer to the first request, that for a plug-in: its number, that it succeeded, and the fields of the
// reply.
const std::string succeeded = "0100000001";
const std::string instance = "01000000";
const std::string channels = "0200000002000000";
const std::string latency = "4000000000";
const std::string state = "00000000"
                          "00000000"
                          "00000000"
                          "00000000"
                          "00"
                          "40000000"
                          "000000";
const std::string reply = succeeded + instance + channels + latency + state;
const std::string huge = "ffffff7f";
const std::string negative = "ffffffff";

class HostProtocolTest : public HostTest {
protected:
    plugin_host_host* startStandIn(const OwnSession& session) {
        plugin_host_host* host = nullptr;
        const Outcome outcome = session.startHost(STAND_IN_HOST_EXECUTABLE, &host);
        EXPECT_EQ(outcome.status, PLUGIN_HOST_OK) << outcome.text;
        return host;
    }

    /// The host is dead for each call, once, and can be destroyed.
    void expectDeath(plugin_host_host* host, int32_t signal, int32_t exitStatus) {
        ASSERT_TRUE(record.hears("died"));
        const SessionRecord::Death death = record.getDeaths().front();
        EXPECT_EQ(death.host, host);
        EXPECT_EQ(death.signal, signal) << death.text;
        EXPECT_EQ(death.exitStatus, exitStatus) << death.text;
        EXPECT_EQ(plugin_host_host_ping(host, 0), PLUGIN_HOST_DEAD);
        EXPECT_EQ(plugin_host_host_kill(host), PLUGIN_HOST_DEAD);
        EXPECT_EQ(plugin_host_host_hide_editors(host), PLUGIN_HOST_DEAD);
        EXPECT_EQ(plugin_host_host_destroy(host), PLUGIN_HOST_OK);
        EXPECT_EQ(record.countEvents("died"), 1u);
    }
};

/// What a host writes in the place of an answer, and what becomes of the creation.
struct WrongAnswer {
    const char* name;
    std::string bytes;
    bool takesTheHostAlong;
    /// 0: any failure.
    int32_t status = 0;
};

void PrintTo(const WrongAnswer& answer, std::ostream* stream) {
    *stream << answer.name;
}

class WrongAnswerTest : public HostProtocolTest, public testing::WithParamInterface<WrongAnswer> {};

INSTANTIATE_TEST_SUITE_P(
    OfA, WrongAnswerTest,
    testing::Values(
        WrongAnswer{"WrongId", "63000000" + reply.substr(8), true, PLUGIN_HOST_DEAD},
        WrongAnswer{"WrongType", "00000000ff", true, PLUGIN_HOST_DEAD},
        WrongAnswer{"Failure", "0100000000000000064661696c6564", false, PLUGIN_HOST_REFUSED},
        WrongAnswer{"FailureWithAHugeText", "0100000000" + std::string("7fffffff"), false},
        WrongAnswer{"FailureWithANegativeText", "0100000000" + std::string("ffffffff"), false},
        WrongAnswer{"MissingBlock", reply, false}, WrongAnswer{"Repetition", reply + reply, true},
        WrongAnswer{"LongAnswer", reply + "07000000", true},
        WrongAnswer{"ShortAnswer", reply.substr(0, reply.size() - 10), false, PLUGIN_HOST_TIMED_OUT},
        WrongAnswer{"HugeNumberOfChannels", succeeded + instance + huge + huge + latency + state, false},
        WrongAnswer{"NegativeNumberOfChannels", succeeded + instance + negative + negative + latency + state,
                    false},
        WrongAnswer{"HugeNumberOfBuses", succeeded + instance + channels + latency + huge + state.substr(8),
                    false},
        WrongAnswer{"NegativeNumberOfParameters",
                    succeeded + instance + channels + latency + "0000000000000000" + negative +
                        state.substr(24),
                    false},
        WrongAnswer{"HugeNumberOfParameters",
                    succeeded + instance + channels + latency + "0000000000000000" + huge + state.substr(24),
                    false},
        WrongAnswer{"HugeNumberOfPrograms",
                    succeeded + instance + channels + latency + "000000000000000000000000" + huge +
                        state.substr(32),
                    false},
        WrongAnswer{"WrongInstance", succeeded + "4d000000" + channels + latency + state, false}),
    [](const auto& instantiation) { return std::string(instantiation.param.name); });

TEST_P(WrongAnswerTest, IsAFailureOfTheCreation) {
    const WrongAnswer& answer = GetParam();
    const StandIn standIn("connect read:main:1 write:async-replies:" + answer.bytes);
    const OwnSession session(record);
    plugin_host_host* host = startStandIn(session);
    const Outcome outcome = session.tryPlugin(path, host, answer.takesTheHostAlong ? endlessly : briefly);
    EXPECT_NE(outcome.status, PLUGIN_HOST_OK);
    EXPECT_NE(outcome.text, "");
    if (answer.status != 0) {
        EXPECT_EQ(outcome.status, answer.status) << outcome.text;
    }
    if (answer.takesTheHostAlong) {
        EXPECT_TRUE(record.hears("died"));
    }
    EXPECT_EQ(plugin_host_host_destroy(host), PLUGIN_HOST_OK);
    EXPECT_LE(record.countEvents("died"), 1u);
}

TEST_F(HostProtocolTest, TheTextOfAFailureIsTheHosts) {
    const StandIn standIn("connect read:main:1 write:async-replies:0100000000000000064661696c6564");
    const OwnSession session(record);
    EXPECT_EQ(session.tryPlugin(path, startStandIn(session)).text, "Failed");
}

TEST_F(HostProtocolTest, AnAnswerInTwoPartsIsOne) {
    const StandIn standIn("connect read:main:1 write:async-replies:01000000000000 drained:async-replies "
                          "write:async-replies:00064661696c6564");
    const OwnSession session(record);
    EXPECT_EQ(session.tryPlugin(path, startStandIn(session)).text, "Failed");
}

TEST_F(HostProtocolTest, ALateAnswerIsDroppedAndItsInstanceDestroyed) {
    const TestDirectory directory;
    const std::string late = directory / "late";
    const StandIn standIn("connect read:main:1 exists:" + late + " write:async-replies:" + reply);
    const OwnSession session(record);
    const Outcome outcome = session.tryPlugin(path, startStandIn(session), briefly);
    EXPECT_EQ(outcome.status, PLUGIN_HOST_TIMED_OUT);
    EXPECT_EQ(outcome.text, "Creating \"/p/echo.so\" took too long");
    std::ofstream(late) << "now";
    EXPECT_TRUE(eventually([&] { return standIn.received().ends_with("01010000000d"); }))
        << standIn.received();
    EXPECT_TRUE(record.getEvents().empty());
}

TEST_F(HostProtocolTest, AnAnswerToAPingIsOne) {
    const StandIn standIn("connect read:main:1 write:main:01 read:main:1 write:main:01");
    const OwnSession session(record);
    plugin_host_host* host = startStandIn(session);
    EXPECT_EQ(plugin_host_host_ping(host, endlessly), PLUGIN_HOST_OK);
    EXPECT_EQ(plugin_host_host_ping(host, endlessly), PLUGIN_HOST_OK);
}

TEST_F(HostProtocolTest, AnotherAnswerToAPingEndsTheHost) {
    const StandIn standIn("connect read:main:1 write:main:02 wait");
    const OwnSession session(record);
    plugin_host_host* host = startStandIn(session);
    EXPECT_EQ(plugin_host_host_ping(host, endlessly), PLUGIN_HOST_DEAD);
    expectDeath(host, SIGKILL, -1);
    EXPECT_THAT(record.getLines(PLUGIN_HOST_LOG_LIBRARY), testing::Contains("Unexpected answer to a ping"));
}

TEST_F(HostProtocolTest, MoreAnswersThanPingsAreDropped) {
    const StandIn standIn("connect read:main:1 write:main:010101");
    const OwnSession session(record);
    EXPECT_EQ(plugin_host_host_ping(startStandIn(session), endlessly), PLUGIN_HOST_OK);
}

TEST_F(HostProtocolTest, APingWithoutAnAnswerTimesOut) {
    const StandIn standIn("connect wait");
    SessionOptions options(record);
    options.request_timeout = briefly;
    const OwnSession session(options);
    plugin_host_host* host = startStandIn(session);
    EXPECT_EQ(plugin_host_host_ping(host, 1), PLUGIN_HOST_TIMED_OUT);
    // The session's time for requests.
    EXPECT_EQ(plugin_host_host_ping(host, 0), PLUGIN_HOST_TIMED_OUT);
    EXPECT_EQ(plugin_host_host_kill(host), PLUGIN_HOST_OK);
    expectDeath(host, SIGKILL, -1);
}

TEST_F(HostProtocolTest, AHostThatClosesAPipeIsEnded) {
    for (const char* channel : {"main", "async-replies"}) {
        const StandIn standIn(std::string("connect close:") + channel + " wait");
        SessionRecord own;
        const OwnSession session(own);
        plugin_host_host* host = startStandIn(session);
        EXPECT_TRUE(own.hears("died")) << channel;
        EXPECT_EQ(plugin_host_host_ping(host, 0), PLUGIN_HOST_DEAD);
        ASSERT_EQ(own.getDeaths().size(), 1u);
        EXPECT_EQ(own.getDeaths()[0].signal, SIGKILL);
    }
}

TEST_F(HostProtocolTest, AHostThatEndsInARequestIsReportedWithIt) {
    const StandIn standIn("connect read:main:1 exit:3");
    const OwnSession session(record);
    plugin_host_host* host = startStandIn(session);
    const Outcome outcome = session.tryPlugin(path, host);
    EXPECT_EQ(outcome.status, PLUGIN_HOST_DEAD);
    expectDeath(host, 0, 3);
    const SessionRecord::Death death = record.getDeaths()[0];
    EXPECT_EQ(death.request, "CreatePluginInstance");
    EXPECT_EQ(death.requestPath, path);
    EXPECT_GE(death.requestSeconds, 0);
    EXPECT_EQ(death.blockPlugin, nullptr);
    EXPECT_THAT(death.text,
                HasSubstr("ended with status 3, in the request CreatePluginInstance for /p/echo.so"));
}

TEST_F(HostProtocolTest, AHostThatEndsByItselfIsReportedWithoutARequest) {
    const TestDirectory directory;
    const std::string isUp = directory / "up";
    const StandIn standIn("connect exists:" + isUp + " exit:0");
    const OwnSession session(record);
    plugin_host_host* host = startStandIn(session);
    std::ofstream(isUp) << "yes";
    expectDeath(host, 0, 0);
    EXPECT_EQ(record.getDeaths()[0].request, "");
    EXPECT_EQ(record.getDeaths()[0].text, "Plug-in host ended with status 0");
}

TEST_F(HostProtocolTest, TheOldestRequestThatWasntAnsweredIsReported) {
    // The answers to the pings that follow the requests: the first was done, the second wasn't.
    const StandIn standIn("connect read:main:2 write:main:01 read:main:1 exit:3");
    const OwnSession session(record);
    plugin_host_host* host = startStandIn(session);
    EXPECT_EQ(plugin_host_host_hide_editors(host), PLUGIN_HOST_OK);
    EXPECT_EQ(plugin_host_host_show_editors(host), PLUGIN_HOST_OK);
    EXPECT_EQ(plugin_host_host_ping(host, endlessly), PLUGIN_HOST_DEAD);
    expectDeath(host, 0, 3);
    EXPECT_EQ(record.getDeaths()[0].request, "ShowAllGUIs");
    EXPECT_EQ(record.getDeaths()[0].requestPlugin, nullptr);
    EXPECT_EQ(record.getDeaths()[0].requestPath, "");
}

TEST_F(HostProtocolTest, TheEndOfAHostEndsWhatWaitsForIt) {
    const StandIn standIn("connect wait");
    const OwnSession session(record);
    plugin_host_host* host = startStandIn(session);
    plugin_host_plugin* plugin = session.createLater(path, host);
    plugin_host_status ping = PLUGIN_HOST_OK;
    plugin_host_status created = PLUGIN_HOST_OK;
    std::thread pinging([&] { ping = plugin_host_host_ping(host, endlessly); });
    std::thread creating([&] { created = session.tryPlugin(path, host).status; });
    EXPECT_EQ(plugin_host_host_destroy(host), PLUGIN_HOST_OK);
    pinging.join();
    creating.join();
    // Calls that began behind the end of the host have no handle any more.
    EXPECT_TRUE(ping == PLUGIN_HOST_DEAD || ping == PLUGIN_HOST_INVALID_HANDLE) << ping;
    EXPECT_TRUE(created == PLUGIN_HOST_DEAD || created == PLUGIN_HOST_INVALID_HANDLE) << created;
    EXPECT_TRUE(record.hears("created " + std::to_string(PLUGIN_HOST_DEAD)));
    EXPECT_EQ(plugin_host_plugin_destroy(plugin), PLUGIN_HOST_OK);
    EXPECT_TRUE(record.getDeaths().empty());
}

} // namespace
