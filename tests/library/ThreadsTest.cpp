// Eight threads over one session: they make, describe, save and destroy plug-ins, and kill hosts meanwhile.
// If these fail, an application with threads of its own crashes or hangs now and then.

#include "HostTest.h"

#include "support/RealDeaths.h"

#include <array>
#include <atomic>
#include <random>
#include <thread>
#include <vector>

using namespace test_support;

namespace {

constexpr size_t threadCount = 8;
constexpr int rounds = 12;
constexpr size_t hostCount = 3;

bool isExpected(plugin_host_status status) {
    return status == PLUGIN_HOST_OK || status == PLUGIN_HOST_DEAD || status == PLUGIN_HOST_INVALID_HANDLE ||
           status == PLUGIN_HOST_BUSY;
}

class ThreadsTest : public HostTest {
protected:
    /// One plug-in's life on a host that any thread may kill.
    void useAHost(const OwnSession& session, plugin_host_host* host, std::atomic<int>& made) {
        plugin_host_plugin_options options{};
        options.size = sizeof options;
        const std::string path = examplePlugin("echo");
        options.path = path.c_str();
        options.host = host;
        plugin_host_plugin* plugin = nullptr;
        const plugin_host_status created = plugin_host_plugin_create(session, &options, &plugin);
        EXPECT_TRUE(isExpected(created)) << plugin_host_error();
        if (created != PLUGIN_HOST_OK)
            return;
        ++made;
        const plugin_host_description* description = nullptr;
        void* bytes = nullptr;
        size_t size = 0;
        EXPECT_TRUE(isExpected(plugin_host_plugin_describe(plugin, &description))) << plugin_host_error();
        EXPECT_TRUE(isExpected(plugin_host_plugin_save_state(plugin, &bytes, &size))) << plugin_host_error();
        EXPECT_TRUE(isExpected(plugin_host_plugin_start(plugin)));
        EXPECT_TRUE(isExpected(plugin_host_plugin_process(plugin, 64, 0, nullptr)) ||
                    plugin_host_plugin_process(plugin, 64, 0, nullptr) == PLUGIN_HOST_INVALID_STATE);
        EXPECT_TRUE(isExpected(plugin_host_host_ping(host, 0))) << plugin_host_error();
        EXPECT_EQ(plugin_host_plugin_destroy(plugin), PLUGIN_HOST_OK) << plugin_host_error();
        plugin_host_description_free(description);
        plugin_host_free(bytes);
    }

    const RealDeaths realDeaths{};
};

TEST_F(ThreadsTest, ShareOneSession) {
    std::atomic<int> made{0};
    std::atomic<int> killed{0};
    {
        SessionOptions options(record);
        options.request_timeout = 60'000;
        const OwnSession session(options);
        std::array<std::atomic<plugin_host_host*>, hostCount> hosts{};
        for (auto& host : hosts)
            host = session.startHost();
        const auto work = [&](size_t number) {
            std::mt19937 random(static_cast<uint32_t>(number));
            for (int round = 0; round < rounds; ++round) {
                std::atomic<plugin_host_host*>& place = hosts[random() % hostCount];
                if (number == 0 && round % 4 == 3) {
                    plugin_host_host* old = place.exchange(session.startHost());
                    killed += plugin_host_host_kill(old) == PLUGIN_HOST_OK;
                    EXPECT_EQ(plugin_host_host_destroy(old), PLUGIN_HOST_OK);
                } else {
                    useAHost(session, place, made);
                }
            }
        };
        std::vector<std::thread> threads;
        for (size_t number = 0; number < threadCount; ++number)
            threads.emplace_back(work, number);
        for (std::thread& thread : threads)
            thread.join();
    }
    EXPECT_GT(made, rounds);
    EXPECT_EQ(killed, rounds / 4);
    // Each plug-in has its last callback, and no other comes twice.
    EXPECT_EQ(record.countEvents("destroyed"), static_cast<size_t>(made));
    EXPECT_LE(record.countEvents("died"), static_cast<size_t>(killed));
}

TEST_F(ThreadsTest, DestroyOneHandleOnce) {
    const OwnSession session(record);
    plugin_host_host* host = session.startHost();
    for (int round = 0; round < rounds; ++round) {
        plugin_host_plugin* plugin = session.createPlugin(examplePlugin("echo"), host);
        std::atomic<int> destroyed{0};
        std::vector<std::thread> threads;
        for (size_t number = 0; number < threadCount; ++number) {
            threads.emplace_back([&] {
                const plugin_host_status status = plugin_host_plugin_destroy(plugin);
                EXPECT_TRUE(status == PLUGIN_HOST_OK || status == PLUGIN_HOST_INVALID_HANDLE) << status;
                destroyed += status == PLUGIN_HOST_OK;
            });
        }
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_EQ(destroyed, 1);
    }
    EXPECT_TRUE(record.hears("destroyed", static_cast<size_t>(rounds)));
}

TEST_F(ThreadsTest, EndTheSessionUnderTheOthers) {
    for (int round = 0; round < 3; ++round) {
        SessionRecord own;
        OwnSession session(own);
        plugin_host_host* host = session.startHost();
        plugin_host_session* handle = session;
        std::atomic<int> calls{0};
        std::vector<std::thread> threads;
        for (size_t number = 0; number < threadCount; ++number) {
            threads.emplace_back([&] {
                const std::string path = examplePlugin("echo");
                plugin_host_plugin_options options{};
                options.size = sizeof options;
                options.path = path.c_str();
                options.host = host;
                plugin_host_status status = PLUGIN_HOST_OK;
                while (status == PLUGIN_HOST_OK) {
                    plugin_host_plugin* plugin = nullptr;
                    status = plugin_host_plugin_create(handle, &options, &plugin);
                    ++calls;
                }
                EXPECT_TRUE(status == PLUGIN_HOST_INVALID_HANDLE || status == PLUGIN_HOST_DEAD ||
                            status == PLUGIN_HOST_CANCELLED)
                    << status;
            });
        }
        EXPECT_TRUE(eventually([&] { return calls > static_cast<int>(threadCount); }));
        EXPECT_EQ(session.destroy(), PLUGIN_HOST_OK);
        for (std::thread& thread : threads)
            thread.join();
    }
}

} // namespace
