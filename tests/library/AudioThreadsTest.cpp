// Plug-ins that are rendered while other threads call. If these fail, two threads get one pipe's answers
// mixed up, a slow plug-in holds up the workers beside its own, or the end of a plug-in takes its host's
// audio along.

#include "library/AudioTest.h"

#include <atomic>
#include <future>
#include <thread>

using namespace test_support;
using testing::ElementsAre;

namespace {

/// A host with two workers, and a plug-in on the first that stays in its block until the test lets it go.
class AudioThreadsTest : public PluginTest {
protected:
    AudioThreadsTest() { waiting.start(); }

    /// Renders a block that waits, on a thread of its own.
    std::future<plugin_host_status> beginLongBlock() {
        auto result = std::async(std::launch::async, [handle = waiting.get()] {
            return plugin_host_plugin_process(handle, 256, 0, nullptr);
        });
        EXPECT_TRUE(waitForLine(record, "waits"));
        return result;
    }
    void openGate() const { touch(gate); }

    static plugin_host_status process(plugin_host::plugin& plugin) {
        return plugin_host_plugin_process(plugin.get(), 256, 0, nullptr);
    }

    plugin_host::session_options twoWorkers() {
        plugin_host::session_options result = options();
        result.worker_count = 2;
        return result;
    }

    const std::string record = directory / "record";
    const std::string gate = directory / "gate";
    const ScopedEnvironment recordVariable{"PLUGIN_TEST_RECORD", record.c_str()};
    const ScopedEnvironment gateVariable{"PLUGIN_TEST_BLOCK_GATE", gate.c_str()};
    plugin_host::session session{twoWorkers()};
    plugin_host::plugin waiting{session, {.path = testPlugin("waits-for-its-gate.so")}};
};

} // namespace

TEST_F(AudioThreadsTest, ASecondThreadOnAWorkerIsBusy) {
    plugin_host::plugin neighbour(session, {.path = examplePlugin("echo.so")});
    neighbour.start();
    auto block = beginLongBlock();
    EXPECT_EQ(process(waiting), PLUGIN_HOST_BUSY);
    EXPECT_EQ(process(neighbour), PLUGIN_HOST_BUSY);
    EXPECT_EQ(plugin_host_plugin_stop(neighbour.get()), PLUGIN_HOST_BUSY);
    EXPECT_EQ(plugin_host_plugin_start(neighbour.get()), PLUGIN_HOST_BUSY);
    openGate();
    EXPECT_EQ(block.get(), PLUGIN_HOST_OK);
    EXPECT_EQ(process(waiting), PLUGIN_HOST_OK);
    EXPECT_EQ(process(neighbour), PLUGIN_HOST_OK);
}

TEST_F(AudioThreadsTest, AnotherWorkerRendersMeanwhile) {
    plugin_host::plugin other(session, {.path = examplePlugin("echo.so"), .worker = 1});
    other.start();
    auto block = beginLongBlock();
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(process(other), PLUGIN_HOST_OK);
    EXPECT_EQ(block.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    openGate();
    EXPECT_EQ(block.get(), PLUGIN_HOST_OK);
}

TEST_F(AudioThreadsTest, TwoWorkersRenderSideBySide) {
    openGate();
    plugin_host::plugin first(session, {.path = testPlugin("shows-its-block.so")});
    plugin_host::plugin second(session, {.path = testPlugin("shows-its-block.so"), .worker = 1});
    std::atomic<int> rendered = 0;
    const auto play = [&](plugin_host::plugin& plugin, float level) {
        plugin.start();
        for (int i = 0; i < 500; ++i) {
            plugin.begin().channels[0][5] = level;
            if (plugin.process(256).channels[1][5] == level)
                ++rendered;
        }
        plugin.stop();
    };
    std::thread thread([&] { play(second, 0.5F); });
    play(first, 0.25F);
    thread.join();
    EXPECT_EQ(rendered, 1000);
}

TEST_F(AudioThreadsTest, AStartedPlugInIsStoppedBeforeItIsDestroyed) {
    openGate();
    plugin_host::plugin neighbour(session, {.path = examplePlugin("echo.so")});
    neighbour.start();
    EXPECT_EQ(process(waiting), PLUGIN_HOST_OK);
    EXPECT_EQ(plugin_host_plugin_destroy(waiting.get()), PLUGIN_HOST_OK);
    EXPECT_EQ(process(waiting), PLUGIN_HOST_INVALID_HANDLE);
    ASSERT_TRUE(waitForLine(record, "closed"));
    EXPECT_THAT(linesOf(record), ElementsAre("made", "started", "waits", "stopped", "closed"));
    EXPECT_EQ(process(neighbour), PLUGIN_HOST_OK);
}

TEST_F(AudioThreadsTest, ADestructionWaitsForTheBlockInProgress) {
    auto block = beginLongBlock();
    std::atomic<bool> isDestroyed = false;
    std::thread destroying([&] {
        EXPECT_EQ(plugin_host_plugin_destroy(waiting.get()), PLUGIN_HOST_OK);
        isDestroyed = true;
    });
    // It would be through in this time.
    EXPECT_FALSE(eventually([&] { return isDestroyed.load(); }, std::chrono::milliseconds(200)));
    openGate();
    destroying.join();
    EXPECT_EQ(block.get(), PLUGIN_HOST_OK);
    EXPECT_TRUE(waitForLine(record, "closed"));
}

TEST_F(AudioThreadsTest, ADestructionWaitsAsLongAsARequestMayTake) {
    plugin_host::session_options impatient = options();
    impatient.request_timeout = std::chrono::milliseconds(300);
    plugin_host::session own(impatient);
    plugin_host::plugin slow(
        own, {.path = testPlugin("waits-for-its-gate.so"), .timeout = std::chrono::seconds(10)});
    slow.start();
    auto block = std::async(std::launch::async, [&] { return process(slow); });
    ASSERT_TRUE(waitForLine(record, "waits"));
    EXPECT_EQ(plugin_host_plugin_destroy(slow.get()), PLUGIN_HOST_TIMED_OUT);
    EXPECT_THAT(plugin_host_error(), testing::HasSubstr("waits-for-its-gate.so\" doesn't end"));
    openGate();
    EXPECT_EQ(block.get(), PLUGIN_HOST_OK);
    // The handle is as valid as before.
    EXPECT_EQ(process(slow), PLUGIN_HOST_OK);
}

TEST_F(AudioThreadsTest, AKilledHostEndsTheBlock) {
    auto block = beginLongBlock();
    plugin_host_host* host = nullptr;
    ASSERT_EQ(plugin_host_plugin_get_host(waiting.get(), &host), PLUGIN_HOST_OK);
    ASSERT_EQ(plugin_host_host_kill(host), PLUGIN_HOST_OK);
    EXPECT_EQ(block.get(), PLUGIN_HOST_DEAD);
    plugin_host_output output{};
    output.size = sizeof output;
    EXPECT_EQ(plugin_host_plugin_process(waiting.get(), 256, 0, &output), PLUGIN_HOST_DEAD);
    EXPECT_EQ(output.channels, nullptr);
    EXPECT_EQ(plugin_host_plugin_begin(waiting.get(), nullptr), PLUGIN_HOST_DEAD);
    EXPECT_EQ(plugin_host_plugin_stop(waiting.get()), PLUGIN_HOST_DEAD);
}
