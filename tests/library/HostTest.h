#pragma once

#include "support/Eventually.h"

#include <plugin-host/client.h>

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <ostream>
#include <set>
#include <string>
#include <sys/types.h>
#include <vector>

/// For calls that only the end of a child may end: minutes.
constexpr int32_t endlessly = 600'000;

/// Writes down the callbacks of a session, and checks that they come one at a time.
class SessionRecord {
public:
    struct Line {
        plugin_host_host* host;
        plugin_host_log_source source;
        std::string text;
    };

    /// A copy of what `host_died` was given.
    struct Death {
        plugin_host_host* host;
        int32_t signal;
        int32_t exitStatus;
        std::string text;
        plugin_host_plugin* blockPlugin;
        std::string blockPath;
        double blockSeconds;
        std::string request;
        plugin_host_plugin* requestPlugin;
        std::string requestPath;
        double requestSeconds;
    };

    /// Called inside of each callback, outside of the record's lock. Set before the session is made.
    std::function<void(const std::string& event, plugin_host_plugin* plugin)> hook;

    plugin_host_callbacks getCallbacks();

    std::vector<Death> getDeaths() const;
    std::vector<std::string> getLines(plugin_host_log_source source) const;
    std::vector<Line> getLines() const;
    /// "created 0", "destroyed", "died", in their order.
    std::vector<std::string> getEvents() const;
    /// The same for one plug-in.
    std::vector<std::string> getEvents(plugin_host_plugin* plugin) const;
    size_t countEvents(const std::string& event) const;
    /// The threads that callbacks came on.
    std::set<pid_t> getThreads() const;
    /// What `plugin_destroyed` was given as data.
    std::vector<void*> getDestroyedData() const;

    /// No callback uses this.
    bool isIdle() const { return current == 0; }

    testing::AssertionResult hears(const std::string& event, size_t count = 1) const;

private:
    class Turn;
    struct Event {
        std::string text;
        plugin_host_plugin* plugin;
    };
    struct Entries;

    void add(const std::string& event, plugin_host_plugin* plugin);

    mutable std::mutex mutex;
    std::vector<Death> deaths;
    std::vector<Line> lines;
    std::vector<Event> events;
    std::vector<void*> destroyedData;
    std::set<pid_t> threads;
    std::atomic<pid_t> current{0};
    int depth = 0;
};

/// What this process holds of the machine.
struct Holdings {
    static Holdings now();
    bool operator==(const Holdings&) const = default;

    std::vector<std::string> descriptors;
    size_t threads = 0;
    std::vector<std::string> fifos;
    std::vector<std::string> audioBlocks;
    bool hasChildren = false;
};

void PrintTo(const Holdings& holdings, std::ostream* stream);

/// A call's status and, if it failed, its text.
struct Outcome {
    plugin_host_status status;
    std::string text;
};

void PrintTo(const Outcome& outcome, std::ostream* stream);
Outcome outcomeOf(plugin_host_status status);

/// Options with the host of this build for both widths, without a cache, and with the callbacks of a record.
class SessionOptions : public plugin_host_session_options {
public:
    explicit SessionOptions(SessionRecord& record);
    SessionOptions(const SessionOptions&) = delete;
    SessionOptions& operator=(const SessionOptions&) = delete;

private:
    plugin_host_callbacks functions;
};

/// A session that ends with its scope at the latest.
class OwnSession {
public:
    explicit OwnSession(const plugin_host_session_options& options);
    explicit OwnSession(SessionRecord& record) : OwnSession(SessionOptions(record)) {}
    ~OwnSession();
    OwnSession(const OwnSession&) = delete;
    OwnSession& operator=(const OwnSession&) = delete;

    operator plugin_host_session*() const { return handle; }
    plugin_host_status destroy();

    /// A host by the session's options, which has to come up.
    plugin_host_host* startHost() const;
    /// A host by another program, which may fail.
    Outcome startHost(const std::string& program, plugin_host_host** host, int32_t timeout = endlessly) const;
    /// The plug-in of a file, on a host or on none; it has to be made.
    plugin_host_plugin* createPlugin(const std::string& path, plugin_host_host* host = nullptr,
                                     const char* identifier = nullptr, void* data = nullptr) const;
    Outcome tryPlugin(const std::string& path, plugin_host_host* host, int32_t timeout = endlessly) const;
    plugin_host_plugin* createLater(const std::string& path, plugin_host_host* host = nullptr,
                                    void* data = nullptr) const;

private:
    plugin_host_session* handle = nullptr;
};

/// The base of tests of libplugin-host-client: a test may not hang, and has to leave the process as it was.
class HostTest : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    SessionRecord record;

private:
    Holdings before;
};

std::string examplePlugin(const std::string& name);
std::string testPlugin(const std::string& name);
pid_t processOf(plugin_host_host* host);
/// Whether a process is no more, not even as a zombie.
bool isGone(pid_t process);
pid_t thisThread();

/// A program in the place of the host that plays a script of raw bytes; see tests/client/StandInHost.cpp.
class StandIn {
public:
    explicit StandIn(const std::string& script);
    ~StandIn();
    StandIn(const StandIn&) = delete;
    StandIn& operator=(const StandIn&) = delete;

    /// What has arrived on the main channel so far, in hexadecimal.
    std::string received() const;

private:
    const std::string record;
};

/// Makes an executable file of the shell.
void writeShellProgram(const std::string& path, const std::string& commands);
