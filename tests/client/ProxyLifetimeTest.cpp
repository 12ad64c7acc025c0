// Who may let go of a proxy, when and where, and what a client's own receivers may do wrong. If these fail,
// the death of a host takes the client along, waits for ever with those who wait for its replies, or a
// process that the client forks ends the client's host.

#include "ClientTest.h"

#include "plugin/PluginException.h"
#include "support/Eventually.h"
#include "support/FailureText.h"
#include "support/SleepingThread.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

using namespace test_support;

namespace {

constexpr const char* diedText = "Plugin host died: ";
constexpr const char* endOfEdit = "00000000"
                                  "03"
                                  "01000000"
                                  "09000000"
                                  "00";
constexpr const char* readsCreate = " read:main:22";

/// Does what a test wants when it hears of a host.
class ActingManager : public RecordingManager {
public:
    using Action = std::function<void(RemotePluginHostProxy&)>;

    void hostDied(RemotePluginHostProxy& proxy, const String& message, bool onReplyThread) override {
        onDeath(proxy);
        RecordingManager::hostDied(proxy, message, onReplyThread);
    }
    void hostShutDown(RemotePluginHostProxy& proxy) override {
        // Counted last: who sees the count finds all done.
        try {
            onShutdown(proxy);
        } catch (...) {
            RecordingManager::hostShutDown(proxy);
            throw;
        }
        RecordingManager::hostShutDown(proxy);
    }

    Action onDeath = [](RemotePluginHostProxy&) {};
    Action onShutdown = [](RemotePluginHostProxy&) {};
};

/// Does what a test wants when a notification comes.
class ActingListener : public RecordingListener {
public:
    std::function<void()> action = [] {};

protected:
    void add(const std::string& line) override {
        action();
        RecordingListener::add(line);
    }
};

class ProxyLifetimeTest : public ClientTest {
protected:
    void SetUp() override {
        ClientTest::SetUp();
        manager = acting;
        RemotePluginHostProxy::setManager(acting);
    }

    void TearDown() override {
        acting->onDeath = acting->onShutdown = [](RemotePluginHostProxy&) {};
        ClientTest::TearDown();
    }

    const Ref<ActingManager> acting{new ActingManager};
};

void makeAndDropAReference(RemotePluginHostProxy& proxy) {
    const Ref<RemotePluginHostProxy> reference(&proxy);
}

/// The open ends of workers' pipes.
size_t countWorkerPipes() {
    const Footprint now = Footprint::now();
    return static_cast<size_t>(std::ranges::count_if(now.descriptors, [](const std::string& descriptor) {
        return descriptor.find("/worker0-") != std::string::npos;
    }));
}

TEST_F(ProxyLifetimeTest, AManagerMayMakeAndDropAReferenceWhileTheConstructorIsAtWork) {
    const std::string told = std::string("/tmp/") + std::getenv("USER") + "-told";
    // The worker's pipe is opened once the manager has heard of the death.
    const StandIn standIn("open:main open:async-replies close:async-replies exists:" + told +
                          " open:worker0 wait");
    const pid_t maker = currentThreadId();
    acting->onDeath = [&](RemotePluginHostProxy& proxy) {
        makeAndDropAReference(proxy);
        std::ofstream(told) << "told";
        // The constructor has nothing left to do but to wait for the end of this call.
        EXPECT_TRUE(eventually([&] { return countWorkerPipes() == 2 && isAsleep(maker); }));
    };
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    std::filesystem::remove(told);
    ASSERT_EQ(manager->count(), 1u) << "the constructor didn't wait for the manager";
    EXPECT_EQ(manager->getDeaths().front().proxy, proxy.get());
    EXPECT_TRUE(proxy->isClosed());
    EXPECT_EQ(lossText([&] { proxy->ping(); }), lostText);
}

bool areOthersAsleep(pid_t thisThread) {
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
        const pid_t thread = std::stoi(entry.path().filename());
        if (thread != thisThread && !isAsleep(thread))
            return false;
    }
    return true;
}

TEST_F(ProxyLifetimeTest, TheManagerHearsOfADeathOnceTheProxyHasItsOwner) {
    const std::string made = std::string("/tmp/") + std::getenv("USER") + "-made";
    std::atomic<bool> called = false;
    std::atomic<int32_t> owners = 0;
    acting->onDeath = [&](RemotePluginHostProxy& dead) {
        owners = countReferences(&dead);
        called = true;
        if (owners != 0)
            makeAndDropAReference(dead);
    };
    const StandIn standIn("connect exists:" + made + " exit:0");
    const pid_t thisThread = currentThreadId();
    auto* unowned = new RemotePluginHostProxy(STAND_IN_HOST_EXECUTABLE);
    std::ofstream(made) << "made";
    EXPECT_TRUE(eventually([&] { return occurrences(errorText(), diedText) == 1; }));
    // The thread that has logged the death waits for an owner now, or calls the manager without one.
    EXPECT_TRUE(eventually([&] { return called || areOthersAsleep(thisThread); }));
    Ref<RemotePluginHostProxy> proxy(unowned);
    std::filesystem::remove(made);
    ASSERT_TRUE(hears(1));
    EXPECT_GT(owners, 0);
    EXPECT_TRUE(proxy->isClosed());
    const pid_t host = proxy->getChildPid();
    EXPECT_FALSE(isGone(host)) << "the proxy has ended";
    proxy = nullptr;
    EXPECT_TRUE(isGone(host));
}

TEST_F(ProxyLifetimeTest, TheLastReferenceMayBeDroppedByTheManagerOnTheThreadThatReadsReplies) {
    // The host dies by itself: no call of the proxy is under way then, which would need a reference of its
    // own.
    const std::string made = std::string("/tmp/") + std::getenv("USER") + "-made";
    const StandIn standIn("connect exists:" + made + " exit:0");
    Ref<RemotePluginHostProxy> proxy;
    std::atomic<bool> owned = false;
    acting->onDeath = [&](RemotePluginHostProxy&) {
        EXPECT_TRUE(owned);
        proxy = nullptr;
        owned = false;
    };
    constexpr size_t rounds = 10;
    for (size_t round = 1; round <= rounds; ++round) {
        proxy = startStandIn();
        const pid_t host = proxy->getChildPid();
        owned = true;
        std::ofstream(made) << "made";
        ASSERT_TRUE(hears(round));
        std::filesystem::remove(made);
        EXPECT_TRUE(manager->getDeaths().back().onReplyThread);
        EXPECT_TRUE(eventually([&] { return !owned; }));
        EXPECT_TRUE(eventually([&] { return isGone(host); })) << "the proxy stayed";
    }
}

TEST_F(ProxyLifetimeTest, TheLastReferenceMayBeDroppedByTheManagerOnTheThreadOfACall) {
    const StandIn standIn("connect read:main:1 close:main wait");
    Ref<RemotePluginHostProxy> proxy = startStandIn();
    const pid_t host = proxy->getChildPid();
    acting->onDeath = [&](RemotePluginHostProxy&) { proxy = nullptr; };
    RemotePluginHostProxy& borrowed = *proxy;
    EXPECT_EQ(lossText([&] { borrowed.ping(); }), lostText);
    EXPECT_EQ(manager->count(), 1u);
    EXPECT_TRUE(isGone(host));
}

TEST_F(ProxyLifetimeTest, AnOwnerThatLetsGoWhileTheManagerIsCalledFindsAllGone) {
    const StandIn standIn("connect read:main:1 exit:0");
    const pid_t owner = currentThreadId();
    std::atomic<bool> called = false;
    acting->onDeath = [&](RemotePluginHostProxy& proxy) {
        called = true;
        EXPECT_TRUE(eventually([&] { return isAsleep(owner) && proxy.getChildPid() != 0; }));
        makeAndDropAReference(proxy);
    };
    Ref<RemotePluginHostProxy> proxy = startStandIn();
    const pid_t host = proxy->getChildPid();
    proxy->showAllGUIs();
    EXPECT_TRUE(eventually([&] { return called.load(); }));
    proxy = nullptr;
    EXPECT_TRUE(isGone(host)) << "the end is still to come";
    EXPECT_EQ(manager->count(), 1u);
}

TEST_F(ProxyLifetimeTest, TheLastReferenceMayBeDroppedByAListener) {
    const StandIn standIn(std::string("connect") + readsCreate + " write:async-replies:" + endOfEdit);
    Ref<RemotePluginHostProxy> proxy;
    std::atomic<bool> created = false;
    const Ref<ActingListener> listener(new ActingListener);
    std::atomic<pid_t> listening = 0;
    listener->action = [&] {
        listening = currentThreadId();
        eventually([&] { return created.load(); });
        proxy = nullptr;
    };
    std::atomic<pid_t> ending = 0;
    acting->onShutdown = [&](RemotePluginHostProxy&) { ending = currentThreadId(); };
    proxy = startStandIn();
    const pid_t host = proxy->getChildPid();
    proxy->createPluginInstance("", "", "", false, listener, nullptr);
    created = true;
    listener->waitForLines(1);
    EXPECT_TRUE(eventually([&] { return isGone(host); })) << "the proxy stayed";
    EXPECT_EQ(manager->countShutdowns(), 1u);
    EXPECT_EQ(manager->count(), 0u);
    EXPECT_NE(ending, 0);
    EXPECT_NE(ending, listening) << "the proxy ended on a thread that it has to wait for";
}

TEST_F(ProxyLifetimeTest, AReferenceThatTheManagerMakesOfAProxyThatIsGoingAndDropsDoesNotEndItTwice) {
    acting->onShutdown = makeAndDropAReference;
    Ref<RemotePluginHostProxy> proxy = startHost();
    const pid_t host = proxy->getChildPid();
    proxy = nullptr;
    EXPECT_TRUE(isGone(host));
    EXPECT_EQ(manager->countShutdowns(), 1u);
}

TEST_F(ProxyLifetimeTest, AReferenceThatTheManagerKeepsOfAProxyThatIsGoingKeepsItAlive) {
    Ref<RemotePluginHostProxy> kept;
    acting->onShutdown = [&](RemotePluginHostProxy& proxy) { kept = &proxy; };
    Ref<RemotePluginHostProxy> proxy = startHost();
    const pid_t host = proxy->getChildPid();
    proxy = nullptr;
    ASSERT_TRUE(kept);
    EXPECT_TRUE(kept->isClosed());
    EXPECT_EQ(kept->getChildPid(), host);
    kept = nullptr;
    EXPECT_TRUE(isGone(host));
    EXPECT_EQ(manager->countShutdowns(), 1u);
}

TEST_F(ProxyLifetimeTest, WhatTheManagerThrowsOfADeathIsLoggedAndTheProxyIsLostAsEver) {
    const std::pair<ActingManager::Action, std::string> failures[] = {
        {[](auto&) { throw IOException("of its own"); }, "of its own"},
        {[](auto&) { throw PluginException("of another kind"); }, "of another kind"},
        {[](auto&) { throw std::runtime_error("strange"); }, "strange"},
        {[](auto&) { throw 7; }, "Unknown exception"},
    };
    const StandIn standIn("connect read:main:1 exit:0");
    for (const auto& [action, words] : failures) {
        acting->onDeath = action;
        const Ref<RemotePluginHostProxy> proxy = startStandIn();
        proxy->showAllGUIs();
        const std::string line = "Plug-in host manager failed: " + words + "\n";
        EXPECT_TRUE(eventually([&] { return occurrences(errorText(), line) == 1; })) << errorText();
        EXPECT_EQ(lossText([&] { proxy->ping(); }), lostText);
    }
}

TEST_F(ProxyLifetimeTest, WhatTheManagerThrowsOfAShutdownIsLogged) {
    acting->onShutdown = [](auto&) { throw PluginException("of its own"); };
    const Ref<RemotePluginHostProxy> proxy = startHost();
    proxy->shutdown();
    EXPECT_TRUE(proxy->isClosed());
    EXPECT_EQ(occurrences(errorText(), "Plug-in host manager failed: of its own\n"), 1u) << errorText();
}

TEST_F(ProxyLifetimeTest, AShutdownOfAHostThatHasJustGoneCleansUpAndEndsAllWaits) {
    // The asynchronous channel stays open, so that nobody has noticed yet.
    const StandIn standIn(std::string("connect read:main:31 close:main write:async-replies:") + endOfEdit +
                          " wait");
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    const Ref<RecordingListener> listener(new RecordingListener);
    std::atomic<int> deaths = 0;
    const int32_t id = proxy->createPluginInstance("", "", "", false, listener,
                                                   Ref<MortalHandler>(new MortalHandler(deaths)));
    const Ref<ReplyWaiter> waiter(new ReplyWaiter(*proxy));
    proxy->updateIO(id, waiter);
    listener->waitForLines(1);
    EXPECT_EQ(deaths, 0);
    EXPECT_THROW(proxy->shutdown(), IOException);
    EXPECT_EQ(deaths, 1);
    EXPECT_FALSE(proxy->findInstance(id));
    EXPECT_EQ(manager->countShutdowns(), 1u);
    EXPECT_EQ(manager->count(), 0u);
    EXPECT_EQ(lossText([&] { waiter->wait(patience); }), lostText);
    EXPECT_EQ(occurrences(errorText(), diedText), 0u);
}

/// Ends in a lock of the proxy's, if it is let go of under it.
class AskingListener : public RecordingListener {
public:
    explicit AskingListener(RemotePluginHostProxy& proxy, std::atomic<int>& ends)
        : proxy(&proxy), ends(ends) {}
    ~AskingListener() override {
        proxy->findInstance(1);
        ++ends;
    }

private:
    RemotePluginHostProxy* proxy;
    std::atomic<int>& ends;
};

TEST_F(ProxyLifetimeTest, AListenerMayUseTheProxyAsItEnds) {
    const StandIn standIn("connect");
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    std::atomic<int> ends = 0;
    const auto create = [&] {
        return proxy->createPluginInstance("", "", "", false,
                                           Ref<AskingListener>(new AskingListener(*proxy, ends)), nullptr);
    };
    proxy->removePluginInstance(create());
    EXPECT_EQ(ends, 1);
    create();
    proxy->shutdown();
    EXPECT_EQ(ends, 2);
}

/// What a forked copy of this process does before it exits.
enum class InTheCopy { drop, shutDown, abandon, ping };

class ForkedCopyTest : public ProxyLifetimeTest, public testing::WithParamInterface<InTheCopy> {};

std::string nameOf(const testing::TestParamInfo<InTheCopy>& suite) {
    constexpr const char* names[] = {"Drop", "ShutDown", "Abandon", "Ping"};
    return names[static_cast<int>(suite.param)];
}

INSTANTIATE_TEST_SUITE_P(Ways, ForkedCopyTest,
                         testing::Values(InTheCopy::drop, InTheCopy::shutDown, InTheCopy::abandon,
                                         InTheCopy::ping),
                         nameOf);

TEST_P(ForkedCopyTest, LeavesTheHostItsPipesAndItsBlocksAlone) {
    Ref<RemotePluginHostProxy> proxy = startHost();
    const auto reply = createInstance(*proxy, examplePlugin("echo"));
    const Footprint before = Footprint::now();
    const pid_t copy = fork();
    if (copy == 0) {
        int status = 0;
        switch (GetParam()) {
        case InTheCopy::drop:
            break;
        case InTheCopy::shutDown:
            proxy->shutdown();
            break;
        case InTheCopy::abandon:
            status = proxy->abandon() ? 1 : 0;
            break;
        case InTheCopy::ping:
            status = lossText([&] { proxy->ping(); }) == lostText ? 0 : 1;
            break;
        }
        proxy = nullptr;
        _exit(status);
    }
    int status = -1;
    ASSERT_EQ(waitpid(copy, &status, 0), copy);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(Footprint::now(), before);
    proxy->ping();
    EXPECT_TRUE(proxy->createAudioContext(*reply));
    EXPECT_EQ(manager->count(), 0u);
    EXPECT_EQ(manager->countShutdowns(), 0u);
    shutDown(*proxy);
}

} // namespace
