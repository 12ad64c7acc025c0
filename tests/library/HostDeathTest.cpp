// What an application hears of a plug-in that takes its host along: how the host ended, and what it was at.
// If these fail, users don't learn which plug-in to remove, or an application hangs with it.

#include "HostTest.h"

#include "support/Eventually.h"
#include "support/RealDeaths.h"

#include <gmock/gmock.h>

#include <csignal>
#include <sys/wait.h>
#include <thread>
#include <vector>

using namespace test_support;
using testing::HasSubstr;

namespace {

constexpr uint32_t blockSize = 256;

class HostDeathTest : public HostTest {
protected:
    /// The one death of a host.
    SessionRecord::Death getDeath(plugin_host_host* host) {
        EXPECT_TRUE(record.hears("died"));
        const std::vector<SessionRecord::Death> deaths = record.getDeaths();
        EXPECT_EQ(deaths.size(), 1u);
        if (deaths.empty())
            return {};
        EXPECT_EQ(deaths[0].host, host);
        EXPECT_THAT(record.getLines(PLUGIN_HOST_LOG_LIBRARY), testing::Contains(deaths[0].text));
        return deaths[0];
    }

    /// A request that ends its host may do so before the call has returned.
    static void expectSent(plugin_host_status status) {
        EXPECT_THAT(status, testing::AnyOf(PLUGIN_HOST_OK, PLUGIN_HOST_DEAD)) << plugin_host_error();
    }

    /// Each call answers that the host is gone, and the handles can be destroyed.
    static void expectDead(plugin_host_plugin* plugin, plugin_host_host* host) {
        const plugin_host_description* description = nullptr;
        plugin_host_host* found = nullptr;
        void* bytes = nullptr;
        size_t size = 0;
        EXPECT_EQ(plugin_host_host_ping(host, 0), PLUGIN_HOST_DEAD);
        EXPECT_EQ(plugin_host_host_kill(host), PLUGIN_HOST_DEAD);
        EXPECT_EQ(plugin_host_host_show_editors(host), PLUGIN_HOST_DEAD);
        EXPECT_EQ(plugin_host_plugin_get_host(plugin, &found), PLUGIN_HOST_DEAD);
        EXPECT_EQ(plugin_host_plugin_describe(plugin, &description), PLUGIN_HOST_DEAD);
        EXPECT_EQ(plugin_host_plugin_refresh(plugin, &description), PLUGIN_HOST_DEAD);
        EXPECT_EQ(plugin_host_plugin_watch_text(plugin, 0, 1), PLUGIN_HOST_DEAD);
        EXPECT_EQ(plugin_host_plugin_set_program(plugin, 0), PLUGIN_HOST_DEAD);
        EXPECT_EQ(plugin_host_plugin_open_editor(plugin, 0, nullptr), PLUGIN_HOST_DEAD);
        EXPECT_EQ(plugin_host_plugin_close_editor(plugin), PLUGIN_HOST_DEAD);
        EXPECT_EQ(plugin_host_plugin_set_editor_title(plugin, "title"), PLUGIN_HOST_DEAD);
        EXPECT_EQ(plugin_host_plugin_set_editor_position(plugin, 1, 2, 0, 0), PLUGIN_HOST_DEAD);
        EXPECT_EQ(plugin_host_plugin_load_preset(plugin, "/p/a.fxp"), PLUGIN_HOST_DEAD);
        EXPECT_EQ(plugin_host_plugin_save_preset(plugin, "/p/a.fxp"), PLUGIN_HOST_DEAD);
        EXPECT_EQ(plugin_host_plugin_save_state(plugin, &bytes, &size), PLUGIN_HOST_DEAD);
        EXPECT_EQ(plugin_host_plugin_load_state(plugin, "x", 1), PLUGIN_HOST_DEAD);
        EXPECT_EQ(plugin_host_plugin_cancel(plugin), PLUGIN_HOST_INVALID_STATE);
        expectDeadAudio(plugin);
        EXPECT_EQ(plugin_host_plugin_destroy(plugin), PLUGIN_HOST_OK);
        EXPECT_EQ(plugin_host_host_destroy(host), PLUGIN_HOST_OK);
    }

    static void expectDeadAudio(plugin_host_plugin* plugin) {
        plugin_host_event event{};
        event.size = sizeof event;
        plugin_host_transport transport{};
        transport.size = sizeof transport;
        EXPECT_EQ(plugin_host_plugin_start(plugin), PLUGIN_HOST_DEAD);
        EXPECT_EQ(plugin_host_plugin_begin(plugin, nullptr), PLUGIN_HOST_DEAD);
        EXPECT_EQ(plugin_host_plugin_add_event(plugin, &event), PLUGIN_HOST_DEAD);
        EXPECT_EQ(plugin_host_plugin_add_midi(plugin, 0, 0x90, 60, 100), PLUGIN_HOST_DEAD);
        EXPECT_EQ(plugin_host_plugin_add_change(plugin, 0, 0, 0), PLUGIN_HOST_DEAD);
        EXPECT_EQ(plugin_host_plugin_set_transport(plugin, &transport), PLUGIN_HOST_DEAD);
        EXPECT_EQ(plugin_host_plugin_process(plugin, 1, 0, nullptr), PLUGIN_HOST_DEAD);
        EXPECT_EQ(plugin_host_plugin_get_event(plugin, 0, &event), PLUGIN_HOST_DEAD);
        EXPECT_EQ(plugin_host_plugin_stop(plugin), PLUGIN_HOST_DEAD);
    }

    const RealDeaths realDeaths{};
};

/// How a plug-in takes its host along.
struct Way {
    const char* name;
    int32_t signal;
    int32_t exitStatus;
};

void PrintTo(const Way& way, std::ostream* stream) {
    *stream << way.name;
}

class WayOfDyingTest : public HostDeathTest, public testing::WithParamInterface<Way> {
protected:
    static std::string plugin(const std::string& moment) { return testPlugin(GetParam().name + moment); }

    static void expectWay(const SessionRecord::Death& death) {
        EXPECT_EQ(death.signal, GetParam().signal) << death.text;
        EXPECT_EQ(death.exitStatus, GetParam().exitStatus) << death.text;
    }
};

INSTANTIATE_TEST_SUITE_P(APluginThat, WayOfDyingTest,
                         testing::Values(Way{"crashes", SIGSEGV, -1}, Way{"aborts", SIGABRT, -1},
                                         Way{"exits", 0, 3}),
                         [](const auto& instance) { return std::string(instance.param.name); });

TEST_P(WayOfDyingTest, DiesInItsCreationIsNamedWithTheRequest) {
    const OwnSession session(record);
    plugin_host_host* host = session.startHost();
    EXPECT_EQ(session.tryPlugin(plugin("-at-create"), host).status, PLUGIN_HOST_DEAD);
    const SessionRecord::Death death = getDeath(host);
    expectWay(death);
    EXPECT_EQ(death.request, "CreatePluginInstance");
    EXPECT_EQ(death.requestPath, plugin("-at-create"));
    EXPECT_EQ(death.blockPath, "");
}

TEST_P(WayOfDyingTest, DiesInABlockIsNamedWithTheBlock) {
    const OwnSession session(record);
    plugin_host_host* host = session.startHost();
    plugin_host_plugin* echo = session.createPlugin(examplePlugin("echo"), host);
    plugin_host_plugin* dying = session.createPlugin(plugin("-in-process"), host);
    EXPECT_EQ(plugin_host_plugin_start(echo), PLUGIN_HOST_OK);
    EXPECT_EQ(plugin_host_plugin_start(dying), PLUGIN_HOST_OK);
    EXPECT_EQ(plugin_host_plugin_process(echo, blockSize, PLUGIN_HOST_KEEP_ACTIVE, nullptr), PLUGIN_HOST_OK);
    EXPECT_EQ(plugin_host_plugin_process(dying, blockSize, PLUGIN_HOST_KEEP_ACTIVE, nullptr),
              PLUGIN_HOST_DEAD);
    const SessionRecord::Death death = getDeath(host);
    expectWay(death);
    EXPECT_EQ(death.blockPlugin, dying);
    EXPECT_EQ(death.blockPath, plugin("-in-process"));
    EXPECT_GE(death.blockSeconds, 0);
    EXPECT_EQ(death.request, "");
    EXPECT_THAT(death.text, HasSubstr(", in a block of " + plugin("-in-process")));
    EXPECT_EQ(plugin_host_plugin_destroy(echo), PLUGIN_HOST_OK);
    expectDead(dying, host);
    EXPECT_EQ(record.countEvents("died"), 1u);
}

TEST_P(WayOfDyingTest, DiesWhileItIsIdleIsNoFaultOfARequest) {
    const OwnSession session(record);
    plugin_host_host* host = session.startHost();
    // It may die before its creation has come to its end.
    plugin_host_plugin* dying = session.createLater(plugin("-in-idle"), host);
    const SessionRecord::Death death = getDeath(host);
    expectWay(death);
    EXPECT_EQ(death.blockPlugin, nullptr);
    EXPECT_EQ(death.request, "");
    expectDead(dying, host);
}

/// A request in which a plug-in crashes.
struct Request {
    const char* name;
    const char* moment;
    plugin_host_status (*send)(plugin_host_plugin* plugin);
    bool waits;
};

void PrintTo(const Request& request, std::ostream* stream) {
    *stream << request.name;
}

class DeadlyRequestTest : public HostDeathTest, public testing::WithParamInterface<Request> {};

INSTANTIATE_TEST_SUITE_P(
    In, DeadlyRequestTest,
    testing::Values(
        Request{"LoadPreset", "1",
                [](plugin_host_plugin* plugin) {
                    return plugin_host_plugin_load_preset(plugin, std::getenv("DEADLY_PRESET"));
                },
                true},
        Request{"SavePreset", "2",
                [](plugin_host_plugin* plugin) {
                    return plugin_host_plugin_save_preset(plugin, std::getenv("DEADLY_PRESET"));
                },
                true},
        Request{"OpenGUI", "3",
                [](plugin_host_plugin* plugin) { return plugin_host_plugin_open_editor(plugin, 0, "title"); },
                false},
        Request{"SetCurrentProgram", "6",
                [](plugin_host_plugin* plugin) { return plugin_host_plugin_set_program(plugin, 0); }, false}),
    [](const auto& instance) { return std::string(instance.param.name); });

TEST_P(DeadlyRequestTest, NamesThePluginOfTheRequest) {
    const std::string preset = std::string("/tmp/") + std::getenv("USER") + "-deadly.fxb";
    setenv("DEADLY_PRESET", preset.c_str(), 1);
    const std::string path = testPlugin("dies-by-request");
    const OwnSession session(record);
    plugin_host_host* host = session.startHost();
    // Presets fit the plug-in that has saved them.
    const bool loads = std::string_view(GetParam().name) == "LoadPreset";
    plugin_host_plugin* other = session.createPlugin(path, host, loads ? GetParam().moment : "7");
    EXPECT_EQ(plugin_host_plugin_save_preset(other, preset.c_str()), PLUGIN_HOST_OK) << plugin_host_error();
    plugin_host_plugin* plugin = session.createPlugin(path, host, GetParam().moment);
    const plugin_host_status status = GetParam().send(plugin);
    if (GetParam().waits)
        EXPECT_EQ(status, PLUGIN_HOST_DEAD);
    else
        expectSent(status);
    const SessionRecord::Death death = getDeath(host);
    EXPECT_EQ(death.signal, SIGSEGV) << death.text;
    EXPECT_EQ(death.request, GetParam().name);
    EXPECT_EQ(death.requestPlugin, plugin);
    EXPECT_EQ(death.requestPath, path);
    EXPECT_EQ(death.blockPlugin, nullptr);
    EXPECT_EQ(plugin_host_plugin_destroy(other), PLUGIN_HOST_OK);
    expectDead(plugin, host);
    unlink(preset.c_str());
}

TEST_F(HostDeathTest, ACrashOnAThreadOfThePluginsEndsItsHost) {
    const OwnSession session(record);
    plugin_host_host* host = session.startHost();
    plugin_host_plugin* plugin = session.createPlugin(testPlugin("dies-by-request"), host, "4");
    expectSent(plugin_host_plugin_set_program(plugin, 0));
    EXPECT_EQ(getDeath(host).signal, SIGSEGV);
    expectDead(plugin, host);
}

TEST_F(HostDeathTest, AHostThatIsKilledFromOutsideIsReported) {
    const OwnSession session(record);
    plugin_host_host* host = session.startHost();
    plugin_host_plugin* plugin = session.createPlugin(examplePlugin("echo"), host);
    kill(processOf(host), SIGKILL);
    const SessionRecord::Death death = getDeath(host);
    EXPECT_EQ(death.signal, SIGKILL);
    EXPECT_EQ(death.text, "Plug-in host was ended by signal 9 (Killed)");
    expectDead(plugin, host);
}

TEST_F(HostDeathTest, AHostThatHangsIsNamedWithItsRequestWhenItIsKilled) {
    const OwnSession session(record);
    plugin_host_host* host = session.startHost();
    plugin_host_plugin* plugin = session.createPlugin(testPlugin("dies-by-request"), host, "5");
    EXPECT_EQ(plugin_host_plugin_set_program(plugin, 0), PLUGIN_HOST_OK);
    EXPECT_EQ(plugin_host_host_ping(host, 50), PLUGIN_HOST_TIMED_OUT);
    EXPECT_EQ(plugin_host_host_kill(host), PLUGIN_HOST_OK);
    const SessionRecord::Death death = getDeath(host);
    EXPECT_EQ(death.request, "SetCurrentProgram");
    EXPECT_EQ(death.requestPlugin, plugin);
    EXPECT_GE(death.requestSeconds, 0.05);
    expectDead(plugin, host);
}

TEST_F(HostDeathTest, AnotherHostOfTheSessionIsLeftAlone) {
    const OwnSession session(record);
    plugin_host_host* host = session.startHost();
    plugin_host_host* other = session.startHost();
    plugin_host_plugin* echo = session.createPlugin(examplePlugin("echo"), other);
    plugin_host_plugin* deadly = session.createPlugin(testPlugin("dies-by-request"), host, "6");
    expectSent(plugin_host_plugin_set_program(deadly, 0));
    getDeath(host);
    EXPECT_EQ(plugin_host_plugin_start(echo), PLUGIN_HOST_OK);
    EXPECT_EQ(plugin_host_plugin_process(echo, blockSize, 0, nullptr), PLUGIN_HOST_OK);
    EXPECT_EQ(plugin_host_plugin_stop(echo), PLUGIN_HOST_OK);
    EXPECT_EQ(plugin_host_host_ping(other, 0), PLUGIN_HOST_OK);
}

TEST_F(HostDeathTest, ASharedHostThatDiedIsReplaced) {
    const OwnSession session(record);
    plugin_host_plugin* first = session.createPlugin(examplePlugin("echo"));
    plugin_host_host* host = nullptr;
    EXPECT_EQ(plugin_host_plugin_get_host(first, &host), PLUGIN_HOST_OK);
    EXPECT_EQ(plugin_host_host_kill(host), PLUGIN_HOST_OK);
    getDeath(host);
    plugin_host_plugin* second = session.createPlugin(examplePlugin("echo"));
    plugin_host_host* next = nullptr;
    EXPECT_EQ(plugin_host_plugin_get_host(second, &next), PLUGIN_HOST_OK);
    EXPECT_NE(next, host);
}

TEST_F(HostDeathTest, AnApplicationMayReapTheHostItself) {
    struct sigaction action {};
    action.sa_handler = [](int) {
        const int saved = errno;
        while (waitpid(-1, nullptr, WNOHANG) > 0) {
        }
        errno = saved;
    };
    action.sa_flags = SA_RESTART;
    struct sigaction former {};
    sigaction(SIGCHLD, &action, &former);
    {
        const OwnSession session(record);
        plugin_host_host* host = session.startHost();
        plugin_host_plugin* plugin = session.createPlugin(testPlugin("crashes-in-process"), host);
        EXPECT_EQ(plugin_host_plugin_start(plugin), PLUGIN_HOST_OK);
        EXPECT_EQ(plugin_host_plugin_process(plugin, blockSize, PLUGIN_HOST_KEEP_ACTIVE, nullptr),
                  PLUGIN_HOST_DEAD);
        const SessionRecord::Death death = getDeath(host);
        // The status is the library's if it was quicker.
        EXPECT_TRUE(death.signal == SIGSEGV || death.signal == 0) << death.text;
        EXPECT_EQ(death.exitStatus, -1) << death.text;
        EXPECT_EQ(death.blockPlugin, plugin);
        expectDead(plugin, host);
        // One that ends as it is asked to.
        EXPECT_EQ(plugin_host_host_destroy(session.startHost()), PLUGIN_HOST_OK);
        // The library may find it reaped as it begins to watch it.
        for (int start = 0; start < 20; ++start) {
            plugin_host_host* none = nullptr;
            EXPECT_EQ(session.startHost("/bin/true", &none).status, PLUGIN_HOST_START_FAILED);
        }
    }
    sigaction(SIGCHLD, &former, nullptr);
}

TEST_F(HostDeathTest, AHostThatIsDestroyedIsNoDeath) {
    const OwnSession session(record);
    plugin_host_host* host = session.startHost();
    plugin_host_plugin* plugin = session.createPlugin(examplePlugin("echo"), host);
    const pid_t process = processOf(host);
    EXPECT_EQ(plugin_host_host_destroy(host), PLUGIN_HOST_OK);
    EXPECT_EQ(plugin_host_host_ping(host, 0), PLUGIN_HOST_INVALID_HANDLE);
    EXPECT_EQ(plugin_host_plugin_set_program(plugin, 0), PLUGIN_HOST_DEAD);
    EXPECT_EQ(plugin_host_plugin_process(plugin, 1, 0, nullptr), PLUGIN_HOST_DEAD);
    EXPECT_EQ(plugin_host_plugin_destroy(plugin), PLUGIN_HOST_OK);
    EXPECT_TRUE(record.hears("destroyed"));
    EXPECT_TRUE(record.getDeaths().empty());
    EXPECT_TRUE(eventually([&] { return isGone(process); }))
        << "the process is left to the end of the session";
}

} // namespace
