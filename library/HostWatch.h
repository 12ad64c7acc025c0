#pragma once

#include "core/EventDescriptor.h"
#include "core/Guarded.h"
#include "core/Thread.h"
#include "plugin/CoreNames.h"

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
    /// A turn for the host that has begun may still be under way.
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

    Hosts getHosts() const;
    void waitForNews(const Hosts& current);

    base::core::EventDescriptor woken;
    Relaxed<bool> stopRequested = false;
    base::core::Guarded<Hosts> hosts;
    std::vector<pollfd> sources;
};

} // namespace client_library
