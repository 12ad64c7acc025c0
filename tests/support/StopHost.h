#pragma once

#include "host/PluginHost.h"
#include "plugin/PluginHostAction.h"

#include <thread>
#include <vector>

namespace test_support {

/// Ends the host's main loop, after all that was posted before.
class StopHost : public PluginHostAction {
public:
    explicit StopHost(PluginHost& host) : host(host) {}
    void run() override { host.stopRequested = true; }

private:
    PluginHost& host;
};

/// Runs the host's main loop until `threads` have ended and all that they posted is done.
inline void runBeside(PluginHost& host, std::vector<std::thread>& threads) {
    std::thread last([&] {
        for (std::thread& thread : threads)
            thread.join();
        host.post(new StopHost(host));
    });
    host.run();
    last.join();
}

} // namespace test_support
