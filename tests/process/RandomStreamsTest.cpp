// If these fail, a client that is broken, or of another version, can hang a host, or make it end in a way
// that nobody has told of.

#include "process/ProcessTest.h"
#include "process/StreamGenerator.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <sys/wait.h>
#include <vector>

namespace {

constexpr uint32_t groups = 20;
constexpr uint32_t groupSize = 10; // streams
constexpr uint32_t atATime = 5;    // hosts, of which one gets its stream on its worker's pipe
constexpr int bound = 10;          // seconds from the loss of the pipes to the end

/// A directory for hosts to work in, which nothing in a stream can leave.
class WorkingDirectory {
public:
    WorkingDirectory()
        : path(std::filesystem::temp_directory_path() / ("plugin-host-streams-" + std::to_string(getpid()))) {
        std::filesystem::create_directories(path);
    }
    ~WorkingDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    WorkingDirectory(const WorkingDirectory&) = delete;
    WorkingDirectory& operator=(const WorkingDirectory&) = delete;

    const std::filesystem::path path;
};

struct Run {
    uint32_t seed = 0;
    Bytes stream;
    bool forWorker = false;
    bool mayFault = false;
    std::unique_ptr<RawClient> client;

    std::string describe() const {
        return "seed " + std::to_string(seed) + ", the stream " + readable(stream) + "\n" +
               client->standardError();
    }
};

Run makeRun(uint32_t seed, bool nearlyRight, bool forWorker) {
    StreamGenerator generator(seed);
    Run run;
    run.seed = seed;
    run.forWorker = forWorker;
    if (forWorker) {
        run.stream = nearlyRight ? generator.nearlyRightCommands() : generator.randomCommands();
        run.mayFault = namesUnknownInstance(run.stream);
    } else {
        run.stream = nearlyRight ? generator.nearlyRightRequests() : generator.randomRequests();
    }
    return run;
}

void sendStream(Run& run) {
    RawClient& client = *run.client;
    // Else the loss of the pipes comes in the middle.
    const bool waits = run.seed / 2 % 2 != 0;
    if (run.forWorker) {
        createInstance(client, 1, "echo.so");
        client.sendLenientlyToWorker(0, run.stream);
        if (waits)
            client.waitUntilTaken(0);
    } else {
        client.sendLeniently(run.stream);
        if (waits)
            client.waitUntilTaken();
    }
    client.closeAll();
}

void expectDocumentedEnd(Run& run) {
    const int status = run.client->waitForEnd(bound);
    if (WIFSIGNALED(status))
        EXPECT_TRUE(run.mayFault && WTERMSIG(status) == SIGSEGV)
            << "signal " << WTERMSIG(status) << ": " << run.describe();
    else
        EXPECT_TRUE(WEXITSTATUS(status) == 0 || WEXITSTATUS(status) == 255)
            << "status " << WEXITSTATUS(status) << ": " << run.describe();
}

/// A damaged request may have created an instance under any number that stands in it.
void removeBlocks(const Run& run) {
    for (size_t i = 0; i + 4 <= run.stream.size(); ++i) {
        int32_t instanceId = 0;
        std::memcpy(&instanceId, run.stream.data() + i, sizeof instanceId);
        removeBlock(run.client->getHostId(), instanceId);
    }
}

void runGroup(uint32_t group, bool nearlyRight) {
    const WorkingDirectory directory;
    const HostOptions options{.environment = {"LD_LIBRARY_PATH=" EXAMPLE_PLUGIN_DIRECTORY},
                              .diesUnjoined = true,
                              .directory = directory.path,
                              .connects = false};
    const uint32_t firstSeed = (nearlyRight ? 20000 : 10000) + group * groupSize;
    for (uint32_t batch = 0; batch < groupSize; batch += atATime) {
        std::vector<Run> runs;
        for (uint32_t i = 0; i < atATime; ++i) {
            runs.push_back(makeRun(firstSeed + batch + i, nearlyRight, i == batch / atATime % atATime));
            runs.back().client = std::make_unique<RawClient>(options);
        }
        for (Run& run : runs) {
            SCOPED_TRACE("seed " + std::to_string(run.seed));
            run.client->connect();
            sendStream(run);
        }
        for (Run& run : runs) {
            expectDocumentedEnd(run);
            removeBlocks(run);
        }
    }
    // A stream may ask for the one preset that is named in all of them to be saved.
    for (const auto& entry : std::filesystem::directory_iterator(directory.path))
        EXPECT_EQ(entry.path().filename(), "bright.fxp") << "nobody asked a host for this file";
}

class ManyStreams : public testing::TestWithParam<uint32_t> {};

TEST_P(ManyStreams, OfRandomBytesEndInADocumentedStatus) {
    runGroup(GetParam(), false);
}

TEST_P(ManyStreams, ThatAreNearlyRightEndInADocumentedStatus) {
    runGroup(GetParam(), true);
}

INSTANTIATE_TEST_SUITE_P(OfTen, ManyStreams, testing::Range(0U, groups));

TEST(StreamGenerator, GivesTheSameStreamForTheSameSeedAndNeverASeparator) {
    for (uint32_t seed = 0; seed < 1000; ++seed) {
        EXPECT_EQ(StreamGenerator(seed).nearlyRightRequests(), StreamGenerator(seed).nearlyRightRequests());
        for (const Bytes& stream :
             {StreamGenerator(seed).randomRequests(), StreamGenerator(seed).nearlyRightRequests()})
            EXPECT_EQ(std::count(stream.begin(), stream.end(), uint8_t{'/'}), 0);
    }
}

TEST(ManyStreamsUndamaged, AreAnsweredByAHostThatLives) {
    // The streams' own frames are right ones: a host that ended at the first would make the tests above
    // empty.
    const WorkingDirectory directory;
    RawClient client(
        {.environment = {"LD_LIBRARY_PATH=" EXAMPLE_PLUGIN_DIRECTORY}, .directory = directory.path});
    createInstance(client, 1, "echo.so");
    createInstance(client, 2, "trio.so", "1416779120");
    client.send(bytes("0E 01 00 00 00") + bytes("80 00 00 03 00'a' 00 E9 20 AC"));
    client.send(bytes("02 01 00 00 00 01 00 00 00 00 00 00 00 01") + text("Title"));
    client.synchronise();
}

} // namespace
