// A host in the process of its client, where that isn't like a child. If these fail, a plug-in that throws
// leaves whoever looks into it waiting for ever, or its host doesn't go.

#include "app/TestProxyProvider.h"
#include "host/PluginHost.h"
#include "local/LocalPluginHostProxy.h"
#include "local/RecordedSession.h"
#include "plugin/PluginException.h"
#include "plugin/PluginHostAsyncReplyHandler.h"
#include "plugin/PluginHostNotifications.h"
#include "support/CapturedOutput.h"
#include "support/Eventually.h"
#include "support/FailureText.h"
#include "support/SleepingThread.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <semaphore>
#include <set>
#include <stdexcept>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using namespace test_support;

namespace {

std::string testPlugin(const std::string& file) {
    return TEST_PLUGIN_DIRECTORY "/" + file;
}

std::multiset<std::string> threadNames() {
    std::multiset<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream file(entry.path() / "comm");
        std::string name;
        std::getline(file, name);
        names.insert(name);
    }
    return names;
}

/// Holds up the host's main loop.
class Pause : public PluginHostAction {
public:
    void run() override { mayEnd.acquire(); }
    std::binary_semaphore mayEnd{0};
};

class LocalProxyTest : public testing::Test {
protected:
    static Ref<PluginHostProxy> makeProxy() {
        LocalTestProxyProvider provider;
        retain(&provider);
        return provider.createProxy();
    }
};

TEST_F(LocalProxyTest, TheHostRunsOnAThreadOfItsOwnThatEndsWithTheProxy) {
    Ref<PluginHostProxy> proxy = makeProxy();
    proxy->ping();
    // It has the name of the thread that makes it until it has its own.
    EXPECT_TRUE(eventually([] { return threadNames().count("XDisplayThread") == 1; }));
    EXPECT_EQ(threadNames().count("Test host main "), 1U);
    EXPECT_NE(PluginHost::getCurrent(), nullptr);
    proxy = nullptr;
    EXPECT_EQ(PluginHost::getCurrent(), nullptr);
    // A thread that has been joined may be listed for a moment.
    EXPECT_TRUE(eventually([] { return threadNames().count("Test host main ") == 0; }));
    EXPECT_TRUE(eventually([] { return threadNames().count("XDisplayThread") == 0; }));
}

TEST_F(LocalProxyTest, TheRunThreadIsNotTheHostsMainThread) {
    const Ref<PluginHostProxy> proxy = makeProxy();
    PluginHostContext* host = PluginHost::getCurrent();
    class Question : public PluginHostAction {
    public:
        explicit Question(PluginHostContext* host) : host(host) {}
        void run() override { isMainThread = host->isMainThread(); }
        PluginHostContext* host;
        bool isMainThread = true;
    };
    EXPECT_TRUE(host->isMainThread());
    const Ref<Question> question(new Question(host));
    host->post(question);
    proxy->ping();
    EXPECT_FALSE(question->isMainThread);
}

TEST_F(LocalProxyTest, ItCannotBeAbandonedAndGoesOn) {
    const Ref<PluginHostProxy> proxy = makeProxy();
    EXPECT_FALSE(proxy->abandon());
    proxy->ping();
}

TEST_F(LocalProxyTest, AnInstanceThatNeverCameUpHasNoAudioBlock) {
    const Ref<PluginHostProxy> proxy = makeProxy();
    RecordedSession session(proxy);
    session.load(EXAMPLE_PLUGIN_DIRECTORY "/echo.so");
    session.reply->instanceId = 5;
    try {
        proxy->createAudioContext(*session.reply);
        ADD_FAILURE() << "no failure";
    } catch (const IOException& exception) {
        EXPECT_EQ(exception.getMessage().toStdString(), "No audio block for plugin instance 5");
    }
    session.reply->instanceId = 1;
}

TEST_F(LocalProxyTest, APluginThatThrowsEndsItsHostAndFailsAllWhoWait) {
    const CapturedOutput errors(STDERR_FILENO);
    Ref<PluginHostProxy> proxy = makeProxy();
    const Ref<TestReplyHandler> waiting(new TestReplyHandler);
    {
        RecordedSession session(proxy);
        // Throws as its program is set.
        session.load(testPlugin("dies-when-asked.so"), "34");
        // Both are in the queue before the plug-in throws.
        const Ref<Pause> pause(new Pause);
        PluginHost::getCurrent()->post(pause);
        proxy->setCurrentProgram(1, 0);
        proxy->updateIO(1, waiting);
        pause->mayEnd.release();
        try {
            proxy->ping();
            ADD_FAILURE() << "no failure";
        } catch (const IOException& exception) {
            EXPECT_EQ(exception.getMessage().toStdString(), PluginHostProxy::lostMessage);
        }
    }
    try {
        waiting->wait();
        ADD_FAILURE() << "no failure";
    } catch (const PluginException& exception) {
        EXPECT_EQ(exception.getMessage().toStdString(), PluginHostProxy::lostMessage);
    }
    EXPECT_THAT(errors.text(), testing::HasSubstr("Plugin host died: this plug-in was asked to throw\n"));
    proxy = nullptr;
    EXPECT_EQ(PluginHost::getCurrent(), nullptr);
    EXPECT_TRUE(eventually([] { return threadNames().count("XDisplayThread") == 0; }));
}

/// Does what a test wants when an edit of a parameter begins or ends.
class ActingListener : public RecordingListener {
public:
    void onBeginOrEndEditParameter(const BeginOrEndEditParameterNotification& notification) override {
        action();
        RecordingListener::onBeginOrEndEditParameter(notification);
    }
    std::function<void()> action = [] {};
};

/// The program by which the plug-in reports that an edit begins.
constexpr int32_t beginEdit = 3;

/// Loads a plug-in that reports to the listener when its program is set.
int32_t loadReporting(PluginHostProxy& proxy, const Ref<ActingListener>& listener) {
    const Ref<TestReplyHandler> created(new TestReplyHandler);
    const int32_t id = proxy.createPluginInstance(testPlugin("reports-when-asked.so").c_str(), {}, "", false,
                                                  listener, created);
    created->wait();
    return id;
}

TEST_F(LocalProxyTest, AReceiverMayShutTheHostDown) {
    const CapturedOutput errors(STDERR_FILENO);
    Ref<PluginHostProxy> proxy = makeProxy();
    const Ref<ActingListener> listener(new ActingListener);
    std::atomic<bool> hostLived = false;
    listener->action = [&] {
        proxy->shutdown();
        hostLived = PluginHost::getCurrent() != nullptr;
    };
    proxy->setCurrentProgram(loadReporting(*proxy, listener), beginEdit);
    EXPECT_EQ(listener->waitFor(1).size(), 1U);
    EXPECT_TRUE(hostLived) << "it was destroyed inside of its own main loop";
    EXPECT_EQ(lossText([&] { proxy->ping(); }), PluginHostProxy::lostMessage);
    // Joins what the receiver couldn't.
    proxy->shutdown();
    EXPECT_EQ(PluginHost::getCurrent(), nullptr);
    proxy = nullptr;
    EXPECT_EQ(errors.text(), "");
}

TEST_F(LocalProxyTest, AReceiverMayDropTheLastReference) {
    const CapturedOutput errors(STDERR_FILENO);
    Ref<PluginHostProxy> proxy = makeProxy();
    const Ref<ActingListener> listener(new ActingListener);
    std::binary_semaphore turn{0};
    listener->action = [&] {
        turn.acquire();
        proxy = nullptr;
    };
    proxy->setCurrentProgram(loadReporting(*proxy, listener), beginEdit);
    turn.release();
    EXPECT_EQ(listener->waitFor(1).size(), 1U);
    EXPECT_TRUE(eventually([] { return PluginHost::getCurrent() == nullptr; })) << "the host stayed";
    EXPECT_TRUE(eventually([] { return threadNames().count("Last release") == 0; }));
    EXPECT_TRUE(eventually([] { return threadNames().count("Test host main ") == 0; }));
    EXPECT_EQ(errors.text(), "");
}

TEST_F(LocalProxyTest, AShutdownFailsTheRequestThatAnotherThreadWaitsFor) {
    const Ref<PluginHostProxy> proxy = makeProxy();
    const Ref<Pause> pause(new Pause);
    PluginHost::getCurrent()->post(pause);
    std::atomic<pid_t> threadId = 0;
    std::atomic<bool> isOver = false;
    std::string text;
    std::thread pinging([&] {
        threadId = currentThreadId();
        text = lossText([&] { proxy->ping(); });
        isOver = true;
    });
    EXPECT_TRUE(eventually([&] { return threadId != 0 && isAsleep(threadId); }));
    std::thread shuttingDown([&] { proxy->shutdown(); });
    EXPECT_TRUE(eventually([&] { return isOver.load(); }, std::chrono::seconds(4))) << "the ping waits on";
    pause->mayEnd.release();
    shuttingDown.join();
    pinging.join();
    EXPECT_EQ(text, PluginHostProxy::lostMessage);
}

TEST_F(LocalProxyTest, WhatAReceiverThrowsIsLoggedAndTheHostGoesOn) {
    const CapturedOutput errors(STDERR_FILENO);
    const Ref<PluginHostProxy> proxy = makeProxy();
    const Ref<ActingListener> listener(new ActingListener);
    listener->action = [] { throw IOException("of a file"); };
    const int32_t id = loadReporting(*proxy, listener);
    proxy->setCurrentProgram(id, beginEdit);
    proxy->ping();
    class FailingHandler : public PluginHostAsyncReplyHandler {
    public:
        void onReply(PluginHostReply*) override { throw std::runtime_error("strange"); }
        void onError(const String&) override { throw 7; }
    };
    proxy->updateIO(id, Ref<FailingHandler>(new FailingHandler));
    proxy->loadPreset(id, "/no/such/preset.fxb", Ref<FailingHandler>(new FailingHandler));
    proxy->ping();
    // What the plug-in reports may stand behind the first of these in the host's queue.
    proxy->ping();
    EXPECT_THAT(errors.text(), testing::HasSubstr("Plug-in notification listener failed: of a file\n"));
    EXPECT_THAT(errors.text(), testing::HasSubstr("Plug-in reply handler failed: strange\n"));
    EXPECT_THAT(errors.text(), testing::HasSubstr("Plug-in reply handler failed: Unknown exception\n"));
    EXPECT_THAT(errors.text(), testing::Not(testing::HasSubstr("Plugin host died")));
}

TEST_F(LocalProxyTest, AForkedCopyLetsGoOfItAndEndsNothing) {
    Ref<PluginHostProxy> proxy = makeProxy();
    proxy->ping();
    const pid_t copy = fork();
    if (copy == 0) {
        proxy->shutdown();
        const bool isRefused = lossText([&] { proxy->ping(); }) == PluginHostProxy::lostMessage;
        proxy = nullptr;
        _exit(isRefused ? 0 : 1);
    }
    int status = -1;
    EXPECT_TRUE(eventually([&] { return waitpid(copy, &status, WNOHANG) == copy; })) << "the copy hangs";
    if (status == -1) {
        kill(copy, SIGKILL);
        waitpid(copy, nullptr, 0);
    }
    EXPECT_EQ(status, 0);
    proxy->ping();
}

TEST_F(LocalProxyTest, ATextThatAChildCouldNotBeSentIsRefusedHereToo) {
    const Ref<PluginHostProxy> proxy = makeProxy();
    const std::string refused =
        "Text can't be sent to plug-in host: it has the character U+1F600, which is above U+FFFF";
    const auto create = [&] {
        proxy->createPluginInstance("/\U0001F600.so", "", "", false, nullptr, nullptr);
    };
    EXPECT_EQ(lossText(create), refused);
    EXPECT_EQ(lossText([&] { proxy->setWindowTitle(1, "\U0001F600"); }), refused);
    proxy->ping();
}

} // namespace
