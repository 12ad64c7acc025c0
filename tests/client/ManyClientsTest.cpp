// Clients of one user that start at the same moment, each with a host and a plug-in of its own. If these
// fail, an application disturbs another one that the user runs beside it, or what a killed one left.

#include "ClientTest.h"

#include "core/SharedMemory.h"
#include "plugin/Channels.h"
#include "support/ChildProgram.h"
#include "support/TestDirectory.h"

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

using namespace test_support;

namespace {

namespace fs = std::filesystem;

constexpr int clientCount = 8;

// All parts together start fifty times; with a sanitizer, whose hosts take longer, ten times.
constexpr int parts = 5;
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int roundsOfAPart = 2;
#else
constexpr int roundsOfAPart = 10;
#endif

/// A user with no pipes so far.
class ManyClientsTest : public testing::TestWithParam<int> {
protected:
    ManyClientsTest() { fs::remove_all(pipes); }
    ~ManyClientsTest() override {
        std::error_code ignored;
        fs::remove_all(pipes, ignored);
    }

    /// All that there is in the directory of the user's pipes, but directories.
    std::vector<std::string> files() const {
        std::vector<std::string> found;
        if (fs::exists(pipes)) {
            for (const auto& entry : fs::recursive_directory_iterator(pipes)) {
                if (!entry.is_directory())
                    found.push_back(entry.path());
            }
        }
        return found;
    }

    const std::string user = "plugin-host-clients-test-" + std::to_string(getpid());
    const ScopedEnvironment environment{"USER", user.c_str()};
    const std::string pipes = "/tmp/pipes-" + user;
    const TestDirectory directory;
};

std::string outputOf(int client) {
    std::ostringstream text;
    text << "peak " << static_cast<float>(client) / 16 << "\n";
    return text.str();
}

INSTANTIATE_TEST_SUITE_P(Part, ManyClientsTest, testing::Range(0, parts));

TEST_P(ManyClientsTest, OfOneUserThatStartTogetherPlayTheirOwnPlugins) {
    std::vector<std::string> plugins;
    for (int client = 1; client <= clientCount; ++client) {
        plugins.push_back(directory / ("voice-" + std::to_string(client) + ".so"));
        fs::create_symlink(TEST_PLUGIN_DIRECTORY "/plays-its-name.so", plugins.back());
    }
    int played = 0;
    for (int round = 0; round < roundsOfAPart && !HasFailure(); ++round) {
        std::vector<std::unique_ptr<ChildProgram>> clients;
        for (const std::string& plugin : plugins)
            clients.push_back(
                std::make_unique<ChildProgram>(std::vector<std::string>{PLUGIN_HOST_EXECUTABLE, plugin},
                                               ChildProgram::Environment(), "/", SMALLEST_CLIENT_PROGRAM));
        int number = 0;
        for (const auto& client : clients) {
            client->waitForEnd();
            EXPECT_EQ(client->output, outputOf(++number)) << client->error;
            EXPECT_EQ(client->status(), 0) << client->error;
            ++played;
        }
        EXPECT_EQ(files(), std::vector<std::string>()) << "something was left behind";
    }
    EXPECT_EQ(played, roundsOfAPart * clientCount);
}

/// A client that has a host with one instance, until it is killed.
class ShortLivedClient {
public:
    ShortLivedClient() {
        const std::string command = "echo $$; exec " SHORT_LIVED_CLIENT_EXECUTABLE " " PLUGIN_HOST_EXECUTABLE
                                    " " EXAMPLE_PLUGIN_DIRECTORY "/echo.so";
        output = popen(command.c_str(), "r");
        client = readNumber();
        host = readNumber();
    }
    ~ShortLivedClient() { pclose(output); }
    ShortLivedClient(const ShortLivedClient&) = delete;
    ShortLivedClient& operator=(const ShortLivedClient&) = delete;

    /// Returns once neither the client nor its host is there.
    void kill() const {
        ASSERT_GT(client, 0);
        ASSERT_GT(host, 0);
        ::kill(client, SIGKILL);
        EXPECT_TRUE(eventually([&] { return hasEnded(host); }, longBound)) << "the host runs on";
    }

private:
    /// Also when it hasn't been reaped. A process whose first thread has ended may have others, and its
    /// pipes.
    static bool hasEnded(pid_t process) {
        std::error_code ignored;
        const fs::directory_iterator threads("/proc/" + std::to_string(process) + "/task", ignored);
        return isGone(process) || (isZombie(process) && std::distance(begin(threads), end(threads)) <= 1);
    }

    pid_t readNumber() const {
        char line[256];
        while (std::fgets(line, sizeof line, output) != nullptr) {
            if (const int number = std::atoi(line); number > 0)
                return number;
        }
        return 0;
    }

    FILE* output;
    pid_t client;
    pid_t host;
};

using KilledClientTest = ManyClientsTest;

INSTANTIATE_TEST_SUITE_P(Once, KilledClientTest, testing::Values(0));

TEST_P(KilledClientTest, LeavesWhatTheNextClientRemoves) {
    const std::string block = "/dev/shm" + base::core::sharedMemoryName(user.c_str(), audioBlockName(1, 1));
    {
        const ShortLivedClient client;
        client.kill();
    }
    EXPECT_EQ(files().size(), 6u) << "five pipes and a lock";
    EXPECT_TRUE(fs::exists(block));
    const ProgramResult next = runProgram({PLUGIN_HOST_EXECUTABLE, EXAMPLE_PLUGIN_DIRECTORY "/echo.so"}, {},
                                          "/", SMALLEST_CLIENT_PROGRAM);
    EXPECT_EQ(next.status, 0) << next.error;
    EXPECT_EQ(files(), std::vector<std::string>());
    EXPECT_FALSE(fs::exists(block));
    EXPECT_TRUE(fs::exists(pipes + "/tanvex/engine/plugin1"));
    EXPECT_FALSE(fs::exists(pipes + "/tanvex/engine/plugin2")) << "the id wasn't free";
}

} // namespace
