// The end of a session: it takes all along that it owns, and each plug-in gets its last callback. If these
// fail, an application can't end, or leaves processes behind.

#include "HostTest.h"

#include "support/TestDirectory.h"

#include <gmock/gmock.h>

#include <atomic>
#include <thread>

using namespace test_support;
using testing::ElementsAre;

namespace {

class SessionEndTest : public HostTest {};

TEST_F(SessionEndTest, LeavesNoHandleBehind) {
    OwnSession session(record);
    plugin_host_session* handle = session;
    plugin_host_host* host = session.startHost();
    plugin_host_plugin* plugin = session.createPlugin(examplePlugin("echo"), host);
    const pid_t process = processOf(host);
    EXPECT_EQ(session.destroy(), PLUGIN_HOST_OK);
    plugin_host_host* other = nullptr;
    EXPECT_EQ(plugin_host_session_destroy(handle), PLUGIN_HOST_INVALID_HANDLE);
    EXPECT_EQ(plugin_host_host_start(handle, nullptr, &other), PLUGIN_HOST_INVALID_HANDLE);
    EXPECT_EQ(plugin_host_host_ping(host, 0), PLUGIN_HOST_INVALID_HANDLE);
    EXPECT_EQ(plugin_host_plugin_start(plugin), PLUGIN_HOST_INVALID_HANDLE);
    EXPECT_EQ(plugin_host_plugin_destroy(plugin), PLUGIN_HOST_INVALID_HANDLE);
    EXPECT_TRUE(isGone(process)) << "the process is left until a later call";
}

TEST_F(SessionEndTest, LeavesNothingWithItsLastCall) {
    const size_t threads = Holdings::now().threads;
    {
        OwnSession session(record);
        session.createPlugin(examplePlugin("echo"));
        EXPECT_EQ(session.destroy(), PLUGIN_HOST_OK);
    }
    // No later call of the library's collects what this one has left.
    EXPECT_TRUE(eventually([&] { return Holdings::now().threads == threads; }));
    EXPECT_FALSE(Holdings::now().hasChildren);
}

TEST_F(SessionEndTest, ReportsThePluginsThatAreLeftOnItsOwnThread) {
    int first = 0;
    int second = 0;
    {
        const OwnSession session(record);
        plugin_host_host* host = session.startHost();
        session.createPlugin(examplePlugin("echo"), host, nullptr, &first);
        session.createPlugin(examplePlugin("echo"), host, nullptr, &second);
    }
    EXPECT_THAT(record.getEvents(), ElementsAre("destroyed", "destroyed"));
    EXPECT_THAT(record.getDestroyedData(), testing::UnorderedElementsAre(&first, &second));
    EXPECT_EQ(record.getThreads().count(thisThread()), 0u);
}

TEST_F(SessionEndTest, NoCallbackBeginsBehindIt) {
    {
        const OwnSession session(record);
        plugin_host_host* host = session.startHost();
        for (int plugin = 0; plugin < 4; ++plugin)
            session.createLater(examplePlugin("echo"), host);
    }
    const std::vector<std::string> events = record.getEvents();
    EXPECT_EQ(record.countEvents("destroyed"), 4u);
    EXPECT_FALSE(eventually([&] { return record.getEvents() != events; }, std::chrono::milliseconds(100)));
}

TEST_F(SessionEndTest, MayComeInsideOfACallback) {
    std::atomic<plugin_host_session*> handle{nullptr};
    std::atomic<bool> isOver{false};
    record.hook = [&](const std::string& event, plugin_host_plugin*) {
        if (event != "created 0")
            return;
        EXPECT_TRUE(eventually([&] { return handle != nullptr; }));
        EXPECT_EQ(plugin_host_session_destroy(handle), PLUGIN_HOST_OK) << plugin_host_error();
        isOver = true;
    };
    SessionOptions options(record);
    plugin_host_session* session = nullptr;
    ASSERT_EQ(plugin_host_session_create(&options, &session), PLUGIN_HOST_OK);
    handle = session;
    const std::string path = examplePlugin("echo");
    plugin_host_plugin_options pluginOptions{};
    pluginOptions.size = sizeof pluginOptions;
    pluginOptions.path = path.c_str();
    plugin_host_plugin* plugin = nullptr;
    ASSERT_EQ(plugin_host_plugin_create_async(session, &pluginOptions, &plugin), PLUGIN_HOST_OK);
    EXPECT_TRUE(eventually([&] { return isOver.load(); }, longBound));
    EXPECT_THAT(record.getEvents(plugin), ElementsAre("created 0", "destroyed"));
    EXPECT_EQ(record.getThreads().size(), 1u);
}

TEST_F(SessionEndTest, EndsCreationsThatWait) {
    const StandIn standIn("connect wait");
    plugin_host_status created = PLUGIN_HOST_OK;
    std::thread creating;
    {
        SessionOptions options(record);
        options.program_32 = options.program_64 = STAND_IN_HOST_EXECUTABLE;
        OwnSession session(options);
        plugin_host_host* host = session.startHost();
        session.createLater("/p/echo.so", host);
        creating = std::thread([&, owner = static_cast<plugin_host_session*>(session)] {
            plugin_host_plugin_options pluginOptions{};
            pluginOptions.size = sizeof pluginOptions;
            pluginOptions.path = "/p/echo.so";
            pluginOptions.host = host;
            pluginOptions.timeout = endlessly;
            plugin_host_plugin* plugin = nullptr;
            created = plugin_host_plugin_create(owner, &pluginOptions, &plugin);
            EXPECT_EQ(plugin, nullptr);
        });
        // The frame of the first request, and the beginning of the second.
        EXPECT_TRUE(eventually([&] { return Holdings::now().threads > 0; }));
        EXPECT_EQ(session.destroy(), PLUGIN_HOST_OK);
    }
    creating.join();
    EXPECT_TRUE(created == PLUGIN_HOST_CANCELLED || created == PLUGIN_HOST_INVALID_HANDLE ||
                created == PLUGIN_HOST_DEAD)
        << created;
    // The handle that the application had, and not the one that it never got.
    EXPECT_EQ(record.countEvents("destroyed"), 1u);
}

TEST_F(SessionEndTest, EndsStartsThatWait) {
    const TestDirectory directory;
    const std::string program = directory / "sleeps";
    writeShellProgram(program, "exec sleep 600");
    SessionOptions options(record);
    options.program_32 = options.program_64 = program.c_str();
    options.start_timeout = endlessly;
    OwnSession session(options);
    plugin_host_plugin* plugin = session.createLater(examplePlugin("echo"));
    EXPECT_TRUE(eventually([&] { return Holdings::now().hasChildren || !Holdings::now().fifos.empty(); }));
    EXPECT_EQ(session.destroy(), PLUGIN_HOST_OK);
    EXPECT_THAT(record.getEvents(plugin), ElementsAre("destroyed"));
}

TEST_F(SessionEndTest, AHostOfAPluginsOwnEndsWithIt) {
    SessionOptions options(record);
    options.sharing = PLUGIN_HOST_SEPARATE;
    const OwnSession session(options);
    plugin_host_plugin* first = session.createPlugin(examplePlugin("echo"));
    plugin_host_plugin* second = session.createPlugin(examplePlugin("echo"));
    plugin_host_host* host = nullptr;
    plugin_host_host* other = nullptr;
    EXPECT_EQ(plugin_host_plugin_get_host(first, &host), PLUGIN_HOST_OK);
    EXPECT_EQ(plugin_host_plugin_get_host(second, &other), PLUGIN_HOST_OK);
    EXPECT_NE(host, other);
    const pid_t process = processOf(host);
    EXPECT_EQ(plugin_host_plugin_destroy(first), PLUGIN_HOST_OK);
    EXPECT_EQ(plugin_host_host_ping(host, 0), PLUGIN_HOST_INVALID_HANDLE);
    EXPECT_EQ(plugin_host_host_ping(other, 0), PLUGIN_HOST_OK);
    EXPECT_TRUE(record.hears("destroyed"));
    EXPECT_TRUE(eventually([&] { return isGone(process); }));
    EXPECT_TRUE(record.getDeaths().empty());
}

} // namespace
