#pragma once

#include "client/RemotePluginHostProxy.h"
#include "client/RemotePluginHostProxyManager.h"
#include "client/ReplyWaiter.h"
#include "plugin/PluginHostAsyncReplyHandler.h"
#include "plugin/PluginHostNotificationListener.h"
#include "plugin/PluginHostReplies.h"
#include "support/CapturedOutput.h"
#include "support/ScopedEnvironment.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

/// How long a test waits for an answer, in seconds.
constexpr double patience = 10;

/// Writes down what it hears.
class RecordingManager : public RemotePluginHostProxyManager {
public:
    struct Death {
        const RemotePluginHostProxy* proxy;
        std::string message;
        bool onReplyThread;
    };

    void hostDied(RemotePluginHostProxy& proxy, const String& message, bool onReplyThread) override;
    void hostShutDown(RemotePluginHostProxy& proxy) override;

    std::vector<Death> getDeaths() const;
    /// Deaths so far.
    size_t count() const { return getDeaths().size(); }
    size_t countShutdowns() const;

private:
    mutable std::mutex mutex;
    std::vector<Death> deaths;
    size_t shutdowns = 0;
};

/// Writes down each notification as a line of text.
class RecordingListener : public PluginHostNotificationListener {
public:
    void onUpdateParameter(const UpdateParameterNotification& notification) override;
    void onUpdateParameterDisplay(const UpdateParameterDisplayNotification& notification) override;
    void onUpdateAllParameters(const UpdateAllParametersNotification& notification) override;
    void onBeginOrEndEditParameter(const BeginOrEndEditParameterNotification& notification) override;
    void onPluginWindowMoved(const PluginWindowMovedNotification& notification) override;
    void onPluginWindowClosed(const PluginWindowClosedNotification& notification) override;

    std::vector<std::string> getLines() const;
    /// Waits until so many lines have come, and returns them all.
    std::vector<std::string> waitForLines(size_t count) const;

protected:
    virtual void add(const std::string& line);

private:
    mutable std::mutex mutex;
    std::vector<std::string> lines;
};

/// What this process holds of the machine.
struct Footprint {
    static Footprint now();
    bool operator==(const Footprint&) const = default;

    /// What each open descriptor leads to.
    std::vector<std::string> descriptors;
    size_t threads = 0;
    std::vector<std::string> fifos;
    /// Audio blocks of the hosts of this process.
    std::vector<std::string> audioBlocks;
    bool hasChildren = false;
};

void PrintTo(const Footprint& footprint, std::ostream* stream);

/// A program in the place of the host that plays a script of raw bytes; see StandInHost.cpp for its steps.
/// One at a time.
class StandIn {
public:
    explicit StandIn(const std::string& script);
    ~StandIn();
    StandIn(const StandIn&) = delete;
    StandIn& operator=(const StandIn&) = delete;

    /// What has arrived on a channel so far, in hexadecimal.
    std::string received(const std::string& channel) const;

private:
    void removeRecords() const;

    std::string record;
    test_support::ScopedEnvironment scriptVariable;
    test_support::ScopedEnvironment recordVariable;
};

/// Counts its ends, and is never answered.
class MortalHandler : public PluginHostAsyncReplyHandler {
public:
    explicit MortalHandler(std::atomic<int>& deaths) : deaths(deaths) {}
    ~MortalHandler() override { ++deaths; }
    void onReply(PluginHostReply*) override { ADD_FAILURE() << "a reply"; }
    void onError(const String&) override { ADD_FAILURE() << "an error"; }

private:
    std::atomic<int>& deaths;
};

/// The base of all tests that start hosts: each begins with a manager of its own, may not hang, and has to
/// leave the process as it found it.
class ClientTest : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    static Ref<RemotePluginHostProxy> startHost() { return start(PLUGIN_HOST_EXECUTABLE); }
    static Ref<RemotePluginHostProxy> startStandIn() { return start(STAND_IN_HOST_EXECUTABLE); }
    static Ref<RemotePluginHostProxy> start(const char* executable) {
        return new RemotePluginHostProxy(executable);
    }
    static Ref<CreatePluginInstanceReply>
    createInstance(RemotePluginHostProxy& proxy, const std::string& path, const char* identifier = "",
                   const Ref<PluginHostNotificationListener>& listener = nullptr);

    /// Shuts a host down and lets it come to its own end, where dropping the proxy might be quicker.
    static void shutDown(RemotePluginHostProxy& proxy);
    /// The same, and drops the proxy, if there is one. Sanitizers report at a host's own end.
    static void end(Ref<RemotePluginHostProxy>& proxy);

    /// Waits for the manager to hear of so many deaths.
    testing::AssertionResult hears(size_t deaths) const;

    /// What has come on the standard error stream so far.
    std::string errorText() const { return errors->text(); }

    Ref<RecordingManager> manager;

private:
    std::optional<test_support::CapturedOutput> errors{STDERR_FILENO};
    Footprint before;
};

/// A plug-in file of the tree's examples, and one of the tests'.
std::string examplePlugin(const std::string& name);
std::string testPlugin(const std::string& name);

/// Whether a process is no more, not even as a zombie.
bool isGone(pid_t process);
/// Whether a process has ended and waits to be reaped.
bool isZombie(pid_t process);

constexpr const char* lostText = "Communication lost with plugin host process";
