// If these fail, hosts stay behind when their client is gone, end without their client's leave, or end in a
// way that the client takes for something else.

#include "process/ProcessTest.h"

#include <csignal>
#include <cstdlib>
#include <sstream>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int endedByException = 255;

testing::AssertionResult exitsWith(int expected, RawClient& client) {
    const int status = client.waitForEnd();
    if (WIFEXITED(status) && WEXITSTATUS(status) == expected)
        return testing::AssertionSuccess();
    return testing::AssertionFailure()
           << (WIFSIGNALED(status) ? "signal " + std::to_string(WTERMSIG(status))
                                   : "status " + std::to_string(WEXITSTATUS(status)))
           << "; " << client.standardError();
}

/// What the host wrote, but for the lines that starting threads write where the machine denies a priority.
std::string errorsBesidePriorities(const RawClient& client) {
    std::istringstream lines(client.standardError());
    std::string result;
    std::string line;
    while (std::getline(lines, line)) {
        if (!line.starts_with("Error setting ") && !line.starts_with("Error adjusting "))
            result += line + "\n";
    }
    return result;
}

int countLines(const std::string& text, const std::string& start) {
    std::istringstream lines(text);
    std::string line;
    int count = 0;
    while (std::getline(lines, line))
        count += line.starts_with(start) ? 1 : 0;
    return count;
}

TEST(HostShutdown, ByRequestJoinsAllThreadsThoughTheClientKeepsItsPipesOpen) {
    RawClient client({.workers = 2});
    createInstance(client, 1, echoPath);
    client.process(1, 1, 256);
    client.waitUntilWorkersRest();
    client.send(bytes("0C"));
    EXPECT_TRUE(exitsWith(0, client));
    // Each worker wrote its line, so each had left its read before the process went.
    const std::string errors = errorsBesidePriorities(client);
    EXPECT_EQ(countLines(errors, "Lost connection on audio thread: "), 2) << errors;
    EXPECT_EQ(countLines(errors, ""), 2) << errors;
}

TEST(HostShutdown, ByRequestEndsEveryStreamForTheClient) {
    RawClient client;
    client.send(bytes("0C"));
    EXPECT_TRUE(client.mainEnds());
    EXPECT_TRUE(client.workerEnds(0));
    EXPECT_TRUE(exitsWith(0, client));
}

TEST(HostShutdown, LeavesNoThreadOnAPipeBesideTheDestructorsOfThePlugins) {
    RawClient client({.workers = 2});
    createInstance(client, 1, TEST_PLUGIN_DIRECTORY "/lists-threads-at-exit.so");
    client.waitUntilWorkersRest();
    client.send(bytes("0C"));
    EXPECT_TRUE(exitsWith(0, client));
    EXPECT_NE(errorsBesidePriorities(client).find("At the exit: none\n"), std::string::npos)
        << errorsBesidePriorities(client);
}

TEST(HostShutdown, FollowsTheLossOfTheMainPipe) {
    RawClient client;
    createInstance(client, 1, echoPath);
    client.waitUntilWorkersRest();
    client.closeMain();
    EXPECT_TRUE(exitsWith(0, client));
    EXPECT_EQ(countLines(errorsBesidePriorities(client), "Lost connection on audio thread: "), 1);
    EXPECT_EQ(countLines(errorsBesidePriorities(client), ""), 1);
}

TEST(HostShutdown, FollowsTheLossOfAllPipes) {
    RawClient client({.workers = 2});
    createInstance(client, 1, echoPath);
    client.closeAll();
    EXPECT_TRUE(exitsWith(0, client));
}

TEST(HostShutdown, FollowsARequestOfAnUnknownTypeWithoutAWord) {
    for (const char* type : {"C8", "10"}) {
        RawClient client({.workers = 0});
        client.synchronise();
        client.send(bytes(type));
        EXPECT_TRUE(exitsWith(0, client)) << type;
        EXPECT_EQ(errorsBesidePriorities(client), "") << type;
    }
    RawClient client;
    client.waitUntilWorkersRest();
    client.send(bytes("C8"));
    EXPECT_TRUE(exitsWith(0, client));
    EXPECT_EQ(countLines(errorsBesidePriorities(client), "Lost connection on audio thread: "), 1);
    EXPECT_EQ(countLines(errorsBesidePriorities(client), ""), 1);
}

TEST(HostShutdown, DoesWhatWasAskedForBeforeAnUnknownType) {
    RawClient client;
    client.send(createFrame(9, 3, echoPath) + bytes("C8"));
    expectAsync(client,
                bytes("09 00 00 00 01 03 00 00 00 02 00 00 00 02 00 00 00 00 00 00 00 01") + echoState);
    EXPECT_TRUE(exitsWith(0, client));
}

TEST(HostShutdown, FollowsAFlagThatIsNeitherZeroNorOne) {
    RawClient client;
    Bytes frame = createFrame(1, 1, echoPath);
    frame.back() = 2;
    client.send(frame);
    EXPECT_TRUE(exitsWith(0, client));
    EXPECT_FALSE(blockExists(client.getHostId(), 1));
}

TEST(HostShutdown, FollowsAFrameThatEndsInTheMiddle) {
    RawClient client;
    Bytes frame = createFrame(1, 1, echoPath);
    frame.resize(frame.size() / 2);
    client.send(frame);
    client.closeMain();
    EXPECT_TRUE(exitsWith(0, client));
}

TEST(HostShutdown, FollowsATextOfAnImpossibleLength) {
    RawClient client;
    client.send(bytes("00 01 00 00 00 01 00 00 00 7F FF FF FF 'abc'"));
    client.closeMain();
    EXPECT_TRUE(exitsWith(0, client));
}

TEST(HostShutdown, DoesNotTellThePlugins) {
    // This one aborts when it is closed.
    RawClient client;
    createInstance(client, 1, TEST_PLUGIN_DIRECTORY "/dies-when-asked.so", "62");
    client.send(bytes("0C"));
    EXPECT_TRUE(exitsWith(0, client));
}

TEST(HostShutdown, LeavesNoBlockOfADestroyedInstance) {
    RawClient client;
    createInstance(client, 1, echoPath);
    createInstance(client, 2, tonePath);
    client.send(destroyFrame(1) + destroyFrame(2) + bytes("0C"));
    EXPECT_TRUE(exitsWith(0, client));
    EXPECT_FALSE(blockExists(client.getHostId(), 1));
    EXPECT_FALSE(blockExists(client.getHostId(), 2));
}

TEST(HostShutdown, FollowsTheDeathOfAClientThatIsKilled) {
    // The orphan comes to this process, which can then see how it ended.
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    int report[2];
    ASSERT_EQ(pipe(report), 0);
    struct Started {
        pid_t process;
        int32_t hostId;
    };
    const pid_t killed = fork();
    if (killed == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        try {
            RawClient client({.diesWithClient = false});
            createInstance(client, 1, echoPath);
            const Started started{client.getHostProcess(), client.getHostId()};
            if (write(report[1], &started, sizeof started) == sizeof started)
                pause();
        } catch (const std::exception&) {
            // The other side sees that nothing was reported.
        }
        _exit(1);
    }
    close(report[1]);
    Started host{};
    EXPECT_EQ(read(report[0], &host, sizeof host), static_cast<ssize_t>(sizeof host));
    close(report[0]);
    kill(killed, SIGKILL);
    waitpid(killed, nullptr, 0);
    ASSERT_NE(host.process, 0);
    int status = -1;
    try {
        waitUntil("the end of the host",
                  [&] { return waitpid(host.process, &status, WNOHANG) == host.process; });
    } catch (...) {
        kill(host.process, SIGKILL);
        waitpid(host.process, nullptr, 0);
        removeBlocks(host.hostId);
        throw;
    }
    removeBlocks(host.hostId);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

TEST(HostDeath, IsSilentWithStatus255WhenANotificationHasNowhereToGo) {
    RawClient client;
    createInstance(client, 1, reportsPath);
    client.closeAsync();
    client.send(setProgramFrame(1, 1));
    EXPECT_TRUE(exitsWith(endedByException, client));
    EXPECT_EQ(errorsBesidePriorities(client), "");
}

TEST(HostDeath, IsSilentWithStatus255WhenAnAsynchronousReplyHasNowhereToGo) {
    RawClient client;
    client.synchronise();
    client.closeAsync();
    client.send(createFrame(1, 1, "/nowhere"));
    EXPECT_TRUE(exitsWith(endedByException, client));
    EXPECT_EQ(errorsBesidePriorities(client), "");
}

TEST(HostDeath, IsSilentWithStatus255WhenAPingsAnswerHasNowhereToGo) {
    RawClient client;
    client.synchronise();
    client.closeMainReplies();
    client.send(bytes("0D"));
    EXPECT_TRUE(exitsWith(endedByException, client));
    EXPECT_EQ(errorsBesidePriorities(client), "");
}

TEST(HostDeath, IsTheOnlyEndOfAHostThatIsStuckInAReplyAndComesWithTheEndOfThatPipe) {
    RawClient client;
    createInstance(client, 1, echoPath);
    // Replies of many times what a pipe holds.
    for (int i = 0; i < 4000; ++i)
        client.send(updateIoFrame(1, 1));
    client.send(bytes("0C"));
    client.closeMain();
    // With either of the two acted on, the status were 0.
    client.closeAsync();
    EXPECT_TRUE(exitsWith(endedByException, client));
}

TEST(HostDeath, IsSilentWithStatus255WhenAPluginsTextIsNoUtf8) {
    RawClient client;
    client.send(createFrame(1, 1, TEST_PLUGIN_DIRECTORY "/parameter-name-not-utf8.so"));
    EXPECT_TRUE(exitsWith(endedByException, client));
    EXPECT_EQ(errorsBesidePriorities(client), "");
}

TEST(HostStart, WithANumberThatIsNoneEndsThroughTheRuntime) {
    RawClient client({.sampleRate = "fast", .diesUnjoined = true, .connects = false});
    const int status = client.waitForEnd();
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT) << status;
}

TEST(HostStart, WithoutADisplayEndsWithStatusOne) {
    RawClient client({.environment = {"DISPLAY="}, .connects = false});
    EXPECT_TRUE(exitsWith(1, client));
    EXPECT_EQ(client.standardError(), "Could not open display\n");
}

} // namespace
