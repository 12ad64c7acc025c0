// What the host's end of the protocol puts into its pipes. If these fail, a client takes a reply for another
// one, waits for bytes that never come, or loses step.

#include "host/RemotePluginHostProxyHandler.h"
#include "plugin/PluginHostNotifications.h"
#include "plugin/PluginHostReplies.h"
#include "plugin/PluginHostRequests.h"
#include "support/StateBytes.h"
#include "support/TestHost.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <poll.h>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

using namespace test_support;

namespace {

constexpr int patience = 5000; // milliseconds

/// A client's FIFO, made without the program's own classes. Open for both directions, so that neither side
/// waits for the other.
class RawFifo {
public:
    explicit RawFifo(const std::string& channel)
        : path(std::string("/tmp/pipes-") + std::getenv("USER") + "/tanvex/engine/plugin7/" + channel) {
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        if (mkfifo(path.c_str(), 0600) != 0)
            throw std::runtime_error("no FIFO at " + path);
        descriptor = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
    }
    ~RawFifo() {
        close();
        unlink(path.c_str());
    }
    RawFifo(const RawFifo&) = delete;
    RawFifo& operator=(const RawFifo&) = delete;

    void close() {
        if (descriptor >= 0)
            ::close(descriptor);
        descriptor = -1;
    }

    /// The bytes that are there, after a wait for the first.
    std::string read() {
        pollfd ready{descriptor, POLLIN, 0};
        if (poll(&ready, 1, patience) != 1)
            return "nothing within 5 s";
        char bytes[4096];
        const ssize_t count = ::read(descriptor, bytes, sizeof bytes);
        return hexOf(bytes, static_cast<size_t>(std::max<ssize_t>(count, 0)));
    }

    bool isEmpty() {
        pollfd ready{descriptor, POLLIN, 0};
        return poll(&ready, 1, 0) == 0;
    }

private:
    std::string path;
    int descriptor = -1;
};

class HandlerFramesTest : public testing::Test {
protected:
    HandlerFramesTest() {
        std::signal(SIGPIPE, SIG_IGN);
        handler->openPipes();
    }
    ~HandlerFramesTest() override { handler->host = nullptr; }

    TestHost test;
    Ref<FakePluginInstance> instance = test.addInstance(3);
    RawFifo mainToClient{"main-to-client"};
    RawFifo mainFromClient{"main-from-client"};
    RawFifo asyncFromClient{"async-replies-from-client"};
    Ref<RemotePluginHostProxyHandler> handler{new RemotePluginHostProxyHandler(test.host, 7)};
};

} // namespace

TEST_F(HandlerFramesTest, APingIsAnsweredByTheOneByte01OnTheMainPipe) {
    PingRequest ping;
    handler->sendEmptyReply(ping);
    EXPECT_EQ(mainFromClient.read(), golden("01"));
    EXPECT_TRUE(asyncFromClient.isEmpty());
}

TEST_F(HandlerFramesTest, AFailedSynchronousRequestIsAZeroAndItsWords) {
    PingRequest ping;
    handler->sendError(ping, "no");
    EXPECT_EQ(mainFromClient.read(), golden("00 00 00 00 02 'no'"));
    EXPECT_TRUE(asyncFromClient.isEmpty());
}

TEST_F(HandlerFramesTest, AnAsynchronousReplyIsItsRequestIdAOneAndItsPayload) {
    UpdateIORequest request(3);
    request.requestId = 9;
    DefineIoReply reply(*instance);
    handler->sendReply(request, reply);
    EXPECT_EQ(asyncFromClient.read(),
              golden("09 00 00 00 01 03 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00") + golden(emptyState));
    EXPECT_TRUE(mainFromClient.isEmpty());
}

TEST_F(HandlerFramesTest, AReplyWithoutAPayloadEndsInItsSuccess) {
    LoadPresetRequest request(3, "a.fxp");
    request.requestId = 0x01020304;
    LoadPresetReply reply(3, "a.fxp");
    handler->sendReply(request, reply);
    EXPECT_EQ(asyncFromClient.read(), golden("04 03 02 01 01"));
    handler->sendEmptyReply(request);
    EXPECT_EQ(asyncFromClient.read(), golden("04 03 02 01 01"));
}

TEST_F(HandlerFramesTest, AFailedAsynchronousRequestIsItsIdAZeroAndItsWords) {
    SavePresetRequest request(3, "a.fxp");
    request.requestId = 9;
    handler->sendError(request, "é");
    EXPECT_EQ(asyncFromClient.read(), golden("09 00 00 00 00 80 00 00 01 00 E9"));
    handler->sendError(request, "");
    EXPECT_EQ(asyncFromClient.read(), golden("09 00 00 00 00 00 00 00 00"));
    EXPECT_TRUE(mainFromClient.isEmpty());
}

TEST_F(HandlerFramesTest, NotificationsStandBehindAZeroId) {
    PluginWindowClosedNotification closed(5, handler.get());
    closed.run();
    EXPECT_EQ(asyncFromClient.read(), golden("00 00 00 00 04 05 00 00 00"));
    PluginWindowMovedNotification moved(1, handler.get(), 10, 20, 300, 200);
    moved.run();
    EXPECT_EQ(asyncFromClient.read(),
              golden("00 00 00 00 05 01 00 00 00 00 00 00 0A 00 00 00 14 00 00 01 2C 00 00 00 C8"));
    const Ref<FakePluginInstance> second = test.addInstance(2);
    UpdateParameterNotification value(*second, handler.get(), 3, 0.5F);
    value.run();
    EXPECT_EQ(asyncFromClient.read(), golden("00 00 00 00 00 02 00 00 00 03 00 00 00 00 00 00 3F"));
    UpdateParameterDisplayNotification display(*second, handler.get(), 3, "Gain", "±0");
    display.run();
    EXPECT_EQ(asyncFromClient.read(), golden("00 00 00 00 01 02 00 00 00 03 00 00 00"
                                             "00 00 00 04 'Gain' 80 00 00 02 00 B1 00 30"));
    BeginOrEndEditParameterNotification edit(2, handler.get(), 3, false);
    edit.run();
    EXPECT_EQ(asyncFromClient.read(), golden("00 00 00 00 03 02 00 00 00 03 00 00 00 00"));
    UpdateAllParametersNotification all(*instance, handler.get());
    all.run();
    EXPECT_EQ(asyncFromClient.read(), golden("00 00 00 00 02 03 00 00 00") + golden(emptyState));
    EXPECT_TRUE(mainFromClient.isEmpty());
}

TEST_F(HandlerFramesTest, AClientThatIsGoneIsAnExceptionOfTheWrite) {
    mainFromClient.close();
    asyncFromClient.close();
    PingRequest ping;
    EXPECT_THROW(handler->sendEmptyReply(ping), IOException);
    PluginWindowClosedNotification closed(5, handler.get());
    EXPECT_THROW(handler->sendNotification(closed), IOException);
}
