// What a local host and its client hold of each other. If these fail, a client that keeps a request keeps a
// whole host, hosts are never freed, or a listener can't tell which host a notification came from.

#include "app/PluginFormats.h"
#include "host/PluginHost.h"
#include "local/LocalPluginHostProxy.h"
#include "plugin/Extensions.h"
#include "plugin/PluginException.h"
#include "plugin/PluginHostAsyncReplyHandler.h"
#include "plugin/PluginHostNotificationListener.h"
#include "plugin/PluginHostNotifications.h"
#include "plugin/PluginHostProxyHandler.h"
#include "plugin/PluginHostReplies.h"
#include "plugin/PluginHostRequests.h"
#include "support/CapturedOutput.h"
#include "support/FakePluginInstance.h"
#include "support/FunctionAction.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <semaphore>
#include <stdexcept>
#include <string>
#include <unistd.h>
#include <utility>

using namespace test_support;

namespace {

int32_t references(const Object& object) {
    const int32_t count = retain(&object) - 1;
    release(&object);
    return count;
}

/// Remembers by which proxy it was told of the last edit.
class EditListener : public PluginHostNotificationListener {
public:
    void onUpdateParameter(const UpdateParameterNotification&) override {}
    void onUpdateParameterDisplay(const UpdateParameterDisplayNotification&) override {}
    void onUpdateAllParameters(const UpdateAllParametersNotification&) override {}
    void onBeginOrEndEditParameter(const BeginOrEndEditParameterNotification& notification) override {
        sender = notification.sender;
    }
    void onPluginWindowMoved(const PluginWindowMovedNotification&) override {}
    void onPluginWindowClosed(const PluginWindowClosedNotification&) override {}
    Object* sender = nullptr;
};

class OwnershipTest : public testing::Test {
protected:
    OwnershipTest() {
        addPluginFormats(*host);
        proxy->start();
    }

    /// Runs something while the host's main loop stands.
    void whileTheHostStands(const std::function<void()>& body) {
        std::binary_semaphore mayGoOn{0};
        host->post(new FunctionAction([&] { mayGoOn.acquire(); }));
        body();
        mayGoOn.release();
        proxy->ping();
    }

    std::string audioBlockFailure(int32_t instanceId) {
        CallLog log;
        const Ref<PluginInstance> answering(new FakePluginInstance(host.get(), instanceId, log));
        const Ref<CreatePluginInstanceReply> reply(new CreatePluginInstanceReply(*answering));
        try {
            proxy->createAudioContext(*reply);
        } catch (const IOException& exception) {
            return exception.getMessage().toStdString();
        }
        return "no failure";
    }

    Ref<PluginHost> host{new PluginHost(44100, 256)};
    Ref<LocalPluginHostProxy> proxy{new LocalPluginHostProxy(host)};
};

} // namespace

TEST_F(OwnershipTest, ARequestThatItsSenderKeepsKeepsNoHost) {
    const Ref<PingRequest> request(new PingRequest);
    proxy->sendRequest(request, nullptr);
    // Behind all that the first one does.
    proxy->ping();
    EXPECT_FALSE(request->handler);
    EXPECT_EQ(references(*request), 1);
}

TEST_F(OwnershipTest, AfterTheShutdownHostAndHandlerHoldNoOther) {
    const Ref<PluginHostProxyHandler> handler = host->handler;
    proxy->shutdown();
    EXPECT_FALSE(host->handler);
    EXPECT_FALSE(handler->host);
    proxy = nullptr;
    EXPECT_EQ(references(*host), 1);
    EXPECT_EQ(references(*handler), 1);
}

TEST_F(OwnershipTest, AShutdownDropsWhatWasNotAnswered) {
    // Nothing answers a request for an instance that isn't there.
    const Ref<PluginHostRequest> request(new UpdateIORequest(1));
    proxy->sendRequest(request, nullptr);
    proxy->shutdown();
    EXPECT_EQ(references(*request), 1);
}

TEST_F(OwnershipTest, AHostThatEndsByItselfDropsWhatIsInItsQueue) {
    std::binary_semaphore mayThrow{0};
    host->post(new FunctionAction([&] {
        mayThrow.acquire();
        throw IOException("it broke");
    }));
    const Ref<PluginHostRequest> queued(new UpdateIORequest(1));
    proxy->sendRequest(queued, nullptr);
    mayThrow.release();
    EXPECT_THROW(proxy->ping(), IOException);
    // Joins the thread, which holds what it fails. The proxy stays, with its queue.
    proxy->shutdown();
    EXPECT_EQ(references(*queued), 1);
}

TEST_F(OwnershipTest, AHostThatEndsByItselfSaysByWhat) {
    const auto words = [](const std::function<void()>& failure) {
        const CapturedOutput errors(STDERR_FILENO);
        const Ref<PluginHost> failing(new PluginHost(44100, 256));
        const Ref<LocalPluginHostProxy> its(new LocalPluginHostProxy(failing));
        failing->post(new FunctionAction(failure));
        its->start();
        EXPECT_THROW(its->ping(), IOException);
        its->shutdown();
        return errors.text();
    };
    EXPECT_THAT(words([] { throw IOException("it broke"); }),
                testing::HasSubstr("Plugin host died: it broke\n"));
    EXPECT_THAT(words([] { throw std::runtime_error("so did this"); }),
                testing::HasSubstr("Plugin host died: so did this\n"));
    const ScopedExtensions extensions(ExtensionSet{Extension::text});
    EXPECT_THAT(words([] { throw std::runtime_error("fl\xFCgel"); }),
                testing::HasSubstr("Plugin host died: fl\xC3\xBCgel\n"));
    EXPECT_THAT(words([] { throw 7; }), testing::HasSubstr("Plugin host died: Unknown exception\n"));
}

TEST_F(OwnershipTest, AnAnswerThatIsNotAwaitedIsDropped) {
    class Receiver : public PluginHostAsyncReplyHandler {
    public:
        void onReply(PluginHostReply*) override { ++calls; }
        void onError(const String&) override { ++calls; }
        int calls = 0;
    };
    const Ref<Receiver> receiver(new Receiver);
    const Ref<LoadPresetRequest> request(new LoadPresetRequest);
    request->replyHandler = receiver;
    const Ref<LoadPresetReply> reply(new LoadPresetReply(1, "preset"));
    PluginHostProxyHandler* handler = host->handler.get();
    handler->sendReply(*request, *reply);
    handler->sendEmptyReply(*request);
    handler->sendError(*request, "words");
    EXPECT_EQ(receiver->calls, 0);
}

TEST_F(OwnershipTest, ANotificationSaysWhichProxyItCameThrough) {
    const Ref<EditListener> listener(new EditListener);
    const int32_t id = proxy->createPluginInstance("/no such file", {}, {}, false, listener, nullptr);
    host->post(new FunctionAction([&] {
        PluginHostProxyHandler* handler = host->handler.get();
        const Ref<PluginHostNotification> edit(new BeginOrEndEditParameterNotification(id, handler, 3, true));
        handler->sendNotification(*edit);
    }));
    proxy->ping();
    EXPECT_EQ(listener->sender, proxy.get());
}

TEST_F(OwnershipTest, AnInstanceThatIsRemovedTakesItsUnansweredRequestsAlong) {
    const Ref<PluginHostRequest> removed(new UpdateIORequest(1));
    const Ref<PluginHostRequest> other(new UpdateIORequest(2));
    whileTheHostStands([&] {
        proxy->sendRequest(removed, nullptr);
        proxy->sendRequest(other, nullptr);
        proxy->removePluginInstance(1);
    });
    // Nothing answers either of them.
    EXPECT_EQ(references(*removed), 1);
    EXPECT_EQ(references(*other), 2);
}

TEST_F(OwnershipTest, ARequestThatIsAwaitedAndRefusedFailsWithTheWordsOfTheRefusal) {
    class Refused : public PingRequest {
    public:
        void perform(PluginHostContext&) override { handler->sendError(*this, "not now"); }
    };
    try {
        proxy->sendRequest(new Refused, nullptr);
        ADD_FAILURE() << "no failure";
    } catch (const PluginException& exception) {
        EXPECT_EQ(exception.getMessage().toStdString(), "not now");
    }
}

TEST_F(OwnershipTest, AnInstanceThatDidNotComeUpHasNoAudioBlock) {
    const int32_t id = proxy->createPluginInstance("/no such file", {}, {}, false, nullptr, nullptr);
    proxy->ping();
    EXPECT_EQ(audioBlockFailure(id), "No audio block for plugin instance " + std::to_string(id));
}

TEST_F(OwnershipTest, AnInstanceThatIsRemovedBeforeItIsUpGetsItsAudioFromTheHostAlone) {
    int32_t id = 0;
    whileTheHostStands([&] {
        id =
            proxy->createPluginInstance(EXAMPLE_PLUGIN_DIRECTORY "/echo.so", {}, {}, false, nullptr, nullptr);
        proxy->removePluginInstance(id);
    });
    PluginInstance* instance = host->instances.find(id);
    ASSERT_NE(instance, nullptr);
    EXPECT_NE(instance->audio.getContext(), nullptr);
    EXPECT_EQ(audioBlockFailure(id), "No audio block for plugin instance " + std::to_string(id));
}

TEST_F(OwnershipTest, AnInstanceWithoutAListenerReportsToNobody) {
    const int32_t id = proxy->createPluginInstance("/no such file", {}, {}, false, nullptr, nullptr);
    host->post(new FunctionAction([&] {
        PluginHostProxyHandler* handler = host->handler.get();
        const Ref<PluginHostNotification> edit(new BeginOrEndEditParameterNotification(id, handler, 3, true));
        handler->sendNotification(*edit);
        EXPECT_EQ(edit->sender, handler) << "it was delivered";
    }));
    proxy->ping();
}

TEST_F(OwnershipTest, AHostThatHasEndedByItselfReportsNothingMore) {
    const Ref<EditListener> listener(new EditListener);
    const int32_t id = proxy->createPluginInstance("/no such file", {}, {}, false, listener, nullptr);
    host->post(new FunctionAction([] { throw IOException("it broke"); }));
    EXPECT_THROW(proxy->ping(), IOException);
    // As a thread of a plug-in may do that goes on.
    PluginHostProxyHandler* handler = host->handler.get();
    const Ref<PluginHostNotification> edit(new BeginOrEndEditParameterNotification(id, handler, 3, true));
    handler->sendNotification(*edit);
    EXPECT_EQ(listener->sender, nullptr);
}

TEST_F(OwnershipTest, InstancesComeAndGoWhileTheHostReports) {
    const Ref<EditListener> listener(new EditListener);
    const int32_t id = proxy->createPluginInstance("/no such file", {}, {}, false, listener, nullptr);
    proxy->ping();
    constexpr int rounds = 300;
    for (int i = 0; i < rounds; ++i) {
        host->post(new FunctionAction([this, id] {
            PluginHostProxyHandler* handler = host->handler.get();
            const Ref<PluginHostNotification> edit(
                new BeginOrEndEditParameterNotification(id, handler, 3, true));
            constexpr int reports = 20;
            for (int report = 0; report < reports; ++report)
                handler->sendNotification(*edit);
        }));
        proxy->removePluginInstance(
            proxy->createPluginInstance("/no such file", {}, {}, false, nullptr, nullptr));
    }
    proxy->ping();
    EXPECT_EQ(listener->sender, proxy.get());
}

TEST_F(OwnershipTest, WhatReceiversThrowAtAnEmptyReplyOrAtTheEndOfTheirHostIsLogged) {
    class Throwing : public PluginHostAsyncReplyHandler {
    public:
        void onReply(PluginHostReply*) override { throw std::runtime_error("at a reply"); }
        void onError(const String&) override { throw std::runtime_error("at an error"); }
    };
    class Emptily : public UpdateIORequest {
    public:
        using UpdateIORequest::UpdateIORequest;
        void perform(PluginHostContext&) override { handler->sendEmptyReply(*this); }
    };
    const CapturedOutput errors(STDERR_FILENO);
    const Ref<Throwing> receiver(new Throwing);
    proxy->sendRequest(new Emptily(1), receiver);
    proxy->ping();
    EXPECT_EQ(errors.text(), "Plug-in reply handler failed: at a reply\n");
    // Both wait as the host breaks.
    proxy->sendRequest(new UpdateIORequest(1), receiver);
    proxy->sendRequest(new UpdateIORequest(2), receiver);
    host->post(new FunctionAction([] { throw IOException("it broke"); }));
    EXPECT_THROW(proxy->ping(), IOException);
    proxy->shutdown();
    EXPECT_THAT(errors.text(), testing::EndsWith("Plugin host died: it broke\n"
                                                 "Plug-in reply handler failed: at an error\n"
                                                 "Plug-in reply handler failed: at an error\n"));
}

/// Does what a test wants as it ends.
class EndingHandler : public PluginHostAsyncReplyHandler {
public:
    explicit EndingHandler(std::function<void()> action) : action(std::move(action)) {}
    ~EndingHandler() override { action(); }
    void onReply(PluginHostReply*) override {}
    void onError(const String&) override {}

private:
    std::function<void()> action;
};

TEST_F(OwnershipTest, AReferenceThatAReceiverMakesOfAProxyThatIsGoingKeepsItAlive) {
    Ref<LocalPluginHostProxy> kept;
    LocalPluginHostProxy* going = proxy.get();
    // Nothing answers it: it ends with the shutdown.
    proxy->sendRequest(new UpdateIORequest(1), new EndingHandler([&] { kept = going; }));
    proxy = nullptr;
    ASSERT_EQ(kept.get(), going);
    EXPECT_EQ(references(*kept), 1);
    EXPECT_TRUE(kept->isClosed());
    kept = nullptr;
}

TEST_F(OwnershipTest, AReceiverThatEndsInAShutdownMayDropTheLastReference) {
    LocalPluginHostProxy* going = proxy.get();
    proxy->sendRequest(new UpdateIORequest(1), new EndingHandler([&] { proxy = nullptr; }));
    going->shutdown();
    EXPECT_FALSE(proxy);
    // The proxy has joined its thread and let go of the host.
    EXPECT_EQ(references(*host), 1);
}
