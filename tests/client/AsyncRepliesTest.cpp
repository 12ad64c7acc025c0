// What a host sends unasked, on its way to whoever waits for it. If these fail, a client's view of a plug-in
// goes stale, its requests are never answered, or it trusts a stream that is out of step.

#include "ClientTest.h"

#include "plugin/PluginException.h"
#include "plugin/PluginHostRequests.h"
#include "support/Eventually.h"
#include "support/FailureText.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <utility>

using namespace test_support;

namespace {

constexpr const char* diedText = "Plugin host died: ";

/// One answer to a request, written down.
class RecordingHandler : public PluginHostAsyncReplyHandler {
public:
    void onReply(PluginHostReply* reply) override {
        add(reply != nullptr ? "reply " + std::to_string(reply->getType()) : "no reply");
    }
    void onError(const String& message) override { add("error " + message.toStdString()); }

    std::vector<std::string> getLines() const {
        const std::lock_guard lock(mutex);
        return lines;
    }

protected:
    virtual void add(const std::string& line) {
        const std::lock_guard lock(mutex);
        lines.push_back(line);
    }

private:
    mutable std::mutex mutex;
    std::vector<std::string> lines;
};

std::string sends(const std::string& hex) {
    return " write:async-replies:" + hex;
}

// Frames that a host may send.

// An instance with neither channels nor parameters nor programs.
constexpr const char* emptyState = "00000000"
                                   "00000000"
                                   "00000000"
                                   "00000000"
                                   "00"
                                   "00000000"
                                   "000000";
// An end of an edit of parameter 9 of instance 1.
constexpr const char* endOfEdit = "00000000"
                                  "03"
                                  "01000000"
                                  "09000000"
                                  "00";
// The reply to the request 1: instance 1, no inputs, two outputs, no latency.
const std::string ioReply = std::string("01000000"
                                        "01"
                                        "01000000"
                                        "00000000"
                                        "02000000"
                                        "00000000") +
                            emptyState;

// A create with empty texts, as the client sends it.
constexpr const char* readsCreate = " read:main:22";
constexpr const char* readsUpdateIo = " read:main:9";

class AsyncRepliesTest : public ClientTest {
protected:
    static int32_t create(RemotePluginHostProxy& proxy, const Ref<PluginHostNotificationListener>& listener) {
        return proxy.createPluginInstance("", "", "", false, listener, nullptr);
    }

    const Ref<RecordingListener> listener{new RecordingListener};
    const Ref<RecordingHandler> handler{new RecordingHandler};
};

TEST_F(AsyncRepliesTest, EachNotificationReachesItsOperationOfTheListenerInOrder) {
    const StandIn standIn("connect" + std::string(readsCreate) +
                          sends("00000000"
                                "00"
                                "01000000"
                                "03000000"
                                "0000003f") +
                          sends("00000000"
                                "01"
                                "01000000"
                                "03000000"
                                "00000004"
                                "4761696e"
                                "80000001"
                                "00e9") +
                          sends("00000000"
                                "02"
                                "01000000" +
                                std::string(emptyState)) +
                          sends("00000000"
                                "03"
                                "01000000"
                                "07000000"
                                "01") +
                          sends(endOfEdit) +
                          sends("00000000"
                                "05"
                                "01000000"
                                "0000000a"
                                "00000014"
                                "0000012c"
                                "000000c8") +
                          sends("00000000"
                                "04"
                                "01000000"));
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    create(*proxy, listener);
    EXPECT_EQ(listener->waitForLines(7),
              (std::vector<std::string>{"1: value 3 0.5", "1: display 3 Gain \xc3\xa9", "1: all 0",
                                        "1: begin 7", "1: end 9", "1: moved 10 20 300 200", "1: closed"}));
}

TEST_F(AsyncRepliesTest, ANotificationGoesToTheListenerOfItsInstanceAlone) {
    const StandIn standIn("connect" + std::string(readsCreate) + readsCreate +
                          sends("00000000"
                                "04"
                                "02000000") +
                          sends(endOfEdit));
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    const Ref<RecordingListener> second(new RecordingListener);
    create(*proxy, listener);
    create(*proxy, second);
    EXPECT_EQ(second->waitForLines(1), std::vector<std::string>{"2: closed"});
    EXPECT_EQ(listener->waitForLines(1), std::vector<std::string>{"1: end 9"});
}

TEST_F(AsyncRepliesTest, ANotificationThatNobodyListensToIsReadAndDropped) {
    const StandIn standIn("connect" + std::string(readsCreate) + readsCreate +
                          // The first instance has no listener, and there is no instance 3.
                          sends(endOfEdit) +
                          sends("00000000"
                                "04"
                                "03000000") +
                          sends("00000000"
                                "04"
                                "02000000"));
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    create(*proxy, nullptr);
    create(*proxy, listener);
    EXPECT_EQ(listener->waitForLines(1), std::vector<std::string>{"2: closed"});
    EXPECT_EQ(manager->count(), 0u);
}

TEST_F(AsyncRepliesTest, ANotificationForARemovedInstanceIsDropped) {
    const StandIn standIn("connect" + std::string(readsCreate) + readsCreate + " read:main:1" +
                          sends(endOfEdit) +
                          sends("00000000"
                                "04"
                                "02000000"));
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    const Ref<RecordingListener> second(new RecordingListener);
    const int32_t first = create(*proxy, listener);
    create(*proxy, second);
    proxy->removePluginInstance(first);
    proxy->showAllGUIs();
    second->waitForLines(1);
    EXPECT_TRUE(listener->getLines().empty());
}

TEST_F(AsyncRepliesTest, AnUnknownNotificationIsAFailedAssertionAndTakesTheConnectionDown) {
    const StandIn standIn("connect" + std::string(readsCreate) +
                          sends("00000000"
                                "06") +
                          " wait");
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    create(*proxy, listener);
    ASSERT_TRUE(hears(1));
    EXPECT_TRUE(manager->getDeaths().front().onReplyThread);
    EXPECT_TRUE(proxy->isClosed());
    EXPECT_EQ(occurrences(errorText(), "Illegal state: Unknown notification type"), 1u) << errorText();
    EXPECT_EQ(occurrences(errorText(), "Condition: false"), 1u) << errorText();
}

TEST_F(AsyncRepliesTest, AReplyReachesTheHandlerOfItsRequest) {
    const StandIn standIn("connect" + std::string(readsUpdateIo) + sends(ioReply));
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    const Ref<ReplyWaiter> waiter(new ReplyWaiter(*proxy));
    proxy->updateIO(1, waiter);
    const auto reply = waiter->waitFor<DefineIoReply>(patience);
    EXPECT_EQ(reply->getType(), 3);
    EXPECT_EQ(reply->instanceId, 1);
    EXPECT_EQ(reply->inputChannelCount, 0);
    EXPECT_EQ(reply->outputChannelCount, 2);
}

TEST_F(AsyncRepliesTest, RepliesFindTheirRequestsWhateverTheirOrder) {
    const StandIn standIn("connect read:main:26" +
                          sends("02000000"
                                "00"
                                "00000006"
                                "7365636f6e64") +
                          sends("01000000"
                                "01"));
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    const Ref<ReplyWaiter> first(new ReplyWaiter(*proxy));
    const Ref<ReplyWaiter> second(new ReplyWaiter(*proxy));
    proxy->loadPreset(4, "", first);
    proxy->savePreset(5, "", second);
    const auto loaded = first->waitFor<LoadPresetReply>(patience);
    EXPECT_EQ(loaded->getType(), 2);
    EXPECT_EQ(loaded->instanceId, 4);
    try {
        second->wait(patience);
        ADD_FAILURE() << "no failure";
    } catch (const PluginException& exception) {
        EXPECT_EQ(exception.getMessage().toStdString(), "second");
    }
    EXPECT_FALSE(proxy->isClosed());
}

TEST_F(AsyncRepliesTest, AReplyForARequestWithoutAHandlerIsReadAndDropped) {
    const StandIn standIn("connect" + std::string(readsUpdateIo) + sends(ioReply) + readsUpdateIo +
                          sends("02000000"
                                "00"
                                "00000002"
                                "6e6f") +
                          readsUpdateIo +
                          sends("03000000"
                                "00"
                                "00000004"
                                "6e6f7065"));
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    proxy->updateIO(1, nullptr);
    proxy->updateIO(1, nullptr);
    proxy->updateIO(1, handler);
    EXPECT_TRUE(eventually([&] { return !handler->getLines().empty(); }));
    EXPECT_EQ(handler->getLines(), std::vector<std::string>{"error nope"});
    EXPECT_EQ(manager->count(), 0u);
}

TEST_F(AsyncRepliesTest, AReplyThatComesAfterItsInstanceWasRemovedTakesTheConnectionDown) {
    const StandIn standIn("connect" + std::string(readsCreate) + readsUpdateIo + " read:main:1" +
                          sends("02000000"
                                "00"
                                "00000000") +
                          " wait");
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    const int32_t id = create(*proxy, listener);
    proxy->updateIO(id, handler);
    proxy->removePluginInstance(id);
    proxy->showAllGUIs();
    ASSERT_TRUE(hears(1));
    EXPECT_EQ(manager->getDeaths().front().message, "Invalid async request id 2");
    EXPECT_TRUE(manager->getDeaths().front().onReplyThread);
    EXPECT_EQ(occurrences(errorText(), "Plugin host died: Invalid async request id 2\n"), 1u);
    EXPECT_TRUE(handler->getLines().empty());
    EXPECT_EQ(lossText([&] { proxy->ping(); }), lostText);
}

TEST_F(AsyncRepliesTest, RemovingAnInstanceLeavesTheRequestsOfOthersAlone) {
    const StandIn standIn("connect" + std::string(readsUpdateIo) + readsUpdateIo + " read:main:1" +
                          sends("01000000"
                                "00"
                                "00000002"
                                "6e6f"));
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    proxy->updateIO(1, handler);
    proxy->updateIO(2, nullptr);
    proxy->removePluginInstance(2);
    proxy->showAllGUIs();
    EXPECT_TRUE(eventually([&] { return !handler->getLines().empty(); }));
    EXPECT_EQ(handler->getLines(), std::vector<std::string>{"error no"});
}

TEST_F(AsyncRepliesTest, ARequestIsAnsweredOnce) {
    const StandIn standIn("connect" + std::string(readsUpdateIo) + sends(ioReply + ioReply) + " wait");
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    proxy->updateIO(1, handler);
    ASSERT_TRUE(hears(1));
    EXPECT_EQ(manager->getDeaths().front().message, "Invalid async request id 1");
    EXPECT_EQ(handler->getLines(), std::vector<std::string>{"reply 3"});
}

TEST_F(AsyncRepliesTest, AReplyThatIsWholeOnlyAfterTheShutdownIsNotDelivered) {
    const StandIn standIn("connect" + std::string(readsUpdateIo) + sends(ioReply.substr(0, 20)) +
                          " drained:async-replies read:main:1 write:main:01 read:main:1" +
                          sends(ioReply.substr(20)));
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    proxy->updateIO(1, handler);
    proxy->ping();
    proxy->shutdown();
    EXPECT_TRUE(handler->getLines().empty());
    EXPECT_EQ(manager->count(), 0u);
}

TEST_F(AsyncRepliesTest, AnUnknownRequestIdTakesTheConnectionDown) {
    const StandIn standIn("connect" + sends("ffffffff00") + " wait");
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    ASSERT_TRUE(hears(1));
    EXPECT_EQ(manager->getDeaths().front().message, "Invalid async request id -1");
}

TEST_F(AsyncRepliesTest, AHostThatDiesInTheMiddleOfAFrameIsADeathAndNoReply) {
    const StandIn standIn("connect" + std::string(readsUpdateIo) + sends(ioReply.substr(0, 30)) + " exit:0");
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    proxy->updateIO(1, handler);
    ASSERT_TRUE(hears(1));
    EXPECT_TRUE(manager->getDeaths().front().onReplyThread);
    EXPECT_EQ(occurrences(errorText(), diedText), 1u);
    EXPECT_TRUE(handler->getLines().empty());
}

/// Throws what it is given, whatever comes.
template <class Failure>
class FailingHandler : public RecordingHandler {
public:
    explicit FailingHandler(const Failure& failure) : failure(failure) {}

protected:
    void add(const std::string&) override { throw failure; }

private:
    Failure failure;
};

template <class Failure>
Ref<PluginHostAsyncReplyHandler> failing(const Failure& failure) {
    return new FailingHandler<Failure>(failure);
}

TEST_F(AsyncRepliesTest, WhatAReplyHandlerThrowsIsLoggedAndReadingGoesOn) {
    const std::string noReply = "00"
                                "00000002"
                                "6e6f";
    const StandIn standIn("connect" + std::string(readsUpdateIo) + sends(ioReply) + readsUpdateIo +
                          sends("02000000" + noReply) + readsUpdateIo + sends("03000000" + noReply) +
                          readsUpdateIo + sends("04000000" + noReply) + readsUpdateIo +
                          sends("05000000" + noReply));
    const CapturedOutput output(STDOUT_FILENO);
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    proxy->updateIO(1, failing(PluginException("of its own")));
    proxy->updateIO(1, failing(IOException("of a file")));
    proxy->updateIO(1, failing(std::runtime_error("strange")));
    proxy->updateIO(1, failing(7));
    proxy->updateIO(1, handler);
    EXPECT_TRUE(eventually([&] { return !handler->getLines().empty(); }));
    EXPECT_EQ(handler->getLines(), std::vector<std::string>{"error no"});
    EXPECT_EQ(errorText(), "Plug-in reply handler failed: of its own\n"
                           "Plug-in reply handler failed: of a file\n"
                           "Plug-in reply handler failed: strange\n"
                           "Plug-in reply handler failed: Unknown exception\n");
    EXPECT_EQ(output.text(), "");
    EXPECT_EQ(manager->count(), 0u);
    EXPECT_FALSE(proxy->isClosed());
}

/// Throws at the first notification.
class FailingOnceListener : public RecordingListener {
protected:
    void add(const std::string& line) override {
        if (!std::exchange(hasFailed, true))
            throw IOException("of a file");
        RecordingListener::add(line);
    }

private:
    bool hasFailed = false;
};

TEST_F(AsyncRepliesTest, WhatAListenerThrowsIsLoggedAndReadingGoesOn) {
    const StandIn standIn("connect" + std::string(readsCreate) + sends(endOfEdit) + sends(endOfEdit));
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    const Ref<FailingOnceListener> once(new FailingOnceListener);
    create(*proxy, once);
    EXPECT_EQ(once->waitForLines(1), std::vector<std::string>{"1: end 9"});
    EXPECT_EQ(errorText(), "Plug-in notification listener failed: of a file\n");
    EXPECT_EQ(manager->count(), 0u);
}

/// A request whose reply can't be read, for another reason than the stream's.
template <class Failure>
class UnreadableRequest : public UpdateIORequest {
public:
    explicit UnreadableRequest(const Failure& failure) : UpdateIORequest(1), failure(failure) {}
    Ref<PluginHostReply> readReply(InputStream&) override { throw failure; }

private:
    Failure failure;
};

TEST_F(AsyncRepliesTest, AReplyThatCannotBeReadEndsTheThreadWithOneLineOnTheStandardOutputStream) {
    const StandIn standIn("connect" + std::string(readsUpdateIo) + sends(ioReply));
    const CapturedOutput output(STDOUT_FILENO);
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    proxy->sendRequest(new UnreadableRequest<PluginException>(PluginException("of its own")), handler);
    const std::string expected = "Plugin host async reply reader thread crashedof its own\n";
    EXPECT_TRUE(eventually([&] { return occurrences(output.text(), expected) == 1; })) << output.text();
    EXPECT_EQ(manager->count(), 0u);
}

TEST_F(AsyncRepliesTest, AReplyThatCannotBeReadForAnotherReasonEndsTheThreadWithOneLineToo) {
    const StandIn standIn("connect" + std::string(readsUpdateIo) + sends(ioReply));
    const CapturedOutput output(STDOUT_FILENO);
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    proxy->sendRequest(new UnreadableRequest<std::runtime_error>(std::runtime_error("strange")), handler);
    const std::string expected = "Plugin host async reply reader thread crashed with unknown exception\n";
    EXPECT_TRUE(eventually([&] { return occurrences(output.text(), expected) == 1; })) << output.text();
    EXPECT_EQ(manager->count(), 0u);
}

TEST_F(AsyncRepliesTest, TheThreadThatReadsRepliesHasAName) {
    const StandIn standIn("connect");
    const Ref<RemotePluginHostProxy> proxy = startStandIn();
    EXPECT_TRUE(eventually([] {
        for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
            std::ifstream file(task.path() / "comm");
            std::string name;
            std::getline(file, name);
            // The system keeps 15 bytes.
            if (name == "Plugin async re")
                return true;
        }
        return false;
    }));
}

} // namespace
