// The log of a session: the lines of its hosts, whole, in order, and never without a bound. If these fail,
// users search in vain for what a plug-in said, or a plug-in that never stops fills the memory of its
// application.

#include "HostTest.h"

#include "support/CapturedOutput.h"
#include "support/TestDirectory.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

using namespace test_support;
using testing::Contains;
using testing::ElementsAre;

namespace {

constexpr size_t mostWaitingLines = 10'000;

class SessionLogTest : public HostTest {
protected:
    /// A host that runs commands of the shell before it comes up.
    plugin_host_host* start(const OwnSession& session, const std::string& commands) {
        const std::string program = directory / "host";
        writeShellProgram(program, commands + "\nexec " STAND_IN_HOST_EXECUTABLE " \"$@\"");
        plugin_host_host* host = nullptr;
        const Outcome outcome = session.startHost(program, &host);
        EXPECT_EQ(outcome.status, PLUGIN_HOST_OK) << outcome.text;
        return host;
    }

    const TestDirectory directory{};
    const StandIn standIn{"connect"};
};

TEST_F(SessionLogTest, HasTheLinesOfBothStreams) {
    const OwnSession session(record);
    plugin_host_host* host = start(session, "echo out; echo err >&2");
    EXPECT_TRUE(eventually([&] { return record.getLines().size() == 2; }));
    EXPECT_THAT(record.getLines(PLUGIN_HOST_LOG_STANDARD_OUTPUT), ElementsAre("out"));
    EXPECT_THAT(record.getLines(PLUGIN_HOST_LOG_STANDARD_ERROR), ElementsAre("err"));
    for (const SessionRecord::Line& line : record.getLines())
        EXPECT_EQ(line.host, host);
}

TEST_F(SessionLogTest, ALineInPiecesIsOne) {
    const OwnSession session(record);
    start(session, "printf 'one '; sleep 0.05; printf 'li'; sleep 0.05; printf 'ne\\n\\ntwo\\n'");
    EXPECT_TRUE(eventually([&] { return record.getLines().size() == 3; }));
    EXPECT_THAT(record.getLines(PLUGIN_HOST_LOG_STANDARD_OUTPUT), ElementsAre("one line", "", "two"));
}

TEST_F(SessionLogTest, ALineWithoutItsEndComesWithTheEndOfTheHost) {
    const OwnSession session(record);
    plugin_host_host* host = start(session, "printf 'no end'; printf 'nor here' >&2");
    EXPECT_EQ(plugin_host_host_destroy(host), PLUGIN_HOST_OK);
    EXPECT_TRUE(eventually([&] { return record.getLines().size() == 2; }));
    EXPECT_THAT(record.getLines(PLUGIN_HOST_LOG_STANDARD_OUTPUT), ElementsAre("no end"));
    EXPECT_THAT(record.getLines(PLUGIN_HOST_LOG_STANDARD_ERROR), ElementsAre("nor here"));
}

TEST_F(SessionLogTest, ALongLineComesInPieces) {
    const OwnSession session(record);
    start(session, "head -c 10000 /dev/zero | tr '\\0' x; echo; echo end");
    EXPECT_TRUE(eventually([&] { return record.getLines().size() == 4; }));
    const std::vector<std::string> lines = record.getLines(PLUGIN_HOST_LOG_STANDARD_OUTPUT);
    std::vector<size_t> sizes;
    for (const std::string& line : lines)
        sizes.push_back(line.size());
    EXPECT_THAT(sizes, ElementsAre(4096u, 4096u, 1808u, 3u));
}

TEST_F(SessionLogTest, AFloodIsBoundedAndCounted) {
    constexpr size_t floodSize = 30'000;
    std::atomic<bool> isReleased{false};
    record.hook = [&](const std::string& event, plugin_host_plugin*) {
        if (event == "line" && !isReleased) {
            EXPECT_TRUE(eventually([&] { return isReleased.load(); }, longBound));
        }
    };
    const OwnSession session(record);
    start(session, "seq " + std::to_string(floodSize));
    isReleased = true;
    // The line about the dropped ones comes even if no other line follows.
    const auto countLines = [&] {
        size_t count = 0;
        for (const SessionRecord::Line& line : record.getLines()) {
            if (line.source == PLUGIN_HOST_LOG_LIBRARY)
                count += static_cast<size_t>(std::stoul(line.text));
            else
                ++count;
        }
        return count;
    };
    EXPECT_TRUE(eventually([&] { return countLines() == floodSize; })) << countLines();
    EXPECT_THAT(record.getLines(PLUGIN_HOST_LOG_LIBRARY),
                Contains(testing::EndsWith(" lines of the log were dropped")));
    EXPECT_LE(record.getLines(PLUGIN_HOST_LOG_STANDARD_OUTPUT).size(), mostWaitingLines + 1);
}

TEST_F(SessionLogTest, AnEndlessFloodHoldsNothingUp) {
    const OwnSession session(record);
    plugin_host_host* host = start(session, "yes flood >&2 &");
    EXPECT_TRUE(eventually([&] { return record.getLines().size() > 100; }));
    plugin_host_host* other = session.startHost();
    EXPECT_EQ(plugin_host_host_ping(other, 0), PLUGIN_HOST_OK);
    EXPECT_EQ(plugin_host_host_kill(other), PLUGIN_HOST_OK);
    EXPECT_TRUE(record.hears("died"));
    EXPECT_EQ(plugin_host_host_destroy(host), PLUGIN_HOST_OK);
}

TEST_F(SessionLogTest, WithoutACallbackLinesGoToStandardError) {
    const CapturedOutput output(STDOUT_FILENO);
    const CapturedOutput errors(STDERR_FILENO);
    SessionOptions options(record);
    options.callbacks = nullptr;
    const OwnSession session(options);
    start(session, "echo words; echo others >&2");
    EXPECT_TRUE(eventually([&] { return errors.text().size() >= 13; }));
    EXPECT_EQ(output.text(), "");
    EXPECT_EQ(occurrences(errors.text(), "words\n"), 1u);
    EXPECT_EQ(occurrences(errors.text(), "others\n"), 1u);
}

/// A standard error stream that takes no more.
class FullErrors {
public:
    FullErrors() : former(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3)) {
        EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
        const int flags = fcntl(ends[1], F_GETFL);
        fcntl(ends[1], F_SETFL, flags | O_NONBLOCK);
        while (write(ends[1], "x", 1) == 1) {
        }
        fcntl(ends[1], F_SETFL, flags);
        dup2(ends[1], STDERR_FILENO);
    }
    ~FullErrors() {
        dup2(former, STDERR_FILENO);
        for (const int descriptor : {former, ends[0], ends[1]})
            close(descriptor);
    }
    FullErrors(const FullErrors&) = delete;
    FullErrors& operator=(const FullErrors&) = delete;

private:
    const int former;
    int ends[2];
};

TEST_F(SessionLogTest, AFullStandardErrorHoldsNothingUp) {
    SessionOptions options(record);
    plugin_host_callbacks callbacks = record.getCallbacks();
    callbacks.log = nullptr;
    options.callbacks = &callbacks;
    const FullErrors errors;
    const OwnSession session(options);
    // A second for each would be longer than the test may take.
    plugin_host_host* host = start(session, "seq 1000");
    EXPECT_EQ(plugin_host_host_kill(host), PLUGIN_HOST_OK);
    EXPECT_TRUE(record.hears("died"));
}

} // namespace
