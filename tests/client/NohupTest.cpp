// A client under nohup, which ignores SIGHUP as its children would: if these fail, a host that is stuck
// outlives it for good.

#include "plugin/Channels.h"

#include "core/SharedMemory.h"
#include "support/Eventually.h"
#include "support/ScopedEnvironment.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <spawn.h>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace test_support;

namespace {

/// A client in a process of its own that nohup has started and that blocks SIGHUP too, with a host whose
/// plug-in hangs.
class ClientUnderNohup {
public:
    ClientUnderNohup() {
        // Orphans of this client become this process's, so that it sees them end and can reap them.
        prctl(PR_SET_CHILD_SUBREAPER, 1);
        int ends[2];
        EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
        posix_spawnattr_t attributes;
        posix_spawnattr_init(&attributes);
        sigset_t hangUp;
        sigemptyset(&hangUp);
        sigaddset(&hangUp, SIGHUP);
        posix_spawnattr_setsigmask(&attributes, &hangUp);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
        std::string words[] = {"nohup", SHORT_LIVED_CLIENT_EXECUTABLE, PLUGIN_HOST_EXECUTABLE,
                               TEST_PLUGIN_DIRECTORY "/hangs-in-idle.so", "reports"};
        char* arguments[] = {words[0].data(), words[1].data(), words[2].data(),
                             words[3].data(), words[4].data(), nullptr};
        EXPECT_EQ(posix_spawnp(&process, "nohup", &actions, &attributes, arguments, environ), 0);
        posix_spawnattr_destroy(&attributes);
        posix_spawn_file_actions_destroy(&actions);
        close(ends[1]);
        const std::unique_ptr<FILE, int (*)(FILE*)> lines(fdopen(ends[0], "r"), std::fclose);
        char text[200];
        while (host == 0 && std::fgets(text, sizeof text, lines.get()) != nullptr)
            host = std::atoi(text);
    }

    ~ClientUnderNohup() {
        end();
        if (host > 0 && !hostEnded) {
            kill(host, SIGKILL);
            waitpid(host, nullptr, 0);
        }
        prctl(PR_SET_CHILD_SUBREAPER, 0);
        std::error_code ignored;
        std::filesystem::remove_all("/tmp/pipes-" + user, ignored);
        base::core::SharedMemory::remove(audioBlockName(1, 1));
    }
    ClientUnderNohup(const ClientUnderNohup&) = delete;
    ClientUnderNohup& operator=(const ClientUnderNohup&) = delete;

    /// Returns once it is dead.
    void end() {
        if (process > 0) {
            kill(process, SIGKILL);
            waitpid(process, nullptr, 0);
        }
        process = 0;
    }

    pid_t getHost() const { return host; }
    /// The status of the host once it has ended, within the bound.
    int awaitHost() {
        int status = 0;
        hostEnded = eventually([&] { return waitpid(host, &status, WNOHANG) != 0; });
        return status;
    }

private:
    const std::string user = std::string(std::getenv("USER")) + "-nohup";
    const ScopedEnvironment userVariable{"USER", user.c_str()};
    pid_t process = 0;
    pid_t host = 0;
    bool hostEnded = false;
};

TEST(NohupTest, AHostThatIsStuckEndsWithItsClient) {
    ClientUnderNohup client;
    ASSERT_GT(client.getHost(), 0);
    ASSERT_EQ(kill(client.getHost(), 0), 0);
    client.end();
    const int status = client.awaitHost();
    EXPECT_TRUE(WIFSIGNALED(status)) << "the host has outlived its client";
    EXPECT_EQ(WTERMSIG(status), SIGHUP);
}

} // namespace
