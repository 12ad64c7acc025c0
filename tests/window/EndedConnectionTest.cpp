// Windows whose server, or whose place on it, has gone. If these fail, an editor that outlives its screen
// takes the music with it.

#include "support/CapturedOutput.h"
#include "support/TestHost.h"
#include "support/XClient.h"
#include "window/XcbPluginWindow.h"

#include <gtest/gtest.h>

#include <optional>
#include <stdexcept>
#include <unistd.h>

using namespace test_support;

namespace {

/// The client is gone: whatever it is told fails.
class BrokenHandler : public LoggingHandler {
public:
    using LoggingHandler::LoggingHandler;
    void sendNotification(PluginHostNotification&) override { throw std::runtime_error("nobody listens"); }
};

/// A window of a host whose main loop doesn't run.
class EndedConnectionTest : public testing::Test {
protected:
    ~EndedConnectionTest() override {
        window.reset();
        test.host->instances.remove(3);
    }

    TestHost test;
    XClient client;
    Ref<FakePluginInstance> instance = test.addInstance(3);
    std::optional<XcbPluginWindow> window{std::in_place, test.host->windows, instance.get(), 0};
};

} // namespace

TEST_F(EndedConnectionTest, NothingIsDoneOnAConnectionThatHasEnded) {
    ASSERT_TRUE(window->create());
    test.host->windows.display.disconnect();
    window->show();
    window->hide();
    window->setTitle("Tone");
    window->resize(123, 45);
    window->move(17, 29);
    test.host->windows.display.sendSettledEvent(window->getWindowId(), 1);
    const CapturedOutput errors(STDERR_FILENO);
    EXPECT_FALSE(window->waitForPluginWindow());
    EXPECT_EQ(errors.text(), "VST plugin did not create it's window inside the plugin window\n");
    EXPECT_FALSE(XcbPluginWindow(test.host->windows, instance.get(), 0).create());
}

TEST_F(EndedConnectionTest, AWindowThatAnotherClientHasDestroyedIsMovedNowhere) {
    ASSERT_TRUE(window->create());
    const uint32_t id = window->getWindowId();
    xcb_destroy_window(client.connection, id);
    client.sync();
    EXPECT_FALSE(client.windowExists(id));
    window->move(17, 29);
    EXPECT_EQ(xcb_connection_has_error(test.host->windows.display.connection), 0);
}

TEST_F(EndedConnectionTest, AWindowWhoseClosingNobodyHearsEndsTheProcessWithoutAWord) {
    const Ref<BrokenHandler> broken(new BrokenHandler(test.host, test.log));
    test.host->handler = broken.get();
    // Nothing of the window goes through the connection that both processes have.
    test.host->windows.display.disconnect();
    EXPECT_EXIT(
        {
            window.reset();
            _exit(0);
        },
        testing::ExitedWithCode(255), "^$");
    test.host->handler = test.handler.get();
    broken->host = nullptr;
}
