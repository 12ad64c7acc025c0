#pragma once

#include "core/Guarded.h"
#include "core/Mutex.h"
#include "core/Thread.h"
#include "library/ClientHost.h"
#include "library/ClientPlugin.h"
#include "plugin/CoreNames.h"

#include <ctime>
#include <vector>

namespace client_library {

class ClientSession;

/// Brings back the plug-ins of a session whose host has died, each in its last state, behind its handle: all
/// of a host together, so that none waits on a worker for another's beginning. Keeps their states from time
/// to time. The thread of a session that does nothing else; never calls the application.
class Revival : public base::core::Thread {
public:
    /// `interval` in seconds between two states of a plug-in; below 0: only on request. The session outlives
    /// this.
    Revival(ClientSession& session, double interval);
    ~Revival() override;

    /// A host has ended by itself, or something else is to be looked at. Any thread.
    void wake();
    /// Has the thread end soon: what it is at ends with the creations and hosts of the session. `join`
    /// follows.
    void stop();

    /// Keeps the states of all plug-ins that are there now. Throws the first `Failure`, after all were asked.
    /// Any thread.
    void keepStates();
    /// Ends all hosts and brings all plug-ins back with other settings. Any thread. Throws the first
    /// `Failure`, after all were tried.
    void changeFormat(int32_t sampleRate, int32_t blockSize);

protected:
    void run() override;

private:
    using Plugins = std::vector<Ref<ClientPlugin>>;

    struct State {
        bool isWoken = false;
        bool isStopping = false;
    };

    /// False once it is to end.
    bool waitForWork();
    void keepDueStates();
    void reviveDead();
    /// Those of one host. Throws nothing; failures become callbacks.
    void revive(const Plugins& formers);
    void giveUp(ClientPlugin& plugin, const Failure& failure);
    static void report(ClientPlugin& plugin, plugin_host_status status, const std::string& error);

    ClientSession& session;
    const double interval;
    /// For who brings plug-ins back: this thread, or one that changes the format.
    base::core::Mutex working;
    base::core::Condition changed;
    base::core::Guarded<State> state;
    /// Of the thread.
    timespec nextKeeping;
};

} // namespace client_library
