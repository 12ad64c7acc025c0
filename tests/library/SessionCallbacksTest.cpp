// The callbacks of a session: their order and their thread, and what may be called inside of them. If these
// fail, an application hears of things twice, in the wrong order or where it doesn't expect them.

#include "HostTest.h"

#include "support/RealDeaths.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <poll.h>
#include <thread>

using namespace test_support;
using testing::ElementsAre;

namespace {

const std::string createdOk = "created 0";

class SessionCallbacksTest : public HostTest {
protected:
    const RealDeaths realDeaths{};
};

TEST_F(SessionCallbacksTest, ComeInOrderOnAThreadOfTheSessions) {
    int data = 0;
    const OwnSession session(record);
    plugin_host_host* host = session.startHost();
    plugin_host_plugin* plugin = session.createLater(examplePlugin("echo"), host, &data);
    EXPECT_TRUE(record.hears(createdOk));
    EXPECT_EQ(plugin_host_plugin_destroy(plugin), PLUGIN_HOST_OK);
    EXPECT_TRUE(record.hears("destroyed"));
    EXPECT_EQ(plugin_host_host_kill(host), PLUGIN_HOST_OK);
    EXPECT_TRUE(record.hears("died"));
    EXPECT_THAT(record.getEvents(), ElementsAre(createdOk, "destroyed", "died"));
    EXPECT_THAT(record.getDestroyedData(), ElementsAre(&data));
    EXPECT_EQ(record.getThreads().size(), 1u);
    EXPECT_EQ(record.getThreads().count(thisThread()), 0u);
}

TEST_F(SessionCallbacksTest, ACreationThatFailsIsReportedAndDestroyed) {
    const OwnSession session(record);
    plugin_host_plugin* plugin = session.createLater("/nowhere/echo.so");
    EXPECT_TRUE(record.hears("created " + std::to_string(PLUGIN_HOST_NOT_FOUND)));
    EXPECT_EQ(plugin_host_plugin_cancel(plugin), PLUGIN_HOST_INVALID_STATE);
    EXPECT_EQ(plugin_host_plugin_destroy(plugin), PLUGIN_HOST_OK);
    EXPECT_TRUE(record.hears("destroyed"));
}

TEST_F(SessionCallbacksTest, ACreationThatIsCancelledIsReportedOnce) {
    const StandIn standIn("connect wait");
    SessionOptions options(record);
    options.program_32 = options.program_64 = STAND_IN_HOST_EXECUTABLE;
    const OwnSession session(options);
    plugin_host_plugin* plugin = session.createLater(examplePlugin("echo"));
    EXPECT_EQ(plugin_host_plugin_cancel(plugin), PLUGIN_HOST_OK);
    EXPECT_EQ(plugin_host_plugin_cancel(plugin), PLUGIN_HOST_INVALID_STATE);
    EXPECT_TRUE(record.hears("created " + std::to_string(PLUGIN_HOST_CANCELLED)));
    EXPECT_EQ(plugin_host_plugin_destroy(plugin), PLUGIN_HOST_OK);
    EXPECT_TRUE(record.hears("destroyed"));
    EXPECT_EQ(record.getEvents(plugin).size(), 2u);
}

TEST_F(SessionCallbacksTest, MayMakeAndDestroyPluginsAndHosts) {
    OwnSession* current = nullptr;
    plugin_host_plugin* made = nullptr;
    std::atomic<int> steps{0};
    record.hook = [&](const std::string& event, plugin_host_plugin* plugin) {
        if (event == createdOk) {
            plugin_host_host* host = current->startHost();
            made = current->createPlugin(examplePlugin("echo"), host);
            EXPECT_EQ(plugin_host_host_ping(host, 0), PLUGIN_HOST_OK);
            EXPECT_EQ(plugin_host_plugin_destroy(made), PLUGIN_HOST_OK);
            EXPECT_EQ(plugin_host_host_destroy(host), PLUGIN_HOST_OK);
            EXPECT_EQ(plugin_host_plugin_destroy(plugin), PLUGIN_HOST_OK);
            ++steps;
        } else if (event == "destroyed") {
            EXPECT_EQ(plugin_host_plugin_destroy(plugin), PLUGIN_HOST_INVALID_HANDLE);
            ++steps;
        }
    };
    OwnSession session(record);
    current = &session;
    plugin_host_plugin* plugin = session.createLater(examplePlugin("echo"));
    EXPECT_TRUE(eventually([&] { return steps == 3; })) << steps;
    EXPECT_THAT(record.getEvents(), ElementsAre(createdOk, "destroyed", "destroyed"));
    EXPECT_THAT(record.getEvents(plugin), ElementsAre(createdOk, "destroyed"));
}

TEST_F(SessionCallbacksTest, MayDestroyAPluginOfTheHostThatDied) {
    plugin_host_plugin* plugin = nullptr;
    std::atomic<bool> isDone{false};
    record.hook = [&](const std::string& event, plugin_host_plugin*) {
        if (event != "died")
            return;
        EXPECT_EQ(plugin_host_plugin_destroy(plugin), PLUGIN_HOST_OK);
        EXPECT_EQ(plugin_host_host_destroy(record.getDeaths()[0].host), PLUGIN_HOST_OK);
        isDone = true;
    };
    const OwnSession session(record);
    plugin_host_host* host = session.startHost();
    plugin = session.createPlugin(examplePlugin("echo"), host);
    EXPECT_EQ(plugin_host_host_kill(host), PLUGIN_HOST_OK);
    EXPECT_TRUE(eventually([&] { return isDone.load(); }));
    EXPECT_TRUE(record.hears("destroyed"));
}

/// A session whose callbacks are dispatched.
class DispatchTest : public SessionCallbacksTest {
protected:
    DispatchTest() : options(record) { options.flags = PLUGIN_HOST_DISPATCH; }

    static bool isReadable(plugin_host_session* session) {
        int descriptor = -1;
        EXPECT_EQ(plugin_host_session_descriptor(session, &descriptor), PLUGIN_HOST_OK);
        pollfd source{descriptor, POLLIN, 0};
        return poll(&source, 1, 0) == 1 && source.revents == POLLIN;
    }

    static void dispatch(plugin_host_session* session) {
        EXPECT_TRUE(eventually([&] { return isReadable(session); })) << "nothing waits";
        EXPECT_EQ(plugin_host_session_dispatch(session), PLUGIN_HOST_OK) << plugin_host_error();
    }

    SessionOptions options;
};

TEST_F(DispatchTest, NothingComesBeforeADispatch) {
    const OwnSession session(options);
    EXPECT_FALSE(isReadable(session));
    EXPECT_EQ(plugin_host_session_dispatch(session), PLUGIN_HOST_OK);
    plugin_host_host* host = session.startHost();
    plugin_host_plugin* plugin = session.createPlugin(examplePlugin("echo"), host); // without a dispatch
    EXPECT_EQ(plugin_host_plugin_destroy(plugin), PLUGIN_HOST_OK);
    EXPECT_EQ(plugin_host_host_ping(host, 0), PLUGIN_HOST_OK);
    EXPECT_TRUE(isReadable(session));
    EXPECT_TRUE(record.getEvents().empty());
    while (record.getEvents().empty())
        dispatch(session);
    EXPECT_THAT(record.getEvents(), ElementsAre("destroyed"));
    EXPECT_THAT(record.getThreads(), ElementsAre(thisThread()));
    EXPECT_FALSE(isReadable(session));
}

TEST_F(DispatchTest, IsBusyInsideOfACallback) {
    OwnSession* current = nullptr;
    std::atomic<int> calls{0};
    record.hook = [&](const std::string& event, plugin_host_plugin*) {
        if (event != "destroyed")
            return;
        EXPECT_EQ(plugin_host_session_dispatch(*current), PLUGIN_HOST_BUSY);
        std::thread([&] { EXPECT_EQ(plugin_host_session_dispatch(*current), PLUGIN_HOST_BUSY); }).join();
        ++calls;
    };
    OwnSession session(options);
    current = &session;
    plugin_host_host* host = session.startHost();
    EXPECT_EQ(plugin_host_plugin_destroy(session.createPlugin(examplePlugin("echo"), host)), PLUGIN_HOST_OK);
    while (calls == 0)
        dispatch(session);
}

TEST_F(DispatchTest, WhatComesMeanwhileWaitsForTheNextOne) {
    record.hook = [&](const std::string& event, plugin_host_plugin* plugin) {
        if (event == createdOk) {
            EXPECT_EQ(plugin_host_plugin_destroy(plugin), PLUGIN_HOST_OK);
        }
    };
    const OwnSession session(options);
    plugin_host_host* host = session.startHost();
    session.createLater(examplePlugin("echo"), host);
    while (record.getEvents().empty())
        dispatch(session);
    EXPECT_THAT(record.getEvents(), ElementsAre(createdOk));
    EXPECT_TRUE(isReadable(session));
    while (record.getEvents().size() < 2)
        dispatch(session);
    EXPECT_THAT(record.getEvents(), ElementsAre(createdOk, "destroyed"));
}

TEST_F(DispatchTest, IsForSessionsThatAskedForIt) {
    const OwnSession session(record);
    int descriptor = -1;
    EXPECT_EQ(plugin_host_session_dispatch(session), PLUGIN_HOST_INVALID_STATE);
    EXPECT_EQ(plugin_host_session_descriptor(session, &descriptor), PLUGIN_HOST_INVALID_STATE);
    EXPECT_EQ(descriptor, -1);
}

TEST_F(DispatchTest, TheEndOfTheSessionReportsThePluginsThatAreLeft) {
    plugin_host_plugin* plugin = nullptr;
    {
        const OwnSession session(options);
        plugin = session.createPlugin(examplePlugin("echo"), session.startHost());
    }
    EXPECT_THAT(record.getEvents(plugin), ElementsAre("destroyed"));
    EXPECT_THAT(record.getThreads(), ElementsAre(thisThread()));
}

} // namespace
