// A host in the process of its client, where that isn't like a child. If these fail, a plug-in that throws
// leaves whoever looks into it waiting for ever, or its host doesn't go.

#include "app/TestProxyProvider.h"
#include "core/CapturedOutput.h"
#include "host/PluginHost.h"
#include "local/LocalPluginHostProxy.h"
#include "local/RecordedSession.h"
#include "plugin/Eventually.h"
#include "plugin/PluginException.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <semaphore>
#include <set>

using base::core::CapturedOutput;

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
    PluginHost* host = PluginHost::getCurrent();
    class Question : public PluginHostAction {
    public:
        explicit Question(PluginHost* host) : host(host) {}
        void run() override { isMainThread = host->isMainThread(); }
        PluginHost* host;
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

} // namespace
