// What a plug-in that dies takes with it: its host, and nothing else. If these fail, a bad plug-in brings
// down the client, leaves it waiting, or litters the machine each time.

#include "ClientTest.h"

#include "client/RemotePluginAudioContextProxy.h"
#include "core/SharedMemory.h"
#include "plugin/Channels.h"
#include "support/Eventually.h"
#include "support/FailureText.h"
#include "support/RealDeaths.h"
#include "support/SleepingThread.h"
#include "support/TurnedClock.h"

#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using namespace std::chrono_literals;
using namespace test_support;

namespace {

class DyingPluginsTest : public ClientTest, public testing::WithParamInterface<const char*> {
protected:
    std::string plugin(const std::string& moment) const { return testPlugin(GetParam() + moment); }

    /// The one death of this test's host has been heard of, and shows.
    void expectDeath(RemotePluginHostProxy& proxy) {
        ASSERT_TRUE(hears(1));
        EXPECT_TRUE(manager->getDeaths().front().onReplyThread);
        EXPECT_EQ(manager->getDeaths().front().proxy, &proxy);
        EXPECT_EQ(occurrences(errorText(), "Plugin host died: "), 1u) << errorText();
        EXPECT_EQ(lossText([&] { proxy.ping(); }), lostText);
        EXPECT_TRUE(eventually([&] { return isZombie(proxy.getChildPid()); })) << "the host runs on";
    }

    /// The proxy goes, and with it all that it had; `TearDown` looks for the rest.
    void drop(Ref<RemotePluginHostProxy>& proxy) {
        const pid_t host = proxy->getChildPid();
        proxy = nullptr;
        EXPECT_TRUE(isGone(host));
        EXPECT_EQ(manager->count(), 1u);
        EXPECT_EQ(manager->countShutdowns(), 0u);
        // A signal is no exit code.
        const bool exits = std::string(GetParam()) == "exits";
        EXPECT_EQ(occurrences(errorText(), "exited with error code: "), exits ? 1u : 0u) << errorText();
        EXPECT_EQ(occurrences(errorText(), "exited with error code: 3\n"), exits ? 1u : 0u) << errorText();
    }

    const RealDeaths realDeaths{};
};

INSTANTIATE_TEST_SUITE_P(APluginThat, DyingPluginsTest, testing::Values("crashes", "aborts", "exits"),
                         [](const auto& instance) { return std::string(instance.param); });

TEST_P(DyingPluginsTest, DiesAtCreateTakesDownItsHostOnly) {
    Ref<RemotePluginHostProxy> proxy = startHost();
    const Ref<ReplyWaiter> created(new ReplyWaiter(*proxy));
    proxy->createPluginInstance(plugin("-at-create").c_str(), "", "", false, nullptr, created);
    EXPECT_EQ(lossText([&] { created->wait(patience); }), lostText);
    expectDeath(*proxy);
    drop(proxy);
}

TEST_P(DyingPluginsTest, DiesInProcessTakesDownItsHostOnly) {
    Ref<RemotePluginHostProxy> proxy = startHost();
    const auto reply = createInstance(*proxy, plugin("-in-process"));
    Ref<RemotePluginAudioContextProxy> context(new RemotePluginAudioContextProxy(proxy, *reply));
    context->startProcessing();
    EXPECT_THROW(context->process(256, true, false), EOSException);
    expectDeath(*proxy);
    EXPECT_THROW(context->process(256, true, false), IOException);
    context = nullptr;
    drop(proxy);
}

TEST_P(DyingPluginsTest, DiesInIdleTakesDownItsHostOnly) {
    Ref<RemotePluginHostProxy> proxy = startHost();
    createInstance(*proxy, plugin("-in-idle"));
    expectDeath(*proxy);
    drop(proxy);
}

TEST_P(DyingPluginsTest, DiesLeavesTheOtherHostsOfTheClientAlone) {
    Ref<RemotePluginHostProxy> other = startHost();
    const auto reply = createInstance(*other, examplePlugin("echo"));
    Ref<RemotePluginHostProxy> proxy = startHost();
    createInstance(*proxy, plugin("-in-idle"));
    expectDeath(*proxy);
    drop(proxy);
    Ref<RemotePluginAudioContextProxy> context(new RemotePluginAudioContextProxy(other, *reply));
    context->startProcessing();
    EXPECT_EQ(context->process(256, true, false), 1);
    context->stopProcessing();
    context->drain();
    other->destroyPluginInstance(reply->instanceId);
    other->ping();
    context = nullptr;
    end(other);
}

/// Knows the thread that it is called on.
class ListenerOfAThread : public RecordingListener {
public:
    std::atomic<pid_t> thread = 0;

protected:
    void add(const std::string& line) override {
        thread = currentThreadId();
        RecordingListener::add(line);
    }
};

class HostLifeTest : public ClientTest {
protected:
    const RealDeaths realDeaths{};
};

TEST_F(HostLifeTest, APluginThatHangsInIdleIsKilledWithItsHostAfterTwoSeconds) {
    Ref<RemotePluginHostProxy> proxy = startHost();
    const pid_t host = proxy->getChildPid();
    const Ref<ListenerOfAThread> listener(new ListenerOfAThread);
    createInstance(*proxy, testPlugin("hangs-in-idle"), "", listener);
    listener->waitForLines(1);
    // A reply thread that isn't in a read yet would see for itself that it is over.
    ASSERT_TRUE(eventually([&] { return isAsleep(listener->thread); }));
    TurnedClock clock;
    std::atomic<bool> isDropped = false;
    std::thread dropping([&] {
        proxy = nullptr;
        isDropped = true;
    });
    EXPECT_EQ(clock.awaitSleeper(), 2s);
    clock.turn(1999ms);
    EXPECT_EQ(clock.awaitSleeper(), 1ms);
    EXPECT_FALSE(isGone(host) || isZombie(host));
    EXPECT_FALSE(isDropped);
    clock.turn(1ms);
    EXPECT_TRUE(eventually([&] { return isDropped.load(); })) << "the host is waited for";
    if (!isDropped)
        kill(host, SIGKILL);
    dropping.join();
    EXPECT_TRUE(isGone(host));
    EXPECT_EQ(manager->count(), 0u);
}

TEST_F(HostLifeTest, TwentyHostsInARowLeaveNothing) {
    for (int i = 0; i < 20; ++i) {
        const Ref<RemotePluginHostProxy> proxy = startHost();
        const auto reply = createInstance(*proxy, examplePlugin("echo"));
        const Ref<RemotePluginAudioContextProxy> context(new RemotePluginAudioContextProxy(proxy, *reply));
        context->startProcessing();
        context->process(256, true, false);
        context->stopProcessing();
        context->drain();
        proxy->destroyPluginInstance(reply->instanceId);
    }
    EXPECT_EQ(manager->count(), 0u);
    EXPECT_EQ(manager->countShutdowns(), 20u);
}

TEST_F(HostLifeTest, AProxyThatIsDroppedWithItsInstancesLeavesNoAudioBlock) {
    const Ref<RemotePluginHostProxy> proxy = startHost();
    createInstance(*proxy, examplePlugin("echo"));
    createInstance(*proxy, examplePlugin("tone"));
    EXPECT_EQ(Footprint::now().audioBlocks.size(), 2u);
}

/// Another client, in a process of its own, which has a host with a plug-in.
class ShortLivedClient {
public:
    ShortLivedClient(const std::string& plugin, bool reports) {
        // Orphans of this client become this process's, so that it sees them end and can reap them.
        prctl(PR_SET_CHILD_SUBREAPER, 1);
        std::array<int, 2> ends{};
        EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
        std::string program = SHORT_LIVED_CLIENT_EXECUTABLE;
        std::string host = PLUGIN_HOST_EXECUTABLE;
        std::string path = plugin;
        std::string wait = "reports";
        char* arguments[] = {program.data(), host.data(), path.data(), reports ? wait.data() : nullptr,
                             nullptr};
        EXPECT_EQ(posix_spawn(&process, program.c_str(), &actions, nullptr, arguments, environ), 0);
        posix_spawn_file_actions_destroy(&actions);
        close(ends[1]);
        const std::unique_ptr<FILE, int (*)(FILE*)> lines(fdopen(ends[0], "r"), std::fclose);
        // The realtime worker of the host speaks on the same stream, to which the client adds a line of its
        // own.
        char text[200];
        while (hostProcess == 0 && std::fgets(text, sizeof text, lines.get()) != nullptr)
            hostProcess = std::atoi(text);
    }

    ~ShortLivedClient() {
        kill(process, SIGKILL);
        waitpid(process, nullptr, 0);
        if (hostProcess > 0 && !reapHost()) {
            kill(hostProcess, SIGKILL);
            waitpid(hostProcess, nullptr, 0);
        }
        prctl(PR_SET_CHILD_SUBREAPER, 0);
        // One that is killed takes nothing away; the next host of its name does.
        std::error_code ignored;
        std::filesystem::remove_all("/tmp/pipes-" + user, ignored);
        base::core::SharedMemory::remove(audioBlockName(1, 1));
    }
    ShortLivedClient(const ShortLivedClient&) = delete;
    ShortLivedClient& operator=(const ShortLivedClient&) = delete;

    /// Returns once it is dead.
    void killNow() const {
        kill(process, SIGKILL);
        siginfo_t end{};
        waitid(P_PID, static_cast<id_t>(process), &end, WEXITED | WNOWAIT);
    }

    pid_t getHost() const { return hostProcess; }
    /// Whether the host has ended within the bound.
    bool reapHost() const {
        return eventually([&] { return waitpid(hostProcess, nullptr, WNOHANG) != 0; });
    }

private:
    const std::string user = std::string(std::getenv("USER")) + "-killed";
    const ScopedEnvironment userVariable{"USER", user.c_str()};
    pid_t process = 0;
    pid_t hostProcess = 0;
};

TEST_F(HostLifeTest, AClientThatIsKilledLeavesNoHost) {
    const ShortLivedClient client(examplePlugin("echo"), false);
    ASSERT_GT(client.getHost(), 0) << errorText();
    ASSERT_EQ(kill(client.getHost(), 0), 0);
    client.killNow();
    EXPECT_TRUE(client.reapHost()) << "the host has outlived its client";
}

TEST_F(HostLifeTest, AClientThatIsKilledLeavesNoHostEvenIfThePluginHangs) {
    const ShortLivedClient client(testPlugin("hangs-in-idle"), true);
    ASSERT_GT(client.getHost(), 0) << errorText();
    ASSERT_EQ(kill(client.getHost(), 0), 0);
    client.killNow();
    EXPECT_TRUE(client.reapHost()) << "the host has outlived its client";
}

} // namespace
