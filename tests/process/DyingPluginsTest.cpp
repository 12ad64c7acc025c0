// If these fail, a plug-in that dies hangs its host, or ends it in a way that its client doesn't see as a
// death.

#include "process/ProcessTest.h"

#include <csignal>
#include <string>
#include <sys/wait.h>
#include <tuple>

namespace {

enum Place { inEntryPoint = 1, inOpen = 2, inSetProgram = 3, inIdle = 4, inProcess = 5, inClose = 6 };
enum Way { byFault = 1, byAbort = 2, byExit = 3, byThrow = 4 };

std::string expectedEnd(Place place, Way way) {
    switch (way) {
    case byFault:
        return "signal " + std::to_string(SIGSEGV);
    case byAbort:
        return "signal " + std::to_string(SIGABRT);
    case byExit:
        return "status 3";
    case byThrow:
        // Nothing catches on a worker; the main loop's end is told by a status of its own.
        return place == inProcess ? "signal " + std::to_string(SIGABRT) : "status 255";
    }
    return "";
}

std::string end(RawClient& client) {
    const int status = client.waitForEnd();
    return WIFSIGNALED(status) ? "signal " + std::to_string(WTERMSIG(status))
                               : "status " + std::to_string(WEXITSTATUS(status));
}

void provoke(RawClient& client, Place place, Way way) {
    client.send(
        createFrame(1, 1, TEST_PLUGIN_DIRECTORY "/dies-when-asked.so", std::to_string(place * 10 + way)));
    switch (place) {
    case inEntryPoint:
    case inOpen:
        break;
    case inSetProgram:
    case inIdle:
        client.send(setProgramFrame(1, 0));
        break;
    case inProcess:
        EXPECT_EQ(readable(client.readAsync(5)), "01 00 00 00 01 ");
        client.sendToWorker(0, bytes("00 01 00 00 00") + bytes("02 01 00 00 00 00 01 00 00 01 01"));
        break;
    case inClose:
        client.send(destroyFrame(1));
        break;
    }
}

class DyingPlugin : public testing::TestWithParam<std::tuple<Place, Way>> {};

TEST_P(DyingPlugin, EndsItsHostAndTheClientSeesTheEndOfEveryStream) {
    const auto [place, way] = GetParam();
    RawClient client({.diesUnjoined = true});
    provoke(client, place, way);
    EXPECT_EQ(end(client), expectedEnd(place, way)) << client.standardError();
    EXPECT_TRUE(client.mainEnds());
    EXPECT_TRUE(client.workerEnds(0));
}

std::string nameOf(const testing::TestParamInfo<std::tuple<Place, Way>>& death) {
    constexpr const char* places[] = {"",       "InEntryPoint", "InOpen", "InSetProgram",
                                      "InIdle", "InProcess",    "InClose"};
    constexpr const char* ways[] = {"", "ByFault", "ByAbort", "ByExit", "ByThrow"};
    return std::string(places[std::get<0>(death.param)]) + ways[std::get<1>(death.param)];
}

INSTANTIATE_TEST_SUITE_P(Everywhere, DyingPlugin,
                         testing::Combine(testing::Values(inEntryPoint, inOpen, inSetProgram, inIdle,
                                                          inProcess, inClose),
                                          testing::Values(byFault, byAbort, byExit, byThrow)),
                         nameOf);

TEST(DyingPlugins, TakeDownTheirOwnHostOnly) {
    RawClient other;
    createInstance(other, 1, trioPath, upsideDownIdentifier);
    RawBlock block(other.getHostId(), 1, 2, 2, 0);
    other.sendToWorker(0, bytes("00 01 00 00 00"));
    block.setInput(0, {1.0F});
    {
        RawClient client({.diesUnjoined = true});
        provoke(client, inProcess, byFault);
        EXPECT_EQ(end(client), expectedEnd(inProcess, byFault));
        other.process(0, 1, 256);
        EXPECT_EQ(block.output(0, 1)[0], -1.0F);
    }
    other.process(0, 1, 256);
    other.synchronise();
    EXPECT_TRUE(blockExists(other.getHostId(), 1));
}

} // namespace
