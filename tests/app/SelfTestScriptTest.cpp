// What the self-test asks of a host. If these fail, plug-ins are tested in another order than an application
// uses them in, or with other arguments.

#include "app/SelfTest.h"
#include "plugin/PluginHostAsyncReplyHandler.h"
#include "plugin/PluginHostReplies.h"
#include "support/CapturedOutput.h"
#include "support/Eventually.h"
#include "support/LocalAudioContext.h"
#include "support/StateBytes.h"
#include "support/WireBytes.h"

#include <gtest/gtest.h>

#include <atomic>
#include <unistd.h>
#include <utility>

using namespace test_support;

namespace {

using Calls = std::vector<std::string>;

/// Notes what it is asked, and answers as a host does whose plug-ins have two programs.
class NotingProxy : public PluginHostProxy {
public:
    NotingProxy(Calls& calls, bool hasEditor) : calls(calls), hasEditor(hasEditor) {}

    int32_t createPluginInstance(const String& path, const String& presetPath, const String& identifier,
                                 bool dpiAware, const Ref<PluginHostNotificationListener>& listener,
                                 const Ref<PluginHostAsyncReplyHandler>& replyHandler) override {
        EXPECT_TRUE(presetPath.isEmpty());
        EXPECT_FALSE(dpiAware);
        EXPECT_TRUE(listener);
        note("create " + path.toStdString() + " '" + identifier.toStdString() + "'");
        GoldenStream stream(std::string("01 00 00 00  01 00 00 00  02 00 00 00  00 00 00 00") +
                            (hasEditor ? "01" : "00") + richState());
        replyHandler->onReply(new CreatePluginInstanceReply(stream));
        return 1;
    }
    void destroyPluginInstance(int32_t instanceId) override { note("destroy", instanceId); }
    void removePluginInstance(int32_t instanceId) override { note("remove", instanceId); }
    void openGUI(int32_t instanceId, int64_t parentWindow, bool openEditorFlag,
                 const String& title) override {
        EXPECT_EQ(parentWindow, 0);
        EXPECT_TRUE(openEditorFlag);
        note("open " + title.toStdString(), instanceId);
    }
    void closeGUI(int32_t instanceId) override { note("close", instanceId); }
    void savePreset(int32_t instanceId, const String& path,
                    const Ref<PluginHostAsyncReplyHandler>& replyHandler) override {
        note("save " + path.toStdString(), instanceId);
        replyHandler->onReply(nullptr);
    }
    void setCurrentProgram(int32_t instanceId, int32_t program) override {
        note("program " + std::to_string(program), instanceId);
    }
    void shutdown() override { note("shut down"); }
    void ping() override { note("ping"); }
    Ref<PluginHostReply> sendRequest(const Ref<PluginHostRequest>&,
                                     const Ref<PluginHostAsyncReplyHandler>&) override {
        ADD_FAILURE() << "Nothing else is asked";
        return nullptr;
    }
    Ref<PluginAudioContext> createAudioContext(const CreatePluginInstanceReply& reply) override {
        note("audio", reply.instanceId);
        return new LocalAudioContext(65536, reply.inputChannelCount, reply.outputChannelCount, 2);
    }
    bool abandon() override { return false; }
    bool isClosed() const override { return false; }

protected:
    void addPluginInstance(int32_t, const Ref<PluginHostNotificationListener>&) override {}

private:
    void note(const std::string& call) { calls.push_back(call); }
    void note(const std::string& call, int32_t instanceId) {
        note(call + " of " + std::to_string(instanceId));
    }

    Calls& calls;
    bool hasEditor;
};

class NotingProvider : public TestProxyProvider {
public:
    explicit NotingProvider(bool hasEditor) : hasEditor(hasEditor) {}

    Ref<PluginHostProxy> createProxy() override {
        calls.emplace_back("host");
        return new NotingProxy(calls, hasEditor);
    }
    bool canBeInterrupted() const override { return true; }

    Calls calls;

private:
    bool hasEditor;
};

Calls callsOf(const std::vector<String>& files, bool hasEditor) {
    const CapturedOutput output(STDOUT_FILENO);
    const Ref<NotingProvider> provider(new NotingProvider(hasEditor));
    EXPECT_EQ(SelfTest(provider.get(), files).run(), 0) << output.text();
    return provider->calls;
}

} // namespace

TEST(SelfTestScript, TakesAPluginWithAnEditorThroughAWholeSession) {
    EXPECT_EQ(callsOf({"/nowhere/a.so"}, true),
              (Calls{"host", "create /nowhere/a.so '0'", "audio of 1", "open Test of 1", "ping",
                     "save /nowhere/a-test.fxb of 1", "program 0 of 1", "ping", "program 1 of 1", "ping",
                     "close of 1", "ping", "destroy of 1", "remove of 1", "ping", "shut down"}));
}

TEST(SelfTestScript, TakesTheOnlyClassOfAVst3FileAndOpensNoEditorWhereThereIsNone) {
    EXPECT_EQ(callsOf({"/nowhere/a.vst3"}, false),
              (Calls{"host", "create /nowhere/a.vst3 ''", "audio of 1", "save /nowhere/a-test.fxb of 1",
                     "program 0 of 1", "ping", "program 1 of 1", "ping", "destroy of 1", "remove of 1",
                     "ping", "shut down"}));
}

TEST(SelfTestScript, GivesEachPluginAHostOfItsOwnOneAfterTheOther) {
    Calls hosts = callsOf({"/nowhere/b.so", "/nowhere/a.so"}, false);
    std::erase_if(hosts, [](const std::string& call) {
        return call != "host" && call != "shut down" && !call.starts_with("create");
    });
    EXPECT_EQ(hosts, (Calls{"host", "create /nowhere/b.so '0'", "shut down", "host",
                            "create /nowhere/a.so '0'", "shut down"}));
}

namespace {

constexpr const char* audioStep = "test audio engine to complete";

/// Renders nothing until the host is given up, and all of it then.
class LateContext : public LocalAudioContext {
public:
    explicit LateContext(const std::atomic<bool>& abandoned)
        : LocalAudioContext(65536, 1, 2, 2), abandoned(abandoned) {}

    int32_t process(int32_t, bool, bool) override {
        EXPECT_TRUE(eventually([&] { return abandoned.load(); }));
        return 0;
    }

private:
    const std::atomic<bool>& abandoned;
};

class LateProxy : public NotingProxy {
public:
    explicit LateProxy(Calls& calls) : NotingProxy(calls, false) {}

    Ref<PluginAudioContext> createAudioContext(const CreatePluginInstanceReply&) override {
        return new LateContext(abandoned);
    }
    bool abandon() override {
        abandoned = true;
        return true;
    }

private:
    std::atomic<bool> abandoned = false;
};

class LateProvider : public TestProxyProvider {
public:
    Ref<PluginHostProxy> createProxy() override { return new LateProxy(calls); }
    bool canBeInterrupted() const override { return true; }

private:
    Calls calls;
};

} // namespace

TEST(SelfTestScript, AnEngineThatEndsLateFailsThePluginThoughNothingWentWrongInIt) {
    constexpr double bound = 10;
    // Stands still but in the step of the engine, which is overdue as soon as it has begun.
    const auto clock = [step = std::string(), now = 0.0](const char* subject) mutable {
        const bool begins = std::exchange(step, subject) != subject;
        if (!begins && step == audioStep)
            now += bound;
        return now;
    };
    int status = 0;
    std::string output;
    {
        const CapturedOutput captured(STDOUT_FILENO);
        status = SelfTest(new LateProvider, {"/nowhere/a.so"}, bound, clock).run();
        output = captured.text();
    }
    EXPECT_EQ(status, 1);
    const std::string failure =
        std::string("\n/nowhere/a.so:      Could not test plug-in: Test failed waiting for ") + audioStep;
    EXPECT_NE(output.find(failure + "\n"), std::string::npos) << output;
}
