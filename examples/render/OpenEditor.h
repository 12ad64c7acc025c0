#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <plugin-host/client.hpp>
#include <vector>

/// Collects the user's changes in the plug-in's editor. The caller sends them back with the next block: the
/// rendering half of a plug-in may have no other way to get them. Any thread. Outlives the session, whose
/// thread calls the events.
class OpenEditor {
public:
    struct Change {
        uint32_t parameter;
        float value;
    };

    plugin_host::plugin_events makeEvents();
    bool isOpen() const { return open; }
    /// The changes since the last call, in order.
    std::vector<Change> takeChanges();

private:
    std::atomic<bool> open = true;
    std::mutex changesLock;
    std::vector<Change> changes;
};
