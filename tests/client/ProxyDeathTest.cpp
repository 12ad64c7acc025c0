// How a client notices that its host is gone, and how it lets go of one. If these fail, clients hang on dead
// hosts, tell their users twice or not at all, or leave processes and pipes behind.

#include "ClientTest.h"

#include "core/NamedPipe.h"
#include "plugin/Channels.h"
#include "support/Eventually.h"
#include "support/FailureText.h"
#include "support/SleepingThread.h"

#include <atomic>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/wait.h>
#include <thread>

using namespace test_support;

namespace {

constexpr const char* diedText = "Plugin host died: ";
// A begin of an edit of parameter 7 of instance 1.
constexpr const char* editFrame = "00000000"
                                  "03"
                                  "01000000"
                                  "07000000"
                                  "01";

class ProxyDeathTest : public ClientTest {
protected:
    /// The id that the next proxy of this process will have.
    static int32_t nextHostId() {
        const StandIn standIn("connect");
        return startStandIn()->getHostId() + 1;
    }
};

TEST_F(ProxyDeathTest, TwoThreadsThatSeeADeadHostAtOnceTellOfItOnce) {
    const StandIn standIn("connect read:main:1 exit:0");
    constexpr size_t rounds = 20;
    for (size_t round = 1; round <= rounds; ++round) {
        const Ref<RemotePluginHostProxy> proxy = startStandIn();
        EXPECT_EQ(lossText([&] { proxy->ping(); }), lostText);
        ASSERT_TRUE(hears(round));
    }
    EXPECT_EQ(manager->count(), rounds);
    EXPECT_EQ(occurrences(errorText(), diedText), rounds);
}

TEST_F(ProxyDeathTest, ADeathBetweenTwoCallsIsFoundByTheThreadThatReadsReplies) {
    const StandIn standIn("connect read:main:1 exit:0");
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    proxy->showAllGUIs();
    ASSERT_TRUE(hears(1));
    const RecordingManager::Death death = manager->getDeaths().front();
    EXPECT_EQ(death.proxy, proxy.get());
    EXPECT_TRUE(death.onReplyThread);
    EXPECT_TRUE(proxy->isClosed());
    EXPECT_EQ(errorText(), diedText + death.message + "\n");
}

TEST_F(ProxyDeathTest, ADeathThatACallMeetsFirstIsToldByThatCall) {
    // The asynchronous channel stays open, so that only the call can see it.
    const StandIn standIn("connect read:main:1 close:main wait");
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    EXPECT_EQ(lossText([&] { proxy->ping(); }), lostText);
    ASSERT_EQ(manager->count(), 1u);
    EXPECT_FALSE(manager->getDeaths().front().onReplyThread);
    EXPECT_EQ(occurrences(errorText(), diedText), 1u);
}

TEST_F(ProxyDeathTest, AWriteToAHostThatNoLongerReadsIsAFailureAndNoSignal) {
    const StandIn standIn(std::string("connect read:main:22 close:main write:async-replies:") + editFrame +
                          " wait");
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    const Ref<RecordingListener> listener(new RecordingListener);
    proxy->createPluginInstance("", "", "", false, listener, nullptr);
    listener->waitForLines(1);
    EXPECT_EQ(lossText([&] { proxy->showAllGUIs(); }), lostText);
    ASSERT_EQ(manager->count(), 1u);
    EXPECT_FALSE(manager->getDeaths().front().onReplyThread);
}

TEST_F(ProxyDeathTest, AHostThatDiesWhileTheClientIsWritingIsToldOnce) {
    const StandIn standIn("connect read:main:50 exit:0");
    constexpr size_t rounds = 10;
    for (size_t round = 1; round <= rounds; ++round) {
        const Ref<RemotePluginHostProxy> proxy = startStandIn();
        size_t requests = 0;
        EXPECT_EQ(lossText([&] {
                      for (;; ++requests)
                          proxy->setWindowTitle(
                              1, "A text of some length, so that there is something to write.");
                  }),
                  lostText);
        EXPECT_GT(requests, 0u);
        ASSERT_TRUE(hears(round));
    }
    EXPECT_EQ(manager->count(), rounds);
    EXPECT_EQ(occurrences(errorText(), diedText), rounds);
}

TEST_F(ProxyDeathTest, ACallThatIsWritingDuringTheDeathClosesThePipeWhenItIsDone) {
    const std::string told = std::string("/tmp/") + std::getenv("USER") + "-told";
    // The call writes more than the pipe holds. Its host then waits for the end of what it reads.
    const StandIn standIn("connect read:main:1 close:async-replies exists:" + told);
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    std::string text;
    std::thread writing(
        [&] { text = lossText([&] { proxy->setWindowTitle(1, std::string(1 << 20, 'x').c_str()); }); });
    EXPECT_TRUE(hears(1));
    std::ofstream(told) << "told";
    writing.join();
    EXPECT_EQ(text, "no failure");
    EXPECT_TRUE(eventually([&] { return isZombie(proxy->getChildPid()); })) << "the pipe stays open";
    std::filesystem::remove(told);
}

TEST_F(ProxyDeathTest, AHostThatIsNoLongerThereIsNotAbandoned) {
    // The system reaps it.
    const auto former = std::signal(SIGCHLD, SIG_IGN);
    const StandIn standIn("connect read:main:1 exit:0");
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    const std::string process = "/proc/" + std::to_string(proxy->getChildPid());
    proxy->showAllGUIs();
    ASSERT_TRUE(eventually([&] { return !std::filesystem::exists(process); }));
    EXPECT_FALSE(proxy->abandon());
    std::signal(SIGCHLD, former);
}

TEST_F(ProxyDeathTest, EveryCallAfterTheDeathFailsWithTheSameWordsAndNobodyIsToldAgain) {
    const StandIn standIn("connect read:main:1 exit:0");
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    proxy->showAllGUIs();
    ASSERT_TRUE(hears(1));
    EXPECT_EQ(lossText([&] { proxy->ping(); }), lostText);
    EXPECT_EQ(lossText([&] { proxy->showAllGUIs(); }), lostText);
    EXPECT_EQ(lossText([&] { proxy->updateIO(1, nullptr); }), lostText);
    EXPECT_EQ(lossText([&] { proxy->createPluginInstance("", "", "", false, nullptr, nullptr); }), lostText);
    proxy->shutdown();
    EXPECT_EQ(manager->count(), 1u);
    EXPECT_EQ(manager->countShutdowns(), 0u);
    EXPECT_EQ(occurrences(errorText(), diedText), 1u);
}

TEST_F(ProxyDeathTest, WithoutAManagerADeathIsStillToldOnTheStandardErrorStream) {
    RemotePluginHostProxy::setManager(nullptr);
    const StandIn standIn("connect read:main:1 exit:0");
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    EXPECT_EQ(lossText([&] { proxy->ping(); }), lostText);
    EXPECT_TRUE(eventually([&] { return occurrences(errorText(), diedText) == 1; })) << errorText();
}

TEST_F(ProxyDeathTest, TheDeathFailsEveryoneWhoWaitsForAReply) {
    const StandIn standIn("connect read:main:18 exit:0");
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    const Ref<ReplyWaiter> first(new ReplyWaiter(*proxy));
    const Ref<ReplyWaiter> second(new ReplyWaiter(*proxy));
    proxy->updateIO(1, first);
    proxy->updateIO(2, second);
    EXPECT_EQ(lossText([&] { first->wait(patience); }), lostText);
    EXPECT_EQ(lossText([&] { second->wait(patience); }), lostText);
    ASSERT_TRUE(hears(1));
    // One that comes too late to be told looks for itself.
    const Ref<ReplyWaiter> late(new ReplyWaiter(*proxy));
    EXPECT_EQ(lossText([&] { late->wait(patience); }), lostText);
}

TEST_F(ProxyDeathTest, AShutdownFailsEveryoneWhoWaitsForAReply) {
    const StandIn standIn("connect");
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    const Ref<ReplyWaiter> waiter(new ReplyWaiter(*proxy));
    proxy->updateIO(1, waiter);
    std::atomic<pid_t> threadId = 0;
    std::string text;
    std::atomic<bool> isOver = false;
    std::thread waiting([&] {
        threadId = currentThreadId();
        text = lossText([&] { waiter->wait(2 * patience); });
        isOver = true;
    });
    EXPECT_TRUE(eventually([&] { return threadId != 0 && isAsleep(threadId); }));
    proxy->shutdown();
    EXPECT_TRUE(eventually([&] { return isOver.load(); })) << "the waiter sleeps on";
    waiting.join();
    EXPECT_EQ(text, lostText);
}

TEST_F(ProxyDeathTest, AWaiterGivesUpOnAHostThatDoesNotAnswer) {
    const StandIn standIn("connect");
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    const Ref<ReplyWaiter> waiter(new ReplyWaiter(*proxy));
    proxy->updateIO(1, waiter);
    EXPECT_EQ(lossText([&] { waiter->wait(0.05); }), "Plug-in host process gave no answer in time");
    EXPECT_FALSE(proxy->isClosed());
}

TEST_F(ProxyDeathTest, TheEndOfAHostThatWasAskedToEndIsNobodysDeath) {
    const Ref<RemotePluginHostProxy> proxy = startHost();
    proxy->ping();
    proxy->shutdown();
    EXPECT_TRUE(proxy->isClosed());
    EXPECT_EQ(manager->countShutdowns(), 1u);
    EXPECT_EQ(lossText([&] { proxy->ping(); }), lostText);
    proxy->shutdown();
    EXPECT_EQ(manager->countShutdowns(), 1u);
    EXPECT_EQ(manager->count(), 0u);
    EXPECT_EQ(occurrences(errorText(), diedText), 0u);
}

TEST_F(ProxyDeathTest, AHostThatIsAskedToEndDoesSoByItselfWithStatusZero) {
    Ref<RemotePluginHostProxy> proxy = startHost();
    const pid_t host = proxy->getChildPid();
    proxy->shutdown();
    EXPECT_TRUE(eventually([&] { return isZombie(host); })) << "the host runs on";
    proxy = nullptr;
    EXPECT_TRUE(isGone(host));
    EXPECT_EQ(occurrences(errorText(), "exited with error code"), 0u) << errorText();
}

TEST_F(ProxyDeathTest, DroppingTheProxyShutsTheHostDownAndReapsIt) {
    Ref<RemotePluginHostProxy> proxy = startHost();
    const pid_t host = proxy->getChildPid();
    proxy = nullptr;
    EXPECT_TRUE(isGone(host));
    EXPECT_EQ(manager->countShutdowns(), 1u);
    EXPECT_EQ(manager->count(), 0u);
}

TEST_F(ProxyDeathTest, AHostThatASignalKillsReportsNoExitCode) {
    Ref<RemotePluginHostProxy> proxy = startHost();
    kill(proxy->getChildPid(), SIGKILL);
    ASSERT_TRUE(hears(1));
    proxy = nullptr;
    EXPECT_EQ(occurrences(errorText(), "exited with error code"), 0u) << errorText();
}

TEST_F(ProxyDeathTest, AHostThatLeftWithAStatusHasItToldWhenTheProxyGoes) {
    const StandIn standIn("connect read:main:1 exit:7");
    Ref<RemotePluginHostProxy> proxy = startStandIn();
    const pid_t host = proxy->getChildPid();
    proxy->showAllGUIs();
    ASSERT_TRUE(hears(1));
    ASSERT_TRUE(eventually([&] { return isZombie(host); }));
    proxy = nullptr;
    EXPECT_EQ(occurrences(errorText(),
                          "Child process with PID " + std::to_string(host) + " exited with error code: 7\n"),
              1u)
        << errorText();
}

TEST_F(ProxyDeathTest, AShutdownOfAHostThatHasJustGoneFailsAndIsNobodysDeath) {
    // The asynchronous channel stays open, so that nobody has noticed yet.
    const StandIn standIn(std::string("connect read:main:22 close:main write:async-replies:") + editFrame +
                          " wait");
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    const Ref<RecordingListener> listener(new RecordingListener);
    proxy->createPluginInstance("", "", "", false, listener, nullptr);
    listener->waitForLines(1);
    EXPECT_THROW(proxy->shutdown(), IOException);
    EXPECT_TRUE(proxy->isClosed());
    EXPECT_EQ(manager->count(), 0u);
}

TEST_F(ProxyDeathTest, AShutdownDropsAllThatIsPendingAndAllInstances) {
    const StandIn standIn("connect");
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    std::atomic<int> deaths = 0;
    const int32_t id = proxy->createPluginInstance("", "", "", false, nullptr,
                                                   Ref<MortalHandler>(new MortalHandler(deaths)));
    proxy->updateIO(id, Ref<MortalHandler>(new MortalHandler(deaths)));
    EXPECT_EQ(deaths, 0);
    proxy->shutdown();
    EXPECT_EQ(deaths, 2);
    EXPECT_FALSE(proxy->findInstance(id));
}

TEST_F(ProxyDeathTest, TheHostEndsWithTheThreadThatMadeItsProxy) {
    Ref<RemotePluginHostProxy> proxy;
    std::thread([&] { proxy = startHost(); }).join();
    EXPECT_TRUE(hears(1));
    EXPECT_TRUE(eventually([&] { return isZombie(proxy->getChildPid()); }));
}

TEST_F(ProxyDeathTest, APipeThatCannotBeMadeIsAFailureOfTheConstructorThatLeavesNothing) {
    const std::string user = std::string(std::getenv("USER")) + "-without-pipes";
    const std::string inTheWay = "/tmp/pipes-" + user;
    std::ofstream(inTheWay) << "no directory";
    {
        const ScopedEnvironment other("USER", user.c_str());
        const std::string text = lossText([] { startHost(); });
        EXPECT_EQ(text.rfind("Could not create directory structure for named pipe: ", 0), 0u) << text;
    }
    std::filesystem::remove(inTheWay);
}

TEST_F(ProxyDeathTest, AWorkerPipeThatCannotBeOpenedIsAFailureOfTheConstructorThatLeavesNothing) {
    const StandIn standIn("open:main remove:worker0 open:async-replies wait");
    const std::string text = lossText([] { startStandIn(); });
    EXPECT_EQ(text.rfind("Could not open named pipe \"/tmp/pipes-", 0), 0u) << text;
    EXPECT_EQ(occurrences(text, "worker0-to-client\": No such file or directory"), 1u) << text;
    EXPECT_EQ(manager->count(), 0u);
    EXPECT_EQ(occurrences(errorText(), diedText), 0u);
}

/// Makes a proxy on a thread of its own, since that may never return, and can take the place of a host that
/// is gone.
class HungStart {
public:
    HungStart(int32_t hostId, const char* executable)
        : hostId(hostId), thread([this, executable] { begin(executable); }) {}
    ~HungStart() { thread.join(); }
    HungStart(const HungStart&) = delete;
    HungStart& operator=(const HungStart&) = delete;

    bool isWaiting() const { return !returned && threadId != 0 && isAsleep(threadId); }

    /// Opens the host's ends of the pipes until the constructor returns, and closes them again.
    Ref<RemotePluginHostProxy> rescue() {
        std::vector<int> ends;
        const auto openEnd = [&](const String& channel, bool toClient, int direction) {
            const std::string path = base::core::namedPipePath(channel, toClient).toStdString();
            if (const int end = open(path.c_str(), direction | O_NONBLOCK | O_CLOEXEC); end >= 0)
                ends.push_back(end);
        };
        const bool opened = eventually([&] {
            for (const String& channel :
                 {mainChannelName(hostId), asyncChannelName(hostId), workerChannelName(hostId, 0)}) {
                openEnd(channel, true, O_RDONLY);
                openEnd(channel, false, O_WRONLY);
            }
            return returned.load();
        });
        EXPECT_TRUE(opened) << "the constructor waits on";
        for (const int end : ends)
            close(end);
        return opened ? proxy : nullptr;
    }

private:
    void begin(const char* executable) {
        threadId = currentThreadId();
        proxy = new RemotePluginHostProxy(executable);
        returned = true;
    }

    int32_t hostId;
    Ref<RemotePluginHostProxy> proxy;
    std::atomic<pid_t> threadId{0};
    std::atomic<bool> returned{false};
    std::thread thread;
};

/// Whether a child of this process has ended.
bool hasDeadChild() {
    siginfo_t child{};
    return waitid(P_ALL, 0, &child, WEXITED | WNOHANG | WNOWAIT) == 0 && child.si_pid != 0;
}

TEST_F(ProxyDeathTest, AProgramThatDoesNotExistIsNotNoticedByTheConstructor) {
    HungStart start(nextHostId(), "/no/such/program");
    ASSERT_TRUE(eventually(hasDeadChild));
    EXPECT_TRUE(eventually([&] { return start.isWaiting(); }));
    Ref<RemotePluginHostProxy> proxy = start.rescue();
    ASSERT_TRUE(proxy);
    EXPECT_TRUE(hears(1));
    proxy = nullptr;
}

TEST_F(ProxyDeathTest, AHostThatLeavesBeforeItHasOpenedAllPipesIsNotNoticedByTheConstructor) {
    const StandIn standIn("open:main exit:0");
    HungStart start(nextHostId(), STAND_IN_HOST_EXECUTABLE);
    ASSERT_TRUE(eventually(hasDeadChild));
    EXPECT_TRUE(eventually([&] { return start.isWaiting(); }));
    EXPECT_TRUE(start.rescue());
    EXPECT_TRUE(hears(1));
}

} // namespace
