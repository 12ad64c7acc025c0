#pragma once

#include "core/EventDescriptor.h"
#include "core/Guarded.h"
#include "core/Thread.h"
#include "plugin/CoreNames.h"

#include <cstdint>
#include <poll.h>
#include <vector>

namespace client_library {

class ClientHost;

/// The thread of a session that watches its hosts: takes their output and the answers to pings, and notices
/// their ends. Never calls the application.
class HostWatch : public base::core::Thread {
public:
    /// Throws `IOException` if the process is out of descriptors.
    HostWatch();
    ~HostWatch() override;

    /// Any thread.
    void add(const Ref<ClientHost>& host);
    /// Waits for the end of a turn in progress, after which the watch holds no reference to the host; not on
    /// the thread of the watch itself.
    void remove(const ClientHost& host);
    /// Ends the thread, and so its uses of hosts. Any thread but that one.
    void stop();
    /// Has every host attended to. Real-time safe.
    void wake() { woken.signal(); }

    bool prepareForDeletion() override;

protected:
    void run() override;

private:
    using Hosts = std::vector<Ref<ClientHost>>;

    struct State {
        Hosts hosts;
        /// Turns that have ended.
        uint64_t turns = 0;
        bool hasEnded = false;
    };

    void takeTurn();
    void waitForNews(const Hosts& current);
    void endTurn(bool isLast);

    base::core::EventDescriptor woken;
    Relaxed<bool> stopRequested = false;
    base::core::Condition turned;
    base::core::Guarded<State> state;
    std::vector<pollfd> sources;
};

} // namespace client_library
